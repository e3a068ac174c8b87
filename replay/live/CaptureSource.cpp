#include "live/CaptureSource.h"

#include "live/ClockTime.h"
#include "trace/capture/PacketReader.h"

#include <array>
#include <bit>
#include <pcap/pcap.h>
#include <span>

namespace rksignal {
namespace {

constexpr int mostPackets = 64;

using Capture = std::unique_ptr<pcap_t, decltype(&pcap_close)>;

/// \throws Error that says what libpcap says
[[noreturn]] void failToCapture(const std::string& interface, const std::string& why) {
    throw Error("cannot capture from " + interface + ": " + why);
}

void setFilter(pcap_t* capture, const std::string& interface, const std::string& filter) {
    bpf_program program{};
    if (pcap_compile(capture, &program, filter.c_str(), 1, PCAP_NETMASK_UNKNOWN) != 0) {
        failToCapture(interface, "filter: " + std::string(pcap_geterr(capture)));
    }
    const int status = pcap_setfilter(capture, &program);
    pcap_freecode(&program);
    if (status != 0) {
        failToCapture(interface, "filter: " + std::string(pcap_geterr(capture)));
    }
}

Capture openCapture(const std::string& interface, const CaptureSettings& settings) {
    constexpr int mostPacketBytes = 262144;
    constexpr int bufferBytes = 16 * 1024 * 1024;
    std::array<char, PCAP_ERRBUF_SIZE> reason{};
    Capture capture(pcap_create(interface.c_str(), reason.data()), pcap_close);
    if (!capture) {
        failToCapture(interface, reason.data());
    }
    pcap_set_snaplen(capture.get(), mostPacketBytes);
    pcap_set_promisc(capture.get(), settings.isPromiscuous ? 1 : 0);
    pcap_set_immediate_mode(capture.get(), 1); // a packet is there when it comes
    pcap_set_buffer_size(capture.get(), bufferBytes);
    pcap_set_tstamp_precision(capture.get(), PCAP_TSTAMP_PRECISION_NANO);
    if (const int status = pcap_activate(capture.get()); status < 0) {
        const std::string detail = pcap_geterr(capture.get());
        failToCapture(interface, pcap_statustostr(status) + (detail.empty() ? "" : ": " + detail));
    }
    if (!settings.filter.empty()) {
        setFilter(capture.get(), interface, settings.filter);
    }
    if (pcap_setnonblock(capture.get(), 1, reason.data()) != 0) {
        failToCapture(interface, reason.data());
    }
    return capture;
}

} // namespace

struct CaptureSource::State {
    State(const std::string& interface, std::uint8_t channel, const CaptureSettings& settings)
        : capture(openCapture(interface, settings)), channel(channel),
          link(PacketReader::find(pcap_datalink(capture.get()))),
          isNano(pcap_get_tstamp_precision(capture.get()) == PCAP_TSTAMP_PRECISION_NANO) {
        if (link == nullptr) {
            failToCapture(interface, "packets of link type " + std::to_string(pcap_datalink(capture.get())) +
                                         " are not supported");
        }
    }

    /// \return nothing if it cannot be understood
    std::optional<FrameContent> read(const pcap_pkthdr& head, const u_char* bytes) {
        constexpr bool isBigEndian = std::endian::native == std::endian::big;
        return head.caplen < head.len
                   ? PassedMessage::Truncated
                   : packets.read(*link, channel, isBigEndian, std::span(bytes, head.caplen));
    }

    std::uint64_t timeOf(const pcap_pkthdr& head) const {
        return nanosecondsOf({head.ts.tv_sec, head.ts.tv_usec * (isNano ? 1 : 1000)});
    }

    Capture capture;
    std::uint8_t channel;
    const PacketReader::Link* link;
    bool isNano;
    PacketReader packets;
    bool hasMore = false; ///< perhaps
};

CaptureSource::CaptureSource(const std::string& interface, std::uint8_t channel,
                             const CaptureSettings& settings)
    : LiveSource(interface), state(std::make_unique<State>(interface, channel, settings)) {}
CaptureSource::~CaptureSource() = default;

int CaptureSource::descriptor() const {
    return pcap_get_selectable_fd(state->capture.get());
}

std::optional<std::uint64_t> CaptureSource::due() const {
    return state->hasMore ? std::optional<std::uint64_t>(0) : std::nullopt;
}

void CaptureSource::read(MessageSink& sink) {
    pcap_t* const capture = state->capture.get();
    state->hasMore = true;
    for (int i = 0; i < mostPackets && !sink.closed(); ++i) {
        pcap_pkthdr* head = nullptr;
        const u_char* bytes = nullptr;
        const int status = pcap_next_ex(capture, &head, &bytes);
        if (status < 0) {
            throw SourceError("cannot capture from " + name() + ": " + pcap_geterr(capture));
        }
        if (status == 0) {
            state->hasMore = false;
            return;
        }
        if (const auto content = state->read(*head, bytes)) {
            ++counted.messages;
            deliverContent(*content, sink, state->timeOf(*head));
        } else {
            countDamage(state->packets.malformed());
        }
    }
}

LiveCounts CaptureSource::counts() const {
    LiveCounts counts = counted;
    pcap_stat kernel{};
    if (pcap_stats(state->capture.get(), &kernel) == 0) {
        counts.lost = kernel.ps_drop;
    }
    return counts;
}

} // namespace rksignal
