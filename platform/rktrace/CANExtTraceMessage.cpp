#include "rktrace/CANExtTraceMessage.h"

#include "rkutil/hexOctet.h"
#include "rkutil/printTime.h"

#include <algorithm>

std::ostream& operator<<(std::ostream& out, const CANExtTraceMessage& message) {
    out << std::dec << "timestamp=";
    printTime(out, message.timestamp);
    out << ",channel=" << unsigned{message.channel} << ",frameFormat=" << message.frameFormat
        << ",length=" << unsigned{message.length} << ",canId=0x" << std::hex << message.canId << std::dec
        << ",payload=";
    const std::size_t shown = std::min<std::size_t>(message.length, message.payload.size());
    for (std::size_t i = 0; i < shown; ++i) {
        if (i != 0) {
            out.put(' ');
        }
        hexOctet(out, message.payload[i]);
    }
    return out;
}
