/// \file
/// Decodes the frames of one message of CAN into its signals, within the bytes that were received.
///
/// The library's own decoder of CAN frames looks one level of multiplexing up, adds the terms of several
/// multiplexers of a frame, and checks the length of some signals only. What definition files say needs more:
/// short frames, nested and independent multiplexers of any width, multiplexed CAN FD frames, one definition
/// for frames of both formats and of all channels. So every frame takes this one path.
#pragma once

#include "bus/CANSignal.h"
#include "definition/Definition.h"
#include "signal/BitField.h"
#include "text/Export.h"

#include <bitset>
#include <cstdint>
#include <optional>
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
    /// `signals` has one entry for each signal of `message`; null ones are not decoded. Their values are
    /// private and written by this decoder alone. All must outlive it.
    MessageDecoder(const MessageDefinition& message, const std::vector<CANSignal*>& signals);

    /// Decodes one data frame with the identifier of the message, whatever its channel, and whether it is a
    /// CAN FD frame or not; only CAN FD frames have PDUs. `ids` is emptied, then receives the identifiers of
    /// the signals written: multiplexers before what they select, otherwise in the order of definition. A
    /// signal with a byte that was not received, or in a branch that the multiplexers do not select, keeps
    /// its value and time stamp; a multiplexer that was not received selects nothing. Allocates only when
    /// `ids` grows. \return whether the frame is one of the message; one in a PDU must have written a signal
    bool decode(const CANExtTraceMessage& received, std::vector<unsigned long>& ids);

    /// Searches the signals; for explanations, not for each frame.
    Reception receptionOf(const BaseSignal& signal) const;

    const MessageDefinition& message() const { return definition; }
    std::optional<std::uint8_t> channel() const { return definition.channel; }
    const MessageStatistics& statistics() const { return counts; }

  private:
    static constexpr std::uint32_t none = ~std::uint32_t{0};

    struct Field {
        CANSignal* signal;
        signalSlot_t* slot;
        std::uint32_t multiplexer; ///< index of the field it depends on, or `none`
        std::uint32_t branchEnd;   ///< index behind the fields that depend on it
        std::uint8_t word;         ///< first of the 8 bytes that hold it
        std::uint8_t end;          ///< behind its last byte
        bitfield::WordField cut;   ///< from these 8 bytes, in its byte order
        bool bigEndian, isSigned;
        std::vector<ValueRange> ranges; ///< of its multiplexer
    };

    void addField(const SignalDefinition& signal, CANSignal& built);
    void decodeFields(const std::uint8_t* bytes, std::size_t length, std::uint64_t timestamp,
                      std::vector<unsigned long>& ids);
    bool decodePdu(const CANExtTraceMessage& received, std::size_t length, std::vector<unsigned long>& ids);
    bool isSelected(const Field& field) const;
    Reception receptionOf(const Field& field) const;

    const MessageDefinition& definition;
    std::vector<Field> fields;  ///< parents first
    std::size_t lastLength = 0; ///< of the last frame
    MessageStatistics counts;
};

} // namespace rksignal
