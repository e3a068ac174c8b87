#include "survey/BusTime.h"

namespace rksignal {
namespace {

constexpr std::uint64_t interframeSpace = 3;

/// The most stuff bits among `bits`: one behind the first five equal bits, and one behind each further four.
constexpr std::uint64_t mostStuffBits(std::uint64_t bits) {
    return (bits - 1) / 4;
}

BusBits classicBits(bool isExtended, std::uint64_t dataBits) {
    constexpr std::uint64_t behindChecksum = 10; // delimiters, acknowledgement, end of frame
    const std::uint64_t stuffable = (isExtended ? 54U : 34U) + dataBits;
    const std::uint64_t bits = stuffable + behindChecksum + interframeSpace;
    return {bits, bits + mostStuffBits(stuffable), 0, 0};
}

BusBits fdBits(bool isExtended, std::uint64_t dataBits) {
    constexpr std::uint64_t longestOfShortChecksum = 128;
    constexpr std::uint64_t acknowledgementAndEnd = 9;
    constexpr std::uint64_t control = 5;    // error state indicator and length code
    constexpr std::uint64_t stuffCount = 4; // with its parity
    const bool isShort = dataBits <= longestOfShortChecksum;
    const std::uint64_t arbitration = isExtended ? 36 : 17; // up to the bit that switches the rate
    const std::uint64_t checksum = isShort ? 17 : 21;
    const std::uint64_t fixedStuffBits = isShort ? 6 : 7;
    const std::uint64_t nominal = arbitration + acknowledgementAndEnd + interframeSpace;
    const std::uint64_t data = control + dataBits + stuffCount + checksum + fixedStuffBits + 1; // delimiter
    return {nominal, nominal + mostStuffBits(arbitration), data, data + (control + dataBits) / 4};
}

} // namespace

BusBits canBits(const CANExtTraceMessage& frame) {
    const std::uint64_t dataBits = std::uint64_t{8} * frame.length;
    return frame.isFd() ? fdBits(frame.isExtended(), dataBits) : classicBits(frame.isExtended(), dataBits);
}

BusBits linBits(std::size_t dataBytes) {
    const std::uint64_t bits = 34 + 10 * (std::uint64_t{dataBytes} + 1);
    return {bits, bits, 0, 0};
}

} // namespace rksignal
