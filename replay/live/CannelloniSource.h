/// \file
/// CAN frames that cannelloni sends over a network.
#pragma once

#include "live/LiveSource.h"

#include <cstdint>
#include <memory>
#include <string>

namespace rksignal {

/// The frames in UDP packets of cannelloni, version 2: classic and CAN FD, remote and error frames. They have
/// the time at which their packet was received. Lost are the packets that the sequence numbers of each sender
/// miss, which had a frame each at least. Of up to 16 senders at a time the numbers are followed.
///
/// Whoever can reach the address can send frames.
class RKREPLAY_EXPORT CannelloniSource final : public LiveSource {
  public:
    /// Listens at a numeric address, `127.0.0.1:20000` or `[::1]:20000`; with port 0, at one that is free.
    /// \throws Error that names the address
    CannelloniSource(const std::string& address, std::uint8_t channel);
    ~CannelloniSource() override;

    std::uint16_t port() const; ///< where it listens

    int descriptor() const override;
    std::optional<std::uint64_t> due() const override;
    void read(MessageSink& sink) override;

  private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace rksignal
