#include "convert/BlfWriter.h"

#include "trace/CanFrame.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <zlib.h>

// Layouts: see replay/trace/blf/BlfFormat.h and BlfObjects.cpp, which read them.

namespace rksignal {
namespace {

constexpr std::size_t containerSize = std::size_t{128} * 1024; // of the content, as is usual
constexpr std::size_t headLength = 144;
constexpr std::size_t objectHeadLength = 32;
constexpr std::size_t containerHeadLength = 32;
constexpr std::uint64_t millisecond = 1'000'000;

constexpr std::uint32_t canMessage = 1;
constexpr std::uint32_t container = 10;
constexpr std::uint32_t linMessage = 11;
constexpr std::uint32_t flexRayReceived = 50;
constexpr std::uint32_t canFdMessage = 100;
constexpr std::uint32_t ethernetFrameEx = 120;

/// Little endian, as this host is.
template <class Number>
void append(std::string& bytes, Number number) {
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

void appendZeros(std::string& bytes, std::size_t count) {
    bytes.append(count, '\0');
}

/// Appends the first `count` bytes and zeros up to `room`.
template <class Bytes>
void appendPadded(std::string& bytes, const Bytes& data, std::size_t count, std::size_t room) {
    bytes.append(reinterpret_cast<const char*>(data.data()), count);
    appendZeros(bytes, room - count);
}

/// Year, month, day of the week, day, hour, minute, second, millisecond.
void appendSystemTime(std::string& bytes, std::uint64_t time) {
    using namespace std::chrono;
    const sys_time<milliseconds> moment(milliseconds(static_cast<std::int64_t>(time / millisecond)));
    const auto midnight = floor<days>(moment);
    const year_month_day date(midnight);
    const hh_mm_ss clock(moment - midnight);
    append(bytes, static_cast<std::uint16_t>(static_cast<int>(date.year())));
    append(bytes, static_cast<std::uint16_t>(static_cast<unsigned>(date.month())));
    append(bytes, static_cast<std::uint16_t>(weekday(midnight).c_encoding()));
    append(bytes, static_cast<std::uint16_t>(static_cast<unsigned>(date.day())));
    append(bytes, static_cast<std::uint16_t>(clock.hours().count()));
    append(bytes, static_cast<std::uint16_t>(clock.minutes().count()));
    append(bytes, static_cast<std::uint16_t>(clock.seconds().count()));
    append(bytes, static_cast<std::uint16_t>(clock.subseconds().count()));
}

} // namespace

BlfWriter::BlfWriter(const OutputFile& file)
    : TraceWriter(file), file(file), length(headLength), inflatedLength(headLength) {
    content.reserve(containerSize + 70'000);
}

std::string BlfWriter::head() const {
    std::string bytes = "LOGG";
    append(bytes, std::uint32_t{headLength});
    append(bytes, std::uint32_t{0});          // written by a program without a number
    append(bytes, std::uint32_t{0x01080602}); // version of the format: 2.6.8.1
    append(bytes, length);
    append(bytes, inflatedLength);
    append(bytes, static_cast<std::uint32_t>(messages));
    append(bytes, std::uint32_t{0});
    appendSystemTime(bytes, start);
    appendSystemTime(bytes, latest);
    appendZeros(bytes, headLength - bytes.size());
    return bytes;
}

void BlfWriter::beginObject(std::uint32_t type, std::size_t bodyLength, std::uint64_t timestamp) {
    if (!isBegun) {
        isBegun = true;
        latest = timestamp;
        start = timestamp - timestamp % millisecond;
        out.append(head());
    }
    early += timestamp < start ? 1 : 0;
    latest = std::max(latest, timestamp);
    content += "LOBJ";
    append(content, std::uint16_t{objectHeadLength});
    append(content, std::uint16_t{1});
    append(content, static_cast<std::uint32_t>(objectHeadLength + bodyLength));
    append(content, type);
    append(content, std::uint32_t{2}); // nanoseconds
    append(content, std::uint32_t{0});
    append(content, timestamp - std::min(start, timestamp));
}

void BlfWriter::endObject() {
    ++messages;
    if (content.size() >= containerSize) {
        writeContainer();
    }
}

void BlfWriter::receive(const CANExtTraceMessage& frame) {
    constexpr std::uint32_t extendedFlag = 0x80000000;
    constexpr std::uint8_t fdFlag = 1;
    if (!isWellFormed(frame)) {
        ++lostShapes;
        return;
    }
    const std::size_t room = frame.isFd() ? frame.payload.size() : 8;
    beginObject(frame.isFd() ? canFdMessage : canMessage, frame.isFd() ? 20 + room : 8 + room,
                frame.timestamp);
    append(content, std::uint16_t{frame.channel});
    append(content, std::uint8_t{0});
    append(content, codeOfCanLength(frame.length));
    append(content, frame.canId | (frame.isExtended() ? extendedFlag : 0));
    if (frame.isFd()) {
        appendZeros(content, 5);
        append(content, fdFlag);
        append(content, frame.length);
        appendZeros(content, 5);
    }
    appendPadded(content, frame.payload, frame.length, room);
    endObject();
}

void BlfWriter::receive(const LINTraceMessage& frame) {
    constexpr std::size_t room = 8;
    if (frame.data.size() > room) {
        ++lostShapes;
        return;
    }
    beginObject(linMessage, 24, frame.timestamp);
    append(content, std::uint16_t{frame.channel});
    append(content, static_cast<std::uint8_t>(frame.protectedId & 0x3FU));
    append(content, static_cast<std::uint8_t>(frame.data.size()));
    appendPadded(content, frame.data, frame.data.size(), room);
    appendZeros(content, 12);
    endObject();
}

void BlfWriter::receive(const FlexRayExtTraceMessage& frame) {
    constexpr std::size_t room = 254;
    constexpr std::uint32_t validData = 2;
    if (frame.payload.size() > room || frame.payload.size() % 2 != 0 || frame.slot > 2047 ||
        frame.cycle > 63) {
        ++lostShapes;
        return;
    }
    const auto size = static_cast<std::uint16_t>(frame.payload.size());
    beginObject(flexRayReceived, 44 + room + 6, frame.timestamp);
    append(content, std::uint16_t{frame.channel});
    append(content, std::uint16_t{1}); // version
    append(content, std::uint16_t{1}); // channel A
    appendZeros(content, 10);
    append(content, frame.slot);
    appendZeros(content, 4);
    append(content, size);
    append(content, size); // all of it
    append(content, std::uint16_t{frame.cycle});
    appendZeros(content, 8);
    append(content, validData);
    appendZeros(content, 4);
    appendPadded(content, frame.payload, size, room + 6);
    endObject();
}

void BlfWriter::receive(const MIITraceMessage& frame) {
    appendEthernet(frame.channel, frame.frame, frame.timestamp);
}

void BlfWriter::receive(const EthernetTraceMessage& frame) {
    if (frame.kind == EthernetTraceMessage::Frame) {
        appendEthernet(frame.channel, frame.frame, frame.timestamp);
    } else {
        ++lostEthernet;
    }
}

void BlfWriter::appendEthernet(std::uint8_t channel, const std::vector<std::uint8_t>& frame,
                               std::uint64_t timestamp) {
    constexpr std::uint16_t structLength = 32;
    if (frame.size() > 0xFFFF) {
        ++lostShapes;
        return;
    }
    beginObject(ethernetFrameEx, structLength + frame.size(), timestamp);
    append(content, structLength);
    append(content, std::uint16_t{0});
    append(content, std::uint16_t{channel});
    appendZeros(content, 16);
    append(content, static_cast<std::uint16_t>(frame.size()));
    appendZeros(content, 8);
    appendPadded(content, frame, frame.size(), frame.size() + (structLength + frame.size()) % 4);
    endObject();
}

void BlfWriter::writeContainer() {
    uLongf size = compressBound(content.size());
    deflated.resize(size);
    if (compress2(reinterpret_cast<Bytef*>(deflated.data()), &size,
                  reinterpret_cast<const Bytef*>(content.data()), content.size(), Z_BEST_SPEED) != Z_OK) {
        throw std::bad_alloc();
    }
    std::string head = "LOBJ";
    const std::size_t objectLength = containerHeadLength + size;
    append(head, std::uint16_t{16});
    append(head, std::uint16_t{1});
    append(head, static_cast<std::uint32_t>(objectLength));
    append(head, container);
    append(head, std::uint64_t{2}); // deflated
    append(head, static_cast<std::uint32_t>(content.size()));
    append(head, std::uint32_t{0});
    out.append(head);
    deflated.resize(size);
    appendZeros(deflated, objectLength % 4);
    out.append(deflated);
    out.endRow();
    length += containerHeadLength + deflated.size();
    inflatedLength += containerHeadLength + content.size();
    content.clear();
}

void BlfWriter::finish() {
    if (!content.empty()) {
        writeContainer();
    }
    TraceWriter::finish();
    if (isBegun) {
        file.overwrite(0, head());
    }
}

Counts BlfWriter::lost() const {
    Counts counts = TraceWriter::lost();
    counts.emplace_back("times before that of the first message", early);
    return counts;
}

} // namespace rksignal
