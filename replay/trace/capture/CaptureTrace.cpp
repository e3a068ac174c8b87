#include "trace/capture/CaptureTrace.h"

#include "text/Error.h"

#include <algorithm>
#include <map>
#include <span>
#include <string>

namespace rksignal {
namespace {

std::string unsupported(int linkType) {
    return "packets of link type " + std::to_string(linkType) + " are not supported";
}

} // namespace

CaptureTrace::CaptureTrace(std::unique_ptr<InputFile> file, ChannelMap& channels)
    : TraceSource(std::move(file)), channels(channels), packets(input()) {
    if (!packets.interfaces().empty()) { // pcap
        const int linkType = packets.interfaces().front().linkType;
        if (PacketReader::find(linkType) == nullptr) {
            throw Error(path() + ": " + unsupported(linkType));
        }
    }
}

bool CaptureTrace::next() {
    while (packets.next()) {
        if (const auto message = read()) {
            content = *message;
            now = *packets.timestamp();
            return true;
        }
    }
    conclude();
    return false;
}

/// \return nothing if the packet cannot be understood
std::optional<FrameContent> CaptureTrace::read() {
    if (!packets.timestamp()) {
        return countMalformed("no time stamp, or an impossible one");
    }
    const Source& source = sourceOfPacket();
    if (source.link == nullptr) {
        return PassedMessage::Other;
    }
    if (!source.channel) {
        return countMalformed("no channel is left for its interface");
    }
    if (!packets.isWhole()) {
        return PassedMessage::Truncated;
    }
    const bool isBigEndian = packets.interfaces()[packets.interface()].isBigEndian;
    const auto message = reader.read(*source.link, *source.channel, isBigEndian, packets.bytes());
    return message ? message : countMalformed(reader.malformed());
}

CaptureTrace::Source& CaptureTrace::sourceOfPacket() {
    sources.resize(packets.interfaces().size());
    Source& source = sources[packets.interface()];
    if (source.packets++ == 0) {
        const PacketInterface& interface = packets.interfaces()[packets.interface()];
        source.link = PacketReader::find(interface.linkType);
        source.channel = source.link != nullptr ? channelOf(interface, *source.link) : std::nullopt;
    }
    return source;
}

std::optional<std::uint8_t> CaptureTrace::channelOf(const PacketInterface& interface,
                                                    const PacketReader::Link& link) {
    for (const std::string& name :
         {path() + ':' + interface.name, path() + ':' + std::to_string(interface.index), path()}) {
        if (channels.knows(name)) {
            return channels.channelOf(name);
        }
    }
    const std::string_view bus = PacketReader::busOf(link);
    if (bus == "can" && !interface.name.empty()) {
        return channels.channelOf(interface.name);
    }
    const auto number = trailingNumber(interface.name);
    return number && interface.name == std::string(bus) + std::to_string(*number) ? number
                                                                                  : numberAmongItsKind(bus);
}

/// The number of the packet's interface among those of its bus in this section of the file.
std::optional<std::uint8_t> CaptureTrace::numberAmongItsKind(std::string_view bus) const {
    constexpr std::ptrdiff_t maxChannel = 255;
    const auto all = std::span(packets.interfaces()).first(packets.interface());
    const auto before = all.last(packets.interfaces()[packets.interface()].index);
    const auto count = std::count_if(before.begin(), before.end(), [bus](const PacketInterface& each) {
        const PacketReader::Link* const link = PacketReader::find(each.linkType);
        return link != nullptr && PacketReader::busOf(*link) == bus;
    });
    return count <= maxChannel ? std::optional(static_cast<std::uint8_t>(count)) : std::nullopt;
}

std::optional<FrameContent> CaptureTrace::countMalformed(const char* reason) {
    if (found.damagedPackets++ == 0) {
        firstMalformed = "packet " + std::to_string(packets.number()) + ": " + reason;
    }
    return std::nullopt;
}

void CaptureTrace::completeReport() {
    found.lost = reader.dropped();
    reportInterfaces();
    if (found.damagedPackets > 0) {
        remark("malformed packets: " + std::to_string(found.damagedPackets) + ", the first is " +
               firstMalformed);
    }
    if (!packets.failure().empty()) {
        remark("not understood behind packet " + std::to_string(packets.packets()) + ": " +
               packets.failure());
    }
}

/// The same interface in several sections of a file is listed once.
void CaptureTrace::reportInterfaces() {
    sources.resize(packets.interfaces().size());
    std::map<int, std::uint64_t> unsupportedPackets; // by link type
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const PacketInterface& interface = packets.interfaces()[i];
        const PacketReader::Link* const link = PacketReader::find(interface.linkType);
        TraceInterface entry{interface.index,
                             interface.name,
                             interface.comment,
                             link != nullptr ? std::string(PacketReader::busOf(*link))
                                             : "link type " + std::to_string(interface.linkType),
                             sources[i].channel,
                             sources[i].packets};
        found.lost += interface.dropped;
        if (link == nullptr && entry.messages > 0) {
            unsupportedPackets[interface.linkType] += entry.messages;
        }
        const auto same = std::find_if(found.interfaces.begin(), found.interfaces.end(),
                                       [&entry](const TraceInterface& each) { return each.isSame(entry); });
        if (same == found.interfaces.end()) {
            found.interfaces.push_back(std::move(entry));
        } else {
            same->messages += entry.messages;
        }
    }
    for (const auto& [linkType, count] : unsupportedPackets) {
        remark(unsupported(linkType) + ": " + std::to_string(count));
    }
}

void CaptureTrace::deliver(MessageSink& sink, std::uint64_t time) {
    deliverContent(content, sink, time);
}

} // namespace rksignal
