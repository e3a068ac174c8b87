/// \file
/// What waits to be published.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>

namespace rksignal {

struct PublishedMessage {
    const std::string* topic; ///< outlives the queue
    std::string payload;
    std::size_t values = 1; ///< in it
    bool retained = false;
};

/// Keeps the newest values: what does not fit drops the oldest messages, which are counted.
class PublishQueue {
  public:
    /// \param capacity in values, at least 1; a message with more of them is kept alone
    explicit PublishQueue(std::size_t capacity) : capacity(capacity) {}

    void push(PublishedMessage message) {
        waiting += message.values;
        messages.push_back(std::move(message));
        while (waiting > capacity && messages.size() > 1) {
            droppedValues += messages.front().values;
            pop();
        }
    }

    bool empty() const { return messages.empty(); }
    const PublishedMessage& front() const { return messages.front(); }
    void pop() {
        waiting -= messages.front().values;
        messages.pop_front();
    }

    std::size_t size() const { return waiting; }            ///< in values
    std::uint64_t dropped() const { return droppedValues; } ///< values since the start

  private:
    std::deque<PublishedMessage> messages;
    std::size_t capacity;
    std::size_t waiting = 0;
    std::uint64_t droppedValues = 0;
};

} // namespace rksignal
