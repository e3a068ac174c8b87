/// \file
/// Decodes the frames of one message of CAN into its signals, within the bytes that were received.
///
/// The library's own decoder of CAN frames looks one level of multiplexing up, adds the terms of several
/// multiplexers of a frame, and checks the length of some signals only. What definition files say needs more:
/// short frames, nested and independent multiplexers of any width, multiplexed CAN FD frames, one definition
/// for frames of both formats and of all channels. So every frame takes this one path.
#pragma once

#include "bus/CANSignal.h"
#include "catalog/ReservedValues.h"
#include "definition/Definition.h"
#include "signal/BitField.h"
#include "text/Export.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace rksignal {

/// What the frames of a message came to.
struct MessageStatistics {
    std::uint64_t frames = 0;
    std::uint64_t shortFrames = 0;  ///< shorter than defined, or than a signal that they should carry
    std::uint64_t untouched = 0;    ///< signals that got no value because their bytes were not received
    std::uint64_t notAvailable = 0; ///< of a parameter group: values that say so, see ReservedValues.h
    std::uint64_t errors = 0;       ///< of a parameter group: values that say that there is an error
    std::bitset<256> channels;      ///< where the frames came from
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

/// `never seen`, `branch inactive`, `frame too short`, `no fix`; empty of the others
RKREPLAY_EXPORT const char* receptionText(Reception reception);

/// One message on one channel, or on any; of a parameter group, the one of all senders or that of one.
class RKREPLAY_EXPORT MessageDecoder {
  public:
    /// The data of a message of any length.
    struct Payload {
        std::span<const std::uint8_t> bytes;
        std::uint64_t timestamp;
        std::uint8_t channel;
    };

    /// `signals` has one entry for each signal of `message`; null ones are not decoded. Their values are
    /// either all private, and written by this decoder alone, or all asked to lie in shared memory: then each
    /// is written under its lock. All must outlive the decoder. `number` is the client's.
    MessageDecoder(const MessageDefinition& message, const std::vector<CANSignal*>& signals,
                   std::size_t number = 0);

    /// Decodes one data frame with the identifier of the message, whatever its channel, and whether it is a
    /// CAN FD frame or not; only CAN FD frames have PDUs. `ids` is emptied, then receives the identifiers of
    /// the signals written: multiplexers before what they select, otherwise in the order of definition. A
    /// signal with a byte that was not received, or in a branch that the multiplexers do not select, keeps
    /// its value and time stamp; a multiplexer that was not received selects nothing. Allocates only when
    /// `ids` grows. \return whether the frame is one of the message; one in a PDU must have written a signal
    bool decode(const CANExtTraceMessage& received, std::vector<unsigned long>& ids);

    /// The fast way of frames that write all signals, as most do: the same without a look at each of them.
    /// \return the identifiers of all signals, the same ones for each frame; empty, with nothing done, if the
    /// frame needs decode()
    std::span<const unsigned long> decodeWhole(const CANExtTraceMessage& received) {
        if (plainIds.empty() || received.length < plainEnd || received.length > longestFrame) {
            return {};
        }
        ++counts.frames;
        counts.channels.set(received.channel);
        counts.shortFrames += received.length < definition.length ? 1 : 0;
        writePlain(received.payload.data(), received.length, received.timestamp);
        return plainIds;
    }

    /// The same of data of any length, which need not be that of one frame.
    /// REQUIRES: the message is not one in a PDU.
    void decode(const Payload& received, std::vector<unsigned long>& ids);

    /// The identifiers of its signals, multiplexers before what they select.
    std::vector<unsigned long> signals() const;

    /// Searches the signals; for explanations, not for each frame.
    Reception receptionOf(const BaseSignal& signal) const;

    const MessageDefinition& message() const { return definition; }
    std::size_t number() const { return messageNumber; } ///< in a catalog: of the message in its messages()
    /// Of a parameter group whose definition is for any sender: the one whose frames are decoded here. None
    /// before its first frame.
    std::optional<std::uint8_t> source() const { return sender; }
    void setSource(std::uint8_t source, bool isFurtherSource) {
        sender = source;
        isFurther = isFurtherSource;
    }
    /// Whether it was made for a further sender than the first.
    bool isForFurtherSource() const { return isFurther; }
    std::optional<std::uint8_t> channel() const { return definition.channel; }
    const MessageStatistics& statistics() const { return counts; }
    /// Counts what another decoder of the message has met.
    void addStatistics(const MessageStatistics& others);

  private:
    static constexpr std::uint32_t none = ~std::uint32_t{0};

    struct Field {
        CANSignal* signal;
        signalSlot_t* slot;
        std::uint32_t multiplexer; ///< index of the field it depends on, or `none`
        std::uint32_t branchEnd;   ///< index behind the fields that depend on it
        std::uint16_t word;        ///< first of the 8 bytes that hold it
        std::uint16_t end;         ///< behind its last byte
        bitfield::WordField cut;   ///< from these 8 bytes, in its byte order
        bool bigEndian, isSigned;
        std::vector<ValueRange> ranges; ///< of its multiplexer
    };

    /// A field of which nothing more is asked than that it is written: what that takes, and no more.
    struct PlainField {
        signalSlot_t* slot;
        bool* modified;          ///< of its signal
        std::uint16_t word;      ///< first of the 8 bytes that hold it
        bitfield::WordField cut; ///< from these
    };

    void addField(const SignalDefinition& signal, CANSignal& built);
    void decodeMessage(const std::uint8_t* bytes, const Payload& received, std::vector<unsigned long>& ids);
    void write(std::size_t field, std::uint64_t raw, std::uint64_t timestamp);
    static std::uint64_t cut(const Field& field, const std::uint8_t* bytes);
    void writePlain(const std::uint8_t* bytes, std::size_t length, std::uint64_t timestamp);
    template <bool bigEndian, bool isSigned>
    void writePlain(const std::uint8_t* bytes, std::uint64_t timestamp) const;
    std::uint64_t lastValue(std::size_t field) const;
    void findPlain();
    template <bool countsReserved>
    void decodeFields(const std::uint8_t* bytes, std::size_t length, std::uint64_t timestamp,
                      std::vector<unsigned long>& ids);
    void countReserved(std::size_t field, std::uint64_t raw);
    bool decodePdu(const CANExtTraceMessage& received, std::size_t length, std::vector<unsigned long>& ids);
    bool isSelected(const Field& field) const;
    Reception receptionOf(const Field& field) const;

    const MessageDefinition& definition;
    std::size_t messageNumber;
    std::vector<Field> fields;                   ///< parents first
    std::vector<j1939::ReservedValues> reserved; ///< as fields; empty unless this is a parameter group
    /// As fields, of shared values: what this decoder wrote last, whoever else has written since.
    std::vector<std::uint64_t> writtenHere;
    std::vector<unsigned long> plainIds; ///< of all fields, if each frame writes them all; else empty
    std::size_t plainEnd = 0;            ///< behind the last byte of all fields
    std::optional<std::uint8_t> sender;
    bool isFurther = false;
    std::size_t lastLength = 0; ///< of the last frame
    MessageStatistics counts;
    /// The fields of `plainIds` by how they are cut: big endian or not, signed or not.
    std::array<std::array<std::vector<PlainField>, 2>, 2> plainFields;
};

} // namespace rksignal
