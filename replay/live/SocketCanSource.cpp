#include "live/SocketCanSource.h"

#include "live/DatagramReader.h"
#include "trace/SocketCanFrame.h"

#include <cstring>
#include <linux/can.h>
#include <linux/can/error.h>
#include <span>
#include <utility>

namespace rksignal {
namespace {

using Frame = std::span<const std::uint8_t>;

/// Room for a CAN FD frame and a little more, so that what is no frame shows. Of CAN XL frames, which are
/// only counted, the head is enough.
constexpr std::size_t mostBytes = CANFD_MTU + 8;

bool isXl(Frame frame) {
    constexpr std::uint8_t xlFlag = 0x80;
    constexpr std::size_t flagsAt = offsetof(canfd_frame, len);
    return frame.size() > flagsAt && (frame[flagsAt] & xlFlag) != 0;
}

bool tellsOverflow(std::uint32_t id, Frame frame) {
    return (id & CAN_ERR_CRTL) != 0 && (frame[offsetof(can_frame, data) + 1] & CAN_ERR_CRTL_RX_OVERFLOW) != 0;
}

} // namespace

struct SocketCanSource::State {
    State(const std::string& name, int descriptor) : frames(name, descriptor, mostBytes) {}

    /// \return nothing, and sets `reason`, if it is no frame
    std::optional<FrameContent> read(Frame frame) {
        const bool isFd = frame.size() == CANFD_MTU;
        if (!isXl(frame) && (!frames.isWhole() || (frame.size() != CAN_MTU && !isFd))) {
            reason = "not of the size of a CAN frame";
            return std::nullopt;
        }
        std::uint32_t id = 0;
        std::memcpy(&id, frame.data(), sizeof id);
        const auto content = readSocketCanFrame(id, isFd, frame, message, reason);
        if (content == FrameContent(PassedMessage::Error) && tellsOverflow(id, frame)) {
            ++overflows;
        }
        return content;
    }

    DatagramReader frames;
    CANExtTraceMessage message;
    const char* reason = nullptr;
    std::uint64_t overflows = 0; ///< of the controller
};

SocketCanSource::SocketCanSource(std::string name, int descriptor, std::uint8_t channel)
    : LiveSource(std::move(name)), state(std::make_unique<State>(this->name(), descriptor)) {
    state->message.channel = channel;
}

SocketCanSource::~SocketCanSource() = default;

int SocketCanSource::descriptor() const {
    return state->frames.descriptor();
}

std::optional<std::uint64_t> SocketCanSource::due() const {
    return state->frames.hasMore() ? std::optional<std::uint64_t>(0) : std::nullopt;
}

bool SocketCanSource::ended() const {
    return state->frames.ended() && !state->frames.hasMore();
}

void SocketCanSource::read(MessageSink& sink) {
    DatagramReader& frames = state->frames;
    if (!frames.hasMore()) {
        frames.receive();
    }
    while (frames.hasMore() && !sink.closed()) {
        frames.next();
        counted.lost = frames.lost() + state->overflows;
        if (const auto content = state->read(frames.bytes())) {
            ++counted.messages;
            deliverContent(*content, sink, frames.timestamp());
        } else {
            countDamage(state->reason);
        }
    }
    counted.lost = frames.lost() + state->overflows;
    counted.interruptions = frames.interruptions();
}

} // namespace rksignal
