#include "CandumpLog.h"

namespace drive {

namespace {

constexpr std::size_t pieceSize = 1 << 16;
constexpr std::uint32_t errorFlag = 0x20000000; // SocketCAN's mark of an error frame
constexpr int bitRateSwitch = 1;                // flags of a CAN FD frame

} // namespace

void CandumpLog::write(const Frame& frame) {
    const bool isError = frame.kind == FrameKind::Error;
    text += '(';
    putDecimal(frame.microseconds / 1000000, 10);
    text += '.';
    putDecimal(frame.microseconds % 1000000, 6);
    text += ") can";
    text += static_cast<char>('0' + frame.bus);
    text += ' ';
    putHex(frame.id | (isError ? errorFlag : 0), frame.extended || isError ? 8 : 3);
    text += '#';
    if (frame.kind == FrameKind::Remote) {
        text += 'R';
        putDecimal(frame.length, 1);
    } else {
        if (frame.kind == FrameKind::FdData) {
            text += '#';
            putHex(bitRateSwitch, 1);
        }
        for (std::size_t i = 0; i < frame.length; ++i) {
            putHex(frame.data[i], 2);
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

void CandumpLog::putDecimal(std::uint64_t number, int digits) {
    text.resize(text.size() + static_cast<std::size_t>(digits));
    for (auto place = text.rbegin(); digits > 0; --digits, ++place) {
        *place = static_cast<char>('0' + number % 10);
        number /= 10;
    }
}

void CandumpLog::putHex(std::uint64_t number, int digits) {
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        text += "0123456789ABCDEF"[number >> shift & 15];
    }
}

} // namespace drive
