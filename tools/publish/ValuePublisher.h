/// \file
/// Makes messages of values that change.
#pragma once

#include "catalog/Catalog.h"
#include "publish/PublishQueue.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

enum class PayloadForm : std::uint8_t {
    Json,  ///< `{"value":1966.75,"unit":"rpm","raw":7867,"text":"","time":1700000239.990238}`
    Value, ///< `1966.75`; nothing while there is no value
};

struct PublisherSettings {
    std::string prefix;
    PayloadForm form = PayloadForm::Json;
    bool retained = false;
    std::uint64_t interval = 0; ///< at least between two messages of a signal, nanoseconds
    std::uint64_t batch = 0;    ///< period of batches, nanoseconds; 0: a message a value
};

/// Follows values and puts them into a queue, each as a message of its own, or all of a period in one JSON
/// array on the topic `PREFIX/values`. Of a signal that changes more often than it may be published, the
/// latest value is.
class ValuePublisher : public ValueSink {
  public:
    /// The catalog must be complete; it and the queue must outlive the publisher, and that the queue's use.
    ValuePublisher(const Catalog& catalog, const PublisherSettings& settings, PublishQueue& queue);

    void written(const MessageInfo& /*message*/, std::span<const unsigned long> ids) override { note(ids); }
    void withdrawn(const MessageInfo& /*message*/, std::span<const unsigned long> ids) override { note(ids); }

    /// Publishes what has changed and is due. `now` is that of a steady clock, in nanoseconds.
    void flush(std::uint64_t now);
    /// Has all values published again that there are.
    void repeatAll();
    /// Publishes everything that waits to be due.
    void end();

    std::uint64_t published() const { return values; } ///< values put into the queue

  private:
    struct Outlet {
        std::string topic;
        std::string head;      ///< of an element of a batch: its instance
        std::string unit;      ///< quoted
        std::uint64_t due = 0; ///< when it may be published again
        bool hasChanged = false;
    };

    void note(std::span<const unsigned long> ids);
    void note(std::size_t signal);
    void publish(std::size_t signal);
    void appendJson(std::string& text, std::size_t signal) const;
    void appendValue(std::string& text, std::size_t signal) const;
    void endBatch();

    const Catalog& catalog;
    PublisherSettings settings;
    PublishQueue& queue;
    std::string batchTopic;
    std::vector<Outlet> outlets;      ///< as Catalog::signals()
    std::vector<std::size_t> changed; ///< signals, in the order of their changes
    std::string batch;
    std::size_t batchValues = 0;
    std::uint64_t batchEnd = 0;
    std::uint64_t values = 0;
};

} // namespace rksignal
