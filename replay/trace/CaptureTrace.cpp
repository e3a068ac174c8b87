#include "trace/CaptureTrace.h"

#include "text/Error.h"

#include <pcap/pcap.h>
#include <type_traits>

namespace rksignal {
namespace {

std::uint8_t channelOf(const std::string& path, ChannelMap& channels) {
    return channels.knows(path) ? channels.channelOf(path).value_or(0) : std::uint8_t{0};
}

int supported(int linkType, const std::string& path) {
    if (!PacketReader::isSupported(linkType)) {
        const char* const name = pcap_datalink_val_to_name(linkType);
        throw Error(path + ": packets of link type " + (name != nullptr ? name : std::to_string(linkType)) +
                    " are not supported");
    }
    return linkType;
}

} // namespace

CaptureTrace::CaptureTrace(std::unique_ptr<InputFile> file, ChannelMap& channels)
    : TraceSource(std::move(file)), packets(input()),
      reader(supported(packets.linkType(), path()), channelOf(path(), channels)) {}

bool CaptureTrace::next() {
    while (packets.next()) {
        const auto found = read();
        if (found) {
            content = *found;
            now = *packets.timestamp();
            return true;
        }
        countMalformed(packets.timestamp() ? reader.malformed() : "impossible time stamp");
    }
    conclude();
    return false;
}

/// \return nothing if the packet cannot be understood
std::optional<PacketReader::Content> CaptureTrace::read() {
    if (!packets.timestamp()) {
        return std::nullopt;
    }
    return packets.isWhole() ? reader.read(packets.bytes()) : PassedMessage::Truncated;
}

void CaptureTrace::countMalformed(const char* reason) {
    if (found.damagedPackets++ == 0) {
        firstMalformed = "packet " + std::to_string(packets.number()) + ": " + reason;
    }
}

void CaptureTrace::completeReport() {
    found.lost = reader.dropped();
    if (found.damagedPackets > 0) {
        remark("malformed packets: " + std::to_string(found.damagedPackets) + ", the first is " +
               firstMalformed);
    }
    if (!packets.failure().empty()) {
        remark("not understood behind packet " + std::to_string(packets.packets()) + ": " +
               packets.failure());
    }
}

void CaptureTrace::deliver(MessageSink& sink, std::uint64_t time) {
    std::visit(
        [&sink, time](auto message) {
            if constexpr (std::is_pointer_v<decltype(message)>) {
                message->timestamp = time;
                sink.receive(*message);
            } else {
                sink.pass(message, time);
            }
        },
        content);
}

} // namespace rksignal
