#include "convert/AscWriter.h"

#include "convert/LineText.h"
#include "trace/CanFrame.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <string>

namespace rksignal {
namespace {

constexpr std::uint64_t nanosecondsPerMillisecond = 1'000'000;
constexpr std::size_t longestLine = 512;

/// `Tue Nov 14 22:13:20.250 2023`
std::string dateText(std::uint64_t timestamp) {
    using namespace std::chrono;
    constexpr const char* days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const sys_time<milliseconds> moment{milliseconds(timestamp / nanosecondsPerMillisecond)};
    const auto midnight = floor<std::chrono::days>(moment);
    const year_month_day date{midnight};
    const hh_mm_ss<milliseconds> clock{moment - midnight};
    char text[64];
    std::snprintf(text, sizeof text, "%s %s %u %02d:%02d:%02d.%03d %d", days[weekday{midnight}.c_encoding()],
                  months[static_cast<unsigned>(date.month()) - 1], static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()),
                  static_cast<int>(date.year()));
    return text;
}

char* writeNumber(char* out, unsigned number, int base = 10) {
    return std::to_chars(out, out + 8, number, base).ptr;
}

} // namespace

/// Begins the log, or a further trigger block.
void AscWriter::beginBlock(std::uint64_t timestamp) {
    const std::string date = dateText(timestamp);
    out.append(start ? "End TriggerBlock\n"
                     : "date " + date + "\nbase hex  timestamps absolute\ninternal events logged\n");
    out.append("Begin Triggerblock " + date + "\n");
    out.endRow();
    start = timestamp - timestamp % nanosecondsPerMillisecond;
}

char* AscWriter::beginLine(std::uint64_t timestamp) {
    if (!start || timestamp < *start) {
        beginBlock(timestamp);
    }
    char* const line = writeText(out.reserve(longestLine), "   ");
    return writeText(time.write(line, timestamp - *start), " ");
}

void AscWriter::endLine(char* at, std::span<const std::uint8_t> bytes, std::string_view rest) {
    for (const std::uint8_t byte : bytes) {
        *at++ = ' ';
        at = writeHex(at, byte, 2);
    }
    at = writeText(at, rest);
    *at++ = '\n';
    out.advance(at);
    out.endRow();
    ++messages;
}

/// `0.003000 1  200             Rx   d 2 02 10` or
/// `0.003800 CANFD   1 Rx 300   0 0 9 12 01 02 ... 0c 0 0 1000 0 0 0 0 0`
void AscWriter::receive(const CANExtTraceMessage& frame) {
    if (!isWellFormed(frame)) {
        ++lostShapes;
        return;
    }
    const auto writeIdentifier = [&frame](char* at) {
        at = std::to_chars(at, at + 8, frame.canId, 16).ptr;
        return writeText(at, frame.isExtended() ? "x" : "");
    };
    char* at = beginLine(frame.timestamp);
    if (frame.isFd()) {
        at = writeNumber(writeText(at, "CANFD   "), frame.channel);
        at = writeIdentifier(writeText(at, " Rx   "));
        at = writeNumber(writeText(at, "   0 0 "), codeOfCanLength(frame.length), 16);
        at = writeNumber(writeText(at, " "), frame.length);
    } else {
        at = writeText(writeNumber(at, frame.channel), "  ");
        at = writeIdentifier(at);
        at = writeNumber(writeText(at, "   Rx   d "), frame.length);
    }
    constexpr std::string_view fdEnd =
        " 0 0 1000 0 0 0 0 0"; // duration, bits, flags: FD format, checksum, timing
    endLine(at, std::span(frame.payload).first(frame.length), frame.isFd() ? fdEnd : "");
}

/// `0.004000 L1 3C Rx 2 01 02`
void AscWriter::receive(const LINTraceMessage& frame) {
    constexpr std::size_t longestLin = 8;
    constexpr std::uint8_t identifierBits = 0x3F;
    if (frame.data.size() > longestLin) {
        ++lostShapes;
        return;
    }
    char* at = writeText(beginLine(frame.timestamp), "L");
    at = writeText(writeNumber(at, frame.channel), " ");
    at = writeHex(at, frame.protectedId & identifierBits, 2);
    at = writeNumber(writeText(at, " Rx "), static_cast<unsigned>(frame.data.size()));
    endLine(at, frame.data, "");
}

void AscWriter::finish() {
    if (!start) {
        beginBlock(0);
    }
    out.append("End TriggerBlock\n");
    out.endRow();
    TraceWriter::finish();
}

} // namespace rksignal
