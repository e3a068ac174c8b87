#include "ethernet/EthernetDecoder.h"

#include "rkutil/ByteOrder.h"

#include <algorithm>
#include <utility>

namespace rksignal {

EthernetDecoder::EthernetDecoder(const Catalog& catalog, std::vector<unsigned long>& ids,
                                 EthernetFlows& flows, std::function<void()> beforeFlows, HandOn handOn)
    : ids(ids), handOn(std::move(handOn)),
      someIp([this](const SomeIpHeader& header, ByteView data) { takeMessage(header, data); }),
      definitions(catalog), flows(flows), beforeFlows(std::move(beforeFlows)),
      turns(catalog.signals().size()) {}

bool EthernetDecoder::wants(std::uint8_t channel, ByteView frameBytes) {
    return analyse(channel, frameBytes);
}

bool EthernetDecoder::decode(std::uint8_t channel, ByteView frameBytes, std::uint64_t timestamp) {
    if (!analyse(channel, frameBytes)) {
        return false;
    }
    info = {timestamp, {channel, SignalKind::Ethernet}};
    isKnown = false;
    found.clear();
    ids.clear();
    if (holds(ethSignalPosType_t::DEFAULT)) {
        take(ethSignalPosType_t::DEFAULT, 0, frame.subspan(layers.info.payloadOffset));
    }
    takePdus(ethSignalPosType_t::IPDU, 8);
    takePdus(ethSignalPosType_t::SPDU, 16);
    if (holds(ethSignalPosType_t::SOMEIP)) {
        layers.isTcp() ? takeTcpSegment() : takeDatagram();
    }
    handOnIds();
    return isKnown;
}

void EthernetDecoder::finish() {
    ids.clear();
    flows.connections.forEach([this](const FlowKey& flow, EthernetFlows::Connection& connection) {
        selection = &definitions.select(connection.layers, flow.channel);
        info = {connection.stream.lastHeld(), {flow.channel, SignalKind::Ethernet}};
        layers = connection.layers;
        connection.stream.finish(someIp);
        handOnIds();
    });
}

/// \return whether a definition names the headers of the frame: then they are in `layers`
bool EthernetDecoder::analyse(std::uint8_t channel, ByteView bytes) {
    if (!definitions.use(channel)) {
        return false;
    }
    frame = bytes;
    layers = {};
    if (!FrameLayers::analyse(frame, layers)) {
        return false;
    }
    layers.flow.channel = channel;
    selection = &definitions.select(layers, channel);
    return !selection->definitions.empty();
}

bool EthernetDecoder::isWanted(const SomeIpHeader& header) const {
    const auto& definitionsOfFrame = selection->definitions;
    return std::any_of(definitionsOfFrame.begin(), definitionsOfFrame.end(),
                       [&header](const FrameDefinitions* each) {
                           return each->find(ethSignalPosType_t::SOMEIP, header.identifier) != nullptr;
                       });
}

/// Walks along PDUs up to the end of the frame: AUTOSAR PRS_SoAd has the header of 8 bytes. An empty one is
/// the last, as it is to the library. Behind the identifier, both kinds of header hold the length of the
/// data.
void EthernetDecoder::takePdus(ethSignalPosType_t container, std::size_t headerBytes) {
    if (!holds(container)) {
        return;
    }
    ByteView rest = frame.subspan(layers.info.payloadOffset);
    while (rest.size() > headerBytes) {
        const std::uint32_t identifier = bigEndian<4>(rest.data());
        const std::size_t length = bigEndian<4>(rest.data() + 4);
        rest = rest.subspan(headerBytes);
        if (length == 0 || length > rest.size()) {
            return;
        }
        take(container, identifier, rest.first(length));
        rest = rest.subspan(length);
    }
}

namespace {

template <class Values, class Value>
bool contains(const Values& values, const Value& value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

/// Whether messages follow one another exactly to the end of a datagram.
bool isChain(ByteView datagram) {
    while (datagram.size() >= SomeIpHeader::bytes) {
        const SomeIpHeader header = SomeIpHeader::at(datagram.data());
        if (!header.holdsHeader() || header.size() > datagram.size()) {
            return false;
        }
        datagram = datagram.subspan(header.size());
    }
    return datagram.empty();
}

} // namespace

void EthernetDecoder::takeDatagram() {
    ByteView rest = layers.payload;
    const bool isWhole = isChain(rest);
    while (rest.size() >= SomeIpHeader::bytes) {
        const SomeIpHeader header = SomeIpHeader::at(rest.data());
        if (!isWhole && (!header.isPlausible() || header.size() > rest.size())) {
            break;
        }
        takeMessage(header, rest.first(header.size()).subspan(SomeIpHeader::bytes));
        rest = rest.subspan(header.size());
    }
    if (!isWhole) {
        takeByLibraryRule();
    }
}

void EthernetDecoder::takeTcpSegment() {
    if (beforeFlows) {
        beforeFlows();
    }
    EthernetFlows::Connection& connection = flows.connections.at(layers.flow);
    const auto outcome = connection.stream.receive(
        {layers.tcpSequence, layers.tcpStarts, layers.payload, info.timestamp}, someIp);
    switch (outcome) {
    case TcpStream::Outcome::OutOfStep:
        takeByLibraryRule();
        break;
    case TcpStream::Outcome::Held:
        connection.layers = layers;
        isKnown = true;
        break;
    case TcpStream::Outcome::Read:
        break;
    }
    const auto& pending = connection.stream.messages().pending();
    isKnown = isKnown || (pending && isWanted(*pending));
}

void EthernetDecoder::takeMessage(const SomeIpHeader& header, ByteView data) {
    found.push_back(data.data());
    if (!header.isSegment()) {
        take(ethSignalPosType_t::SOMEIP, header.identifier, data);
    } else if (isWanted(header)) {
        isKnown = true;
        if (beforeFlows) {
            beforeFlows();
        }
        flows.segments.receive(layers.flow, header, data, [this](const SomeIpHeader& whole, ByteView all) {
            take(ethSignalPosType_t::SOMEIP, whole.identifier, all);
        });
    }
}

/// Finds the messages that the library finds: it counts lengths from the end of the header, and a message
/// must end before the end of the frame.
void EthernetDecoder::takeByLibraryRule() {
    identifiers.clear();
    ByteView rest = frame.subspan(layers.info.payloadOffset);
    while (rest.size() > SomeIpHeader::bytes) {
        const SomeIpHeader header = SomeIpHeader::at(rest.data());
        rest = rest.subspan(SomeIpHeader::bytes);
        if (header.length >= rest.size()) {
            return;
        }
        if (isWanted(header) && !contains(identifiers, header.identifier)) {
            identifiers.push_back(header.identifier); // the library takes the first one
            if (!contains(found, rest.data())) {
                take(ethSignalPosType_t::SOMEIP, header.identifier, rest);
            }
        }
        rest = rest.subspan(header.length);
    }
}

/// Writes the signals that lie in the data of a container.
void EthernetDecoder::take(ethSignalPosType_t container, std::uint64_t identifier, ByteView data) {
    if (!ids.empty() && wereWritten(container, identifier, data)) {
        handOnIds();
    }
    for (const FrameDefinitions* const each : selection->definitions) {
        if (const EthernetFields* const fields = each->find(container, identifier)) {
            for (const EthernetField& field : *fields) {
                if (field.fits(data)) {
                    write(field, data);
                }
            }
        }
    }
}

/// Whether the data hold a signal of `ids`.
bool EthernetDecoder::wereWritten(ethSignalPosType_t container, std::uint64_t identifier,
                                  ByteView data) const {
    const auto& all = selection->definitions;
    return std::any_of(all.begin(), all.end(), [&](const FrameDefinitions* each) {
        const EthernetFields* const fields = each->find(container, identifier);
        return fields != nullptr && std::any_of(fields->begin(), fields->end(), [&](const auto& field) {
                   return field.fits(data) && turns[field.index] == turn;
               });
    });
}

inline void EthernetDecoder::write(const EthernetField& field, ByteView data) {
    field.write(data.data() + field.begin, data.size() - field.begin, info.timestamp);
    isInOrder = isInOrder && (ids.empty() || field.index > lastIndex);
    lastIndex = field.index;
    ids.push_back(field.id);
    turns[field.index] = turn;
}

void EthernetDecoder::handOnIds() {
    if (!ids.empty()) {
        isKnown = true;
        handOn(info, std::exchange(isInOrder, true));
        ids.clear();
        ++turn;
    }
}

} // namespace rksignal
