/// \file
/// The latest messages of traces, as far as they may still be wanted.
#pragma once

#include "command/RecordSink.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace rksignal {

/// Keeps messages as raw records, one behind the other, up to a number of bytes; then the oldest make room.
/// Allocates only while it grows. What is only counted is not kept.
class MessageRing final : public RecordSink {
  public:
    explicit MessageRing(std::size_t limit) : limit(limit) {}

    /// Forgets the oldest messages as long as they are earlier than `time`.
    void forgetBefore(std::uint64_t time);
    void clear();
    /// The latest time of the messages that had to make room; 0 if none had.
    std::uint64_t lostUntil() const { return lost; }

    /// Hands over all messages from one time to the other, both included, in the order in which they came.
    void deliver(std::uint64_t from, std::uint64_t to, MessageSink& sink) const;

  private:
    /// In front of each record.
    struct Head {
        std::uint64_t time;
        std::size_t length;
    };

    void keep(std::span<const std::uint8_t> bytes, std::uint64_t time) override;
    Head headAt(std::size_t offset) const;
    void pop();

    std::size_t limit;
    std::vector<std::uint8_t> kept;
    std::size_t first = 0; ///< offset of the oldest head
    std::uint64_t lost = 0;
};

} // namespace rksignal
