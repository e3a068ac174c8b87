#include "ethernet/EthernetDefinitions.h"

#include "signal/PlainPaths.h"

#include <algorithm>
#include <tuple>

namespace rksignal {
namespace {

bool haveSameAddressing(const EthernetFrameHash& left, const EthernetFrameHash& right) {
    const auto fieldsOf = [](const EthernetFrameHash& frame) {
        return std::tuple(frame.channel, frame.sourceMac, frame.destinationMac, frame.sourceIp,
                          frame.destinationIp, frame.sourcePort, frame.destinationPort, frame.ipProtocol,
                          frame.vlan, frame.vlanId);
    };
    return left.hash == right.hash && fieldsOf(left) == fieldsOf(right);
}

/// One that no container has if a part of it is too long.
std::uint64_t identifierOf(const ethernetPosition_t& position) {
    switch (position.ethSignalType) {
    case ethSignalPosType_t::IPDU:
        return position.pduId;
    case ethSignalPosType_t::SPDU:
        return position.messageId;
    case ethSignalPosType_t::SOMEIP:
        return std::max(position.serviceId, position.methodEventId) <= 0xFFFF
                   ? position.serviceId << 16 | position.methodEventId
                   : ~std::uint64_t{0};
    default:
        return 0;
    }
}

/// A frame is of one kind with another if all headers that can be named agree.
std::uint64_t hashOf(const FrameLayers& layers, std::uint8_t channel) {
    std::uint64_t hash = hashFrame(layers.info, channel);
    for (std::size_t i = 0; i + 1 < layers.tags; ++i) {
        hash = (hash ^ layers.vlanIds[i]) * 0x9E3779B97F4A7C15 + i;
    }
    return hash;
}

bool matches(const EthernetFrameHash& frame, const FrameLayers& layers, std::uint8_t channel) {
    miiFrameInfo_t info = layers.info;
    bool found = frame.match(info, channel);
    for (std::size_t i = 0; i + 1 < layers.tags && !found; ++i) {
        info.vlanId = layers.vlanIds[i];
        found = frame.match(info, channel);
    }
    return found;
}

} // namespace

/// The fast way is open to a field that lies in its bytes, as all do that definition files describe.
EthernetField::EthernetField(EthernetSignal& written, std::size_t index)
    : signal(&written), id(written.id), index(index), begin(written.position().startByte),
      size(written.position().numBytes), modified(&written.modified), cut{}, bigEndian(written.def.endian),
      isSigned(written.def.type == signalValue_t::Signed) {
    const auto field = bitfield::wordField(written.d_lsbBit, written.def.bits, written.def.endian);
    const int highestByte =
        written.def.endian ? written.d_startByte : written.d_startByte + written.d_bytes - 1;
    if (field && highestByte < static_cast<int>(size) && !written.shmem && !fastPathsOff()) {
        slot = written.slot;
        cut = *field;
    }
}

const EthernetFields* FrameDefinitions::find(ethSignalPosType_t container, std::uint64_t identifier) const {
    const auto& table = fields[static_cast<std::size_t>(container)];
    const auto found = table.find(identifier);
    return found != table.end() ? &found->second : nullptr;
}

EthernetDefinitions::EthernetDefinitions(const Catalog& catalog) {
    for (const std::size_t index : catalog.group(SignalKind::Ethernet).members) {
        auto& signal = static_cast<EthernetSignal&>(*catalog.signals()[index]);
        const bool anyChannel = !catalog.origin(index).message->channel;
        add(signal, index, anyChannel);
        for (const auto& child : signal.children) {
            add(*child, index, anyChannel);
        }
    }
}

void EthernetDefinitions::add(EthernetSignal& signal, std::size_t index, bool anyChannel) {
    const ethernetPosition_t& position = signal.position();
    const auto container = static_cast<std::size_t>(position.ethSignalType);
    if (position.numBytes == 0 || container >= FrameDefinitions::containers) {
        return; // it has no position
    }
    channels[signal.frameHash.channel] = true;
    isOfAnyChannel = isOfAnyChannel || anyChannel;
    definitionsOf(signal.frameHash, anyChannel)
        .fields[container][identifierOf(position)]
        .emplace_back(signal, index);
}

FrameDefinitions& EthernetDefinitions::definitionsOf(const EthernetFrameHash& frame, bool anyChannel) {
    auto& places = byHash[frame.hash];
    const auto found = std::find_if(places.begin(), places.end(), [&](const FrameDefinitions* each) {
        return each->anyChannel == anyChannel && haveSameAddressing(each->frame, frame);
    });
    if (found != places.end()) {
        return **found;
    }
    FrameDefinitions& added = all.emplace_back();
    added.frame = frame; // an assignment takes the channel too, a copy does not
    added.anyChannel = anyChannel;
    places.push_back(&added);
    return added;
}

const EthernetSelection& EthernetDefinitions::select(const FrameLayers& layers, std::uint8_t channel) {
    const std::uint64_t hash = hashOf(layers, channel);
    const auto known = selections.find(hash);
    if (known != selections.end()) {
        return known->second;
    }
    if (selections.size() >= maxSelections) {
        selections.clear();
    }
    EthernetSelection& selection = selections[hash];
    for (const FrameDefinitions& each : all) {
        if (matches(each.frame, layers, each.anyChannel ? each.frame.channel : channel)) {
            selection.definitions.push_back(&each);
            for (std::size_t container = 0; container < FrameDefinitions::containers; ++container) {
                selection.held[container] = selection.held[container] || !each.fields[container].empty();
            }
        }
    }
    return selection;
}

} // namespace rksignal
