#include "convert/TraceWriter.h"

#include "trace/CanFrame.h"

#include <cstddef>

namespace rksignal {

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
            {"inputs, keys and status of the logger", lostLogger},
            {"malformed frames", lostShapes}};
}

void TraceWriter::pass(PassedMessage kind, std::uint64_t /*timestamp*/) {
    ++passed[static_cast<std::size_t>(kind)];
}

bool isWellFormed(const CANExtTraceMessage& frame) {
    return frame.frameFormat <= CANExtTraceMessage::FdExtended &&
           frame.canId <= greatestCanId(frame.isExtended()) && frame.length <= mostCanBytes(frame.isFd());
}

} // namespace rksignal
