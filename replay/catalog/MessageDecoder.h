/// \file
/// Decodes the frames of one message into its signals, within the bytes that were received.
///
/// Frames that are long enough go through `CANSignal::decodeMessage`, which finds the signals in the
/// library's frame table. It looks one level of multiplexing up, adds the terms of several multiplexers of a
/// frame, does not check the length of classic frames nor of multiplexed CAN FD signals. Whatever that cannot
/// serve is done here instead, signal by signal: short frames, nested and independent multiplexers,
/// multiplexed CAN FD frames, multiplexers of 16 bits and more.
#pragma once

#include "bus/CANSignal.h"
#include "definition/MultiplexTree.h"
#include "definition/dbc/DbcFile.h"
#include "text/Export.h"

#include <bitset>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace rksignal {

/// What the frames of a message came to.
struct MessageStatistics {
    std::uint64_t frames = 0;
    std::uint64_t shortFrames = 0; ///< shorter than defined, or than a signal that they should carry
    std::uint64_t untouched = 0;   ///< signals that got no value because their bytes were not received
    std::bitset<256> channels;     ///< where the frames came from
};

/// What the last frame of a message did to a signal.
enum class Reception : std::uint8_t {
    Foreign,    ///< the signal is not one of the message
    NeverSeen,  ///< there was no frame yet
    Written,    ///< the signal got a value
    Unselected, ///< it lies in a branch that a multiplexer did not select
    TooShort,   ///< its bytes, or those of a multiplexer it depends on, were not received
    Withdrawn,  ///< the signal lost its value
};

/// One message on one channel, or on any.
class RKREPLAY_EXPORT MessageDecoder {
  public:
    /// A signal is present while the raw value of its multiplexer is in one of these, bounds included.
    using Ranges = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

    /// The `tslId` of signals that are bound to their channel, and of those (on channel 0) that are not.
    static constexpr std::uint8_t boundSource = 0;
    static constexpr std::uint8_t unboundSource = 1;
    /// The same of signals in PDUs, which have no decoder of this class.
    static constexpr std::uint8_t boundPduSource = 2;
    static constexpr std::uint8_t unboundPduSource = 3;

    /// `signals` has one entry for each signal of `message`; null ones are not decoded. They lie in the
    /// library's frame table, where they are placed as their multiplexing needs, or, if the library is not to
    /// be used for this message (`alone` is false: another one has the same frames), taken out.
    MessageDecoder(DbcMessage message, std::optional<std::uint8_t> channel,
                   const std::vector<CANSignal*>& signals, bool alone);

    /// Decodes one data frame with the identifier of the message, whatever its channel and whether it is a
    /// CAN FD frame or not. `ids` is emptied, then receives the identifiers of the signals written. A
    /// signal with a byte that was not received, or in a branch that the multiplexers do not select, keeps
    /// its value and time stamp; a multiplexer that was not received selects nothing.
    void decode(const CANExtTraceMessage& received, std::vector<unsigned long>& ids);

    /// REQUIRES: the multiplexers of the message have not been written by anything else. Searches the
    /// signals; for explanations, not for each frame.
    Reception receptionOf(const BaseSignal& signal) const;

    const DbcMessage& message() const { return definition; }
    std::optional<std::uint8_t> channel() const { return boundTo; }
    const MessageStatistics& statistics() const { return counts; }

  private:
    struct Field {
        CANSignal* signal;
        std::uint8_t start;                     ///< first byte that its codec gets
        std::uint8_t end;                       ///< behind the last
        std::uint64_t valueMask;                ///< of the raw value when it selects others
        std::optional<std::size_t> multiplexer; ///< index of the field it depends on
        std::size_t branchEnd;                  ///< index behind the fields that depend on it
        Ranges ranges;
    };

    void addField(const MultiplexNode& node, CANSignal& signal);
    bool servedByLibrary() const;
    std::uint64_t frameKey() const;
    void placeMultiplexed() const;
    void unfile(const std::vector<CANSignal*>& signals) const;
    void decodeByLibrary(const CANExtTraceMessage& received, std::vector<unsigned long>& ids) const;
    void decodeFields(const CANExtTraceMessage& received, std::vector<unsigned long>& ids);
    bool isSelected(const Field& field) const;
    Reception receptionOf(const Field& field) const;

    DbcMessage definition;
    std::optional<std::uint8_t> boundTo;
    std::vector<Field> fields; ///< parents first
    std::size_t neededBytes = 0;
    std::uint8_t lastLength = 0; ///< of the last frame
    bool viaLibrary = false;
    MessageStatistics counts;
};

} // namespace rksignal
