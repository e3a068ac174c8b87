/// \file
/// The signals that a replay decodes: built from DBC files, found by frame and by identifier.
#pragma once

#include "bus/CANSignal.h"
#include "dbc/DbcFile.h"
#include "replay/MessageDecoder.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace rksignal {

/// Owns the signals and enters them in a storage, where other parts of the library find them by name.
///
/// A file is bound to one channel, or to none: then its messages are decoded from every channel, into one
/// instance a signal. Frames are matched by identifier and its width (11 or 29 bits); a CAN FD definition
/// decodes classic frames and the other way round. A frame is decoded by every definition that it matches.
///
/// There can be one catalog at a time, and no other CAN signals with its trace sources: the library has one
/// frame table for all storages.
///
/// Instance names are `Message.Signal`. When that is taken, a signal bound to a channel becomes
/// `Message.Signal@CHANNEL`, and what is still taken becomes `Message.Signal#2`, `#3`, ...
class Catalog {
  public:
    /// `storage` must outlive the catalog.
    explicit Catalog(SignalStorage& storage) : storage(storage) {}

    /// Adds the messages of a file. What cannot be used, and every choice made, goes to `notes`, after the
    /// notes of the file itself.
    void add(const DbcFile& file, std::optional<std::uint8_t> channel);

    const std::vector<DbcNote>& notes() const { return remarks; }

    /// In the order of definition; never null.
    const std::vector<std::unique_ptr<CANSignal>>& signals() const { return allSignals; }
    const std::vector<std::unique_ptr<MessageDecoder>>& decoders() const { return allDecoders; }

    /// The index in signals() of the signal with this identifier, in constant time.
    /// REQUIRES: `id` is the identifier of one of them.
    std::size_t indexOf(unsigned long id) const { return indexByNumber[runningNumber(id) - firstNumber]; }

    /// The definitions bound to the channel of the frame, and those bound to none, that it matches.
    std::array<std::span<MessageDecoder* const>, 2> decodersOf(const CANExtTraceMessage& frame) const {
        return {find(bound, frame.channel, frame.canId, frame.frameFormat & CANExtTraceMessage::Extended),
                find(unbound, 0, frame.canId, frame.frameFormat & CANExtTraceMessage::Extended)};
    }

  private:
    using DecoderTable = std::unordered_map<std::uint64_t, std::vector<MessageDecoder*>>;
    class FileAdder;

    static std::uint64_t runningNumber(std::uint64_t id) { return id & ~(std::uint64_t{1} << 63); }
    static std::uint64_t tableKey(std::uint8_t channel, std::uint32_t id, bool extended) {
        return std::uint64_t{channel} << 32 | std::uint64_t{extended} << 31 | id;
    }
    static std::span<MessageDecoder* const> find(const DecoderTable& table, std::uint8_t channel,
                                                 std::uint32_t id, bool extended);
    CANSignal& build(const canSignalDef_t& definition);

    SignalStorage& storage;
    std::vector<std::unique_ptr<CANSignal>> allSignals;
    std::vector<std::unique_ptr<MessageDecoder>> allDecoders;
    DecoderTable bound;
    DecoderTable unbound;
    std::uint64_t firstNumber = 0;          ///< running number of the first signal's identifier
    std::vector<std::size_t> indexByNumber; ///< from `firstNumber` on
    std::vector<DbcNote> remarks;
};

} // namespace rksignal
