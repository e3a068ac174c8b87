/// \file
/// Trace messages as bytes: raw trace records, and files of them.
///
/// A raw trace record holds one message. Numbers are big endian, offsets count from its first byte. Every
/// record begins with
///
/// | offset | bytes | content |
/// |---|---|---|
/// | 0 | 2 | version of the layout, 1 |
/// | 2 | 2 | RecordType |
/// | 4 | 8 | time stamp, nanoseconds since 1970-01-01 00:00 UTC |
/// | 12 | 2 | zero |
///
/// and goes on, by type, with
///
/// - Can: 14 channel; 15-17 zero; 18-21 identifier, plus 2^31 if extended, plus 2^30 if CAN FD; 22-25 frame
///   format; 26 length; from 27 on the payload, as many bytes as there are, at most 64
/// - Lin: 14 channel; 15-21 zero; 22-25 number of data bytes; 26 protected identifier; from 27 on the data
/// - FlexRay: 14 frame kind; 15 channel; 16-18 zero; 19-20 slot; 21-23 zero; 24 cycle; 25-28 number of data
///   bytes; 29-32 number of payload bytes; from 33 on the data, then the payload
/// - Gpio: 14-15 input of the first element, or 0; 16 always 1; 17 zero; 18-21 number of elements; from 22 on
///   the elements: input (2), value (2), mask (2)
/// - Analog: 14-21 as Gpio; from 22 on the elements: input (2), mantissa (4), exponent (1)
/// - Keyboard: 14-17 key code; 18-21 value
/// - System: 14-17 code; from 18 on the text
/// - SystemUsage: 14-17 code; 18 internal, 19 external, 20 second external usage; from 21 on the text
/// - Gps: from 14 on the sentences
/// - Ethernet: 14 channel; 15 kind, or 0 if it is no number from 1 to 255; 16 channel again; 17-19 zero;
///   20-21 length of the frame, or 65535 if it is longer; from 22 on the frame; the last 4 bytes the kind
/// - Mii: 14-15 zero; 16 channel; 17-23 zero; 24-25 length of the frame, or 65535 if it is longer; from 26 on
///   the frame
///
/// The `signalsInUse` operations of the signal classes read these bytes where they stand, so that records
/// that nobody wants are dropped before they become messages. Of an Ethernet frame of more than 65535 bytes
/// they see the first 65535.
///
/// A record file (`.rktrace`) begins with the 8 bytes `RKTRACE` and 0x01, the version. Each record follows a
/// head of 12 bytes: the mark `RKTR`, the record's length and the CRC-32 of its bytes (ISO 3309, as in
/// Ethernet and zlib).
#pragma once

#include "rktrace/AnalogTraceMessage.h"
#include "rktrace/CANExtTraceMessage.h"
#include "rktrace/EthernetTraceMessage.h"
#include "rktrace/FlexRayExtTraceMessage.h"
#include "rktrace/GPSTraceMessage.h"
#include "rktrace/GpioTraceMessage.h"
#include "rktrace/KeyboardMessage.h"
#include "rktrace/LINTraceMessage.h"
#include "rktrace/MIITraceMessage.h"
#include "rktrace/SystemMessage.h"
#include "rkutil/Export.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <span>
#include <vector>

class RangeChecksums;

enum class RecordType : std::uint16_t {
    Ethernet = 4,
    Can = 9,
    Lin = 10,
    FlexRay = 11,
    Mii = 14,
    Analog = 18,
    Gpio = 19,
    System = 0x8010,
    SystemUsage = 0x8011,
    Keyboard = 0x8031,
    Gps = 0x8032,
};

/// Length of what all records begin with.
constexpr std::size_t recordHeaderLength = 14;

/// Offsets in records, as the table and the list above give them: of what all records have, then by type.
/// Those of inputs count for Gpio and Analog. What has no name here follows what has one without a gap.
namespace recordAt {

constexpr std::size_t type = 2;
constexpr std::size_t timestamp = 4;

constexpr std::size_t canChannel = 14;
constexpr std::size_t canIdentifier = 18;

constexpr std::size_t linChannel = 14;
constexpr std::size_t linLength = 22;
constexpr std::size_t linIdentifier = 26;

constexpr std::size_t flexRayKind = 14;
constexpr std::size_t flexRayChannel = 15;
constexpr std::size_t flexRaySlot = 19;
constexpr std::size_t flexRayCycle = 24;

constexpr std::size_t inputNumber = 14;
constexpr std::size_t inputMark = 16;
constexpr std::size_t inputCount = 18;

constexpr std::size_t keyCode = 14;
constexpr std::size_t systemCode = 14;

constexpr std::size_t ethernetChannel = 14;
constexpr std::size_t ethernetKind = 15;
constexpr std::size_t ethernetChannelAgain = 16;
constexpr std::size_t ethernetLength = 20;

constexpr std::size_t miiChannel = 16;
constexpr std::size_t miiLength = 24;

} // namespace recordAt

/// What the identifier word of a Can record holds besides the identifier.
constexpr std::uint32_t recordExtendedFlag = 0x80000000;
constexpr std::uint32_t recordCanFdFlag = 0x40000000;

/// REQUIRES for both: the record has `recordHeaderLength` bytes.
RK_EXPORT RecordType recordType(std::span<const std::uint8_t> record);
RK_EXPORT std::uint64_t recordTimestamp(std::span<const std::uint8_t> record);

/// Makes a message a record, in place of what `record` held. Allocates only when `record` grows. Of the
/// payload of a CAN frame the bytes past its length are left out. A SystemUsageMessage must be given as what
/// it is.
RK_EXPORT void encodeRecord(const CANExtTraceMessage& message, std::vector<std::uint8_t>& record);
RK_EXPORT void encodeRecord(const LINTraceMessage& message, std::vector<std::uint8_t>& record);
RK_EXPORT void encodeRecord(const FlexRayExtTraceMessage& message, std::vector<std::uint8_t>& record);
RK_EXPORT void encodeRecord(const GpioTraceMessage& message, std::vector<std::uint8_t>& record);
RK_EXPORT void encodeRecord(const AnalogTraceMessage& message, std::vector<std::uint8_t>& record);
RK_EXPORT void encodeRecord(const KeyboardMessage& message, std::vector<std::uint8_t>& record);
RK_EXPORT void encodeRecord(const SystemMessage& message, std::vector<std::uint8_t>& record);
RK_EXPORT void encodeRecord(const SystemUsageMessage& message, std::vector<std::uint8_t>& record);
RK_EXPORT void encodeRecord(const GPSTraceMessage& message, std::vector<std::uint8_t>& record);
RK_EXPORT void encodeRecord(const EthernetTraceMessage& message, std::vector<std::uint8_t>& record);
RK_EXPORT void encodeRecord(const MIITraceMessage& message, std::vector<std::uint8_t>& record);

/// Makes a record the message that it was made from. Any bytes may be given: never throws but for lack of
/// memory, and allocates only when a vector or text of `message` grows. \return whether the record is one of
/// this type, and whole; if not, what `message` holds means nothing
RK_EXPORT bool decodeRecord(std::span<const std::uint8_t> record, CANExtTraceMessage& message);
RK_EXPORT bool decodeRecord(std::span<const std::uint8_t> record, LINTraceMessage& message);
RK_EXPORT bool decodeRecord(std::span<const std::uint8_t> record, FlexRayExtTraceMessage& message);
RK_EXPORT bool decodeRecord(std::span<const std::uint8_t> record, GpioTraceMessage& message);
RK_EXPORT bool decodeRecord(std::span<const std::uint8_t> record, AnalogTraceMessage& message);
RK_EXPORT bool decodeRecord(std::span<const std::uint8_t> record, KeyboardMessage& message);
RK_EXPORT bool decodeRecord(std::span<const std::uint8_t> record, SystemMessage& message);
RK_EXPORT bool decodeRecord(std::span<const std::uint8_t> record, SystemUsageMessage& message);
RK_EXPORT bool decodeRecord(std::span<const std::uint8_t> record, GPSTraceMessage& message);
RK_EXPORT bool decodeRecord(std::span<const std::uint8_t> record, EthernetTraceMessage& message);
RK_EXPORT bool decodeRecord(std::span<const std::uint8_t> record, MIITraceMessage& message);

/// Writes a record file. Errors show in the state of the stream. A file whose writer died is readable up to
/// the last record that was written in full.
class RK_EXPORT TraceRecordWriter {
  public:
    /// Writes the file's first bytes. `out` must be binary and outlive the writer.
    explicit TraceRecordWriter(std::ostream& out);

    void write(std::span<const std::uint8_t> record);

  private:
    std::ostream& out;
};

/// Reads a record file from any stream, once, from its beginning to its end. Damaged bytes are passed over up
/// to the next record that is whole.
///
/// The time to read a file grows with its size alone, whatever it holds. Damaged bytes may look like many
/// heads whose records overlap, and each of them may be the head of a record; none is passed over unseen. So
/// that the bytes that they claim are not summed again for each of them, the sums are kept: a byte is summed
/// twice, and less than 128 bytes are for each further head. A head that claims more bytes than the file has
/// left costs nothing but its own bytes.
///
/// Allocates only for its buffer, which is at most four times as long as the longest record that a head
/// claims and, beyond 256 kB, twice as long as the file, and, in a damaged file, a sixteenth of that for
/// sums.
class RK_EXPORT TraceRecordReader {
  public:
    /// Longer records are taken for damage.
    static constexpr std::size_t maxRecordLength = std::size_t{1} << 24;

    /// Reads the file's first bytes. `in` must be binary and outlive the reader.
    explicit TraceRecordReader(std::istream& in);
    ~TraceRecordReader();
    TraceRecordReader(const TraceRecordReader&) = delete;
    TraceRecordReader& operator=(const TraceRecordReader&) = delete;

    /// Whether the stream begins like a record file of the known version. If not, there are no records.
    bool isRecordFile() const { return valid; }

    /// Reads the next record. \return whether there was one; it stands in `record()` until the next call
    bool next();
    std::span<const std::uint8_t> record() const { return current; }

    std::uint64_t records() const { return recordCount; }
    /// Number of bytes read so far, damaged ones included.
    std::uint64_t position() const { return consumed; }
    /// Number of bytes passed over because they belong to no whole record.
    std::uint64_t damagedBytes() const { return damaged; }
    /// Offset of the first of them.
    std::uint64_t firstDamage() const { return damageBegin; }

  private:
    bool fill(std::size_t wanted) { return end - begin >= wanted || refill(wanted); }
    bool refill(std::size_t wanted);
    std::span<const std::uint8_t> available() const;
    void skip(std::size_t count);
    void skipDamage();
    bool isIntact(std::span<const std::uint8_t> bytes, std::uint32_t crc);
    bool takeRecord();

    std::istream& in;
    std::vector<std::uint8_t> buffer;
    std::size_t begin = 0; ///< of what is not yet consumed
    std::size_t end = 0;   ///< of what has been read
    std::span<const std::uint8_t> current;
    std::uint64_t recordCount = 0;
    std::uint64_t consumed = 0;
    std::uint64_t damaged = 0;
    std::uint64_t damageBegin = 0;
    std::unique_ptr<RangeChecksums> sums; ///< of damaged bytes
    bool valid = false;
};
