/// \file
/// Columns of raw frames while they grow.
#pragma once

#include "Arrow.h"

#include "definition/SignalKind.h"
#include "trace/MessageSink.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace rksignal::python {

/// Takes frames. Full with so many rows, or with 16 MB of data.
class FrameColumns : public MessageSink, public std::enable_shared_from_this<FrameColumns> {
  public:
    explicit FrameColumns(std::size_t limit);

    std::size_t size() const { return times.size(); }
    bool isFull() const { return times.size() >= limit || bytes.size() >= mostBytes; }

    using MessageSink::receive;
    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void receive(const FlexRayExtTraceMessage& frame) override;
    void receive(const MIITraceMessage& frame) override;
    void receive(const EthernetTraceMessage& frame) override;

    static Schema schema();
    /// The columns, which stay with this object: nothing more is to be added.
    Array array();

  private:
    static constexpr std::size_t mostBytes = std::size_t{16} << 20;

    /// Bits, from the lowest one of each byte on.
    class BitColumn {
      public:
        void add(std::size_t row, bool bit) {
            if (row % 8 == 0) {
                bytes.push_back(0);
            }
            bytes.back() = static_cast<std::uint8_t>(bytes.back() | (bit ? 1U << row % 8 : 0U));
            zeros += bit ? 0 : 1;
        }
        const std::uint8_t* data() const { return bytes.data(); }
        std::int64_t zeroCount() const { return zeros; }

      private:
        std::vector<std::uint8_t> bytes;
        std::int64_t zeros = 0;
    };

    struct Frame {
        std::uint64_t time = 0;
        std::uint8_t channel = 0;
        SignalKind kind = SignalKind::Can;
        std::optional<std::uint32_t> id;
        bool isExtended = false;
        bool isFd = false;
        std::optional<std::uint8_t> cycle;
        std::span<const std::uint8_t> data;
    };
    void add(const Frame& frame);
    /// A column with nulls where `valid`, if there is one, has no bit.
    Array column(const void* cells, const BitColumn* valid);
    Array kindNames();

    std::size_t limit;
    std::vector<std::int64_t> times;
    std::vector<std::uint8_t> channels;
    std::vector<std::int8_t> kinds;
    std::vector<std::uint32_t> ids;
    BitColumn idValid;
    BitColumn extended;
    BitColumn fd;
    std::vector<std::uint8_t> cycles;
    BitColumn cycleValid;
    std::vector<std::int32_t> ends;
    std::vector<std::uint8_t> bytes;
};

} // namespace rksignal::python
