#include "CandumpLog.h"
#include "Digits.h"

namespace drive {

namespace {

constexpr std::size_t pieceSize = 1 << 16;
constexpr std::uint32_t errorFlag = 0x20000000; // SocketCAN's mark of an error frame
constexpr int bitRateSwitch = 1;                // flags of a CAN FD frame

} // namespace

void CandumpLog::write(const Frame& frame) {
    const bool isError = frame.kind == FrameKind::Error;
    text += '(';
    putDecimal(text, frame.microseconds / 1000000, 10);
    text += '.';
    putDecimal(text, frame.microseconds % 1000000, 6);
    text += ") can";
    text += static_cast<char>('0' + frame.bus);
    text += ' ';
    putHex(text, frame.id | (isError ? errorFlag : 0), frame.extended || isError ? 8 : 3);
    text += '#';
    if (frame.kind == FrameKind::Remote) {
        text += 'R';
        putDecimal(text, frame.length, 1);
    } else {
        if (frame.kind == FrameKind::FdData) {
            text += '#';
            putHex(text, bitRateSwitch, 1);
        }
        for (std::size_t i = 0; i < frame.length; ++i) {
            putHex(text, frame.data[i], 2);
        }
    }
    text += '\n';
    if (text.size() >= pieceSize) {
        flush();
    }
}

void CandumpLog::flush() {
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    text.clear();
}

} // namespace drive
