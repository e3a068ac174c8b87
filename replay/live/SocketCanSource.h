/// \file
/// A CAN interface of Linux as a live source.
#pragma once

#include "live/LiveSource.h"

#include <cstdint>
#include <memory>
#include <string>

namespace rksignal {

/// The frames of a raw CAN socket (Linux, "SocketCAN - Controller Area Network"), classic and CAN FD, with
/// the kernel's time stamps. Remote frames, error frames and CAN XL frames are passed as what they are. Lost
/// are the frames that the kernel dropped because the socket was full, and one for each overflow that the
/// controller tells with an error frame.
///
/// An interface that goes down and up again goes on: that is an interruption.
class RKREPLAY_EXPORT SocketCanSource final : public LiveSource {
  public:
    /// Takes over a descriptor that gives a frame a datagram, as openCan() makes one: any socket of datagrams
    /// serves. One of SOCK_SEQPACKET ends when its other side is closed.
    SocketCanSource(std::string name, int descriptor, std::uint8_t channel);
    ~SocketCanSource() override;

    int descriptor() const override;
    std::optional<std::uint64_t> due() const override;
    void read(MessageSink& sink) override;
    bool ended() const override;

  private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace rksignal
