#include "convert/CandumpWriter.h"

#include "convert/LineText.h"

#include <charconv>
#include <cstddef>
#include <span>

namespace rksignal {
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
