/// \file
/// The latest values of all signals, and which of them have changed since somebody last looked.
#pragma once

#include "catalog/Catalog.h"
#include "live/SlotReplay.h"
#include "value/ValueSink.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace rksignal {

/// What is known of a signal.
struct LiveValue {
    std::uint64_t raw = 0;
    std::uint64_t timestamp = 0;         ///< of its writer, nanoseconds since 1970-01-01 UTC
    std::uint64_t updates = 0;           ///< values that were seen
    std::uint64_t changes = 0;           ///< of these, such as differ from the one before
    std::uint64_t version = 0;           ///< number of the poll that brought the value, or took it away
    std::uint64_t connectionVersion = 0; ///< of the poll that changed `connection`
    bool hasValue = false;
    SlotReplay::Connection connection = SlotReplay::Connection::Missing;
};

/// Follows the values. Whoever shows them remembers the version that it has seen, and asks for what is newer:
/// so one who is slow gets the latest values, and nothing waits for it. For one thread at a time.
class LiveValues final : public ValueSink {
  public:
    /// The catalog must outlive the object.
    explicit LiveValues(const Catalog& catalog) : catalog(catalog), values(catalog.signals().size()) {}

    void reached(std::uint64_t timestamp) override { latest = timestamp; }
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override;
    void withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) override;
    /// To be called before each poll: what it brings gets this version.
    void beginPoll(std::uint64_t version) { current = version; }
    /// To be called behind each poll: takes over what there is of the signals. \return whether the poll has
    /// brought anything
    bool endPoll(const SlotReplay& slots);

    std::uint64_t now() const { return latest; } ///< as the writers' clock has it
    std::span<const LiveValue> all() const { return values; }

  private:
    const Catalog& catalog;
    std::vector<LiveValue> values; ///< by signal
    std::uint64_t current = 0;
    std::uint64_t latest = 0;
};

} // namespace rksignal
