/// \file
/// An Ethernet interface, or any other that libpcap knows, as a live source.
#pragma once

#include "live/LiveSource.h"

#include <cstdint>
#include <memory>
#include <string>

namespace rksignal {

struct CaptureSettings {
    std::string filter = {}; ///< which packets, as pcap-filter(7) says; empty: all
    bool isPromiscuous = true;
};

/// The packets of a network interface, with the kernel's time stamps: frames of Ethernet as a capture file
/// gives them, and, of interfaces of CAN and of `any`, those of CAN. Lost are those that the kernel dropped.
class RKREPLAY_EXPORT CaptureSource final : public LiveSource {
  public:
    /// \throws Error that names the interface: it is missing, its packets are of a kind that is not known,
    /// the filter is none, or the process may not capture (it needs CAP_NET_RAW)
    CaptureSource(const std::string& interface, std::uint8_t channel, const CaptureSettings& settings = {});
    ~CaptureSource() override;

    int descriptor() const override;
    std::optional<std::uint64_t> due() const override;
    void read(MessageSink& sink) override;
    LiveCounts counts() const override; ///< asks the kernel

  private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace rksignal
