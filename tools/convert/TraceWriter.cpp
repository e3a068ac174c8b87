#include "convert/TraceWriter.h"

#include <charconv>
#include <cstddef>
#include <span>

namespace rksignal {
namespace {

constexpr std::uint32_t maxStandardId = 0x7FF;
constexpr std::uint32_t maxExtendedId = 0x1FFFFFFF;
constexpr std::size_t classicBytes = 8;

/// Whether the frame is one that a CAN bus can carry.
bool isWellFormed(const CANExtTraceMessage& frame) {
    return frame.frameFormat <= CANExtTraceMessage::FdExtended &&
           frame.canId <= (frame.isExtended() ? maxExtendedId : maxStandardId) &&
           frame.length <= (frame.isFd() ? frame.payload.size() : classicBytes);
}

/// Writes the last `digits` hexadecimal digits of `value`.
char* writeHex(char* out, std::uint32_t value, int digits) {
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        *out++ = "0123456789ABCDEF"[value >> shift & 0xF];
    }
    return out;
}

char* writeText(char* out, std::string_view text) {
    return out + text.copy(out, text.size());
}

} // namespace

Counts TraceWriter::lost() const {
    return {{"remote frames", passed[static_cast<std::size_t>(PassedMessage::Remote)]},
            {"error frames", passed[static_cast<std::size_t>(PassedMessage::Error)]},
            {"CAN XL frames", passed[static_cast<std::size_t>(PassedMessage::Xl)]},
            {"frames not recorded in full", passed[static_cast<std::size_t>(PassedMessage::Truncated)]},
            {"messages of kinds that are not known", passed[static_cast<std::size_t>(PassedMessage::Other)]},
            {"LIN frames", lostLin},
            {"FlexRay frames", lostFlexRay},
            {"Ethernet frames", lostEthernet},
            {"GPS messages", lostGps},
            {"records that are not CAN frames", lostRecords},
            {"malformed CAN frames", lostShapes}};
}

void TraceWriter::pass(PassedMessage kind, std::uint64_t /*timestamp*/) {
    ++passed[static_cast<std::size_t>(kind)];
}

bool RecordFileWriter::receiveRecord(std::span<const std::uint8_t> bytes, std::uint64_t timestamp) {
    constexpr std::size_t timeOffset = 4;
    record.assign(bytes.begin(), bytes.end());
    for (std::size_t i = 0; i < sizeof timestamp; ++i) {
        record[timeOffset + i] = static_cast<std::uint8_t>(timestamp >> (56 - 8 * i));
    }
    write();
    return true;
}

bool CandumpWriter::receiveRecord(std::span<const std::uint8_t> bytes, std::uint64_t timestamp) {
    switch (recordType(bytes)) {
    case RecordType::Can:
        if (!decodeRecord(bytes, fromRecord)) {
            return false;
        }
        fromRecord.timestamp = timestamp;
        receive(fromRecord);
        break;
    case RecordType::Lin:
        ++lostLin;
        break;
    case RecordType::FlexRay:
        ++lostFlexRay;
        break;
    case RecordType::Ethernet:
    case RecordType::Mii:
        ++lostEthernet;
        break;
    case RecordType::Gps:
        ++lostGps;
        break;
    default:
        ++lostRecords;
    }
    return true;
}

void CandumpWriter::receive(const CANExtTraceMessage& frame) {
    if (isWellFormed(frame)) {
        appendFrame(frame);
        ++messages;
    } else {
        ++lostShapes;
    }
}

/// `(1626905042.645596) can1 123##01122`
void CandumpWriter::appendFrame(const CANExtTraceMessage& frame) {
    constexpr std::size_t maxLine = 256;
    char* const start = out.reserve(maxLine);
    char* at = writeText(start, "(");
    at = writeText(time.write(at, frame.timestamp), ") can");
    at = std::to_chars(at, at + 3, frame.channel).ptr;
    *at++ = ' ';
    at = writeHex(at, frame.canId, frame.isExtended() ? 8 : 3);
    at = writeText(at, frame.isFd() ? "##0" : "#");
    for (const std::uint8_t byte : std::span(frame.payload).first(frame.length)) {
        at = writeHex(at, byte, 2);
    }
    *at++ = '\n';
    out.advance(at);
    out.endRow();
}

} // namespace rksignal
