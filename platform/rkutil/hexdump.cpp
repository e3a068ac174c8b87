#include "rkutil/hexdump.h"

#include "rkutil/hexOctet.h"

void hexdump(std::ostream& out, const std::uint8_t* data, std::size_t length) {
    constexpr std::size_t bytesPerLine = 16;
    for (std::size_t i = 0; i < length; ++i) {
        const bool endsLine = i % bytesPerLine == bytesPerLine - 1 || i + 1 == length;
        hexOctet(out, data[i]).put(endsLine ? '\n' : ' ');
    }
}
