// Datagrams of any content: the first byte says whether they are packets of cannelloni or frames as SocketCAN
// has them.

#include "FuzzInput.h"
#include "live/CannelloniPacket.h"
#include "live/PacketSequence.h"
#include "trace/CanFrame.h"
#include "trace/SocketCanFrame.h"

#include <cstdlib>

namespace {

void check(const std::optional<rksignal::FrameContent>& content, const CANExtTraceMessage& message,
           const char* reason) {
    const bool isFrame = content && std::holds_alternative<CANExtTraceMessage*>(*content);
    if (content ? isFrame && (message.length > rksignal::mostCanBytes(message.isFd()) ||
                              message.canId > rksignal::greatestCanId(message.isExtended()))
                : reason == nullptr) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const auto kind = input.take<std::uint8_t>();
    const std::vector<std::uint8_t> bytes = input.takeBytes(size);
    CANExtTraceMessage message;
    if (kind % 4 != 0) {
        rksignal::CannelloniPacket packet(bytes);
        rksignal::PacketSequence packets;
        if (packet.isPacket() && packets.meet(packet.sequence()) != 0) {
            std::abort();
        }
        for (std::size_t i = 0; packet.hasMore(); ++i) {
            check(packet.next(message), message, packet.malformed());
            if (i > bytes.size()) { // each frame has bytes
                std::abort();
            }
        }
        rksignal::PacketSequence numbers;
        for (const std::uint8_t number : bytes) {
            numbers.meet(number);
        }
    } else {
        std::uint32_t id = 0;
        std::copy_n(bytes.begin(), std::min(bytes.size(), sizeof id), reinterpret_cast<std::uint8_t*>(&id));
        const bool isFd = bytes.size() > 16; // struct can_frame has 16 bytes
        const char* reason = nullptr;
        const auto content = rksignal::readSocketCanFrame(id, isFd, bytes, message, reason);
        check(content, message, reason);
    }
    return 0;
}
