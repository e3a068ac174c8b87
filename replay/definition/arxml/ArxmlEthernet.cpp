/// \file
/// Ethernet clusters (AUTOSAR TPS System Template, SWS SocketAdaptor): PDUs in datagrams, alone or behind
/// headers, and events of SOME/IP. A message is a PDU; all connections that carry it are positions of its
/// signals.
#include "definition/arxml/ArxmlPositions.h"
#include "definition/arxml/ArxmlSockets.h"
#include "definition/arxml/ArxmlSomeIp.h"

#include <algorithm>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t mostPositions = 1024; ///< of one PDU
constexpr std::size_t longestPdu = 8191;    ///< bytes: start bits have 16 bits

bool areSame(const ethernetPosition_t& left, const ethernetPosition_t& right) {
    const auto fields = [](const ethernetPosition_t& each) {
        return std::tie(each.ethSignalType, each.sourceIp, each.destinationIp, each.sourcePort,
                        each.destinationPort, each.ipProtocol, each.vlan, each.vlanId, each.pduId,
                        each.serviceId, each.methodEventId, each.startBit);
    };
    return fields(left) == fields(right);
}

class EthernetClusterReader {
  public:
    explicit EthernetClusterReader(ArxmlReading& reading)
        : reading(reading), model(reading.model), someIp(model),
          sockets(model, [this](const ArxmlSocketPdu& pdu) { add(pdu); }) {}

    void read(pugi::xml_node cluster) {
        for (const pugi::xml_node each : arxmlChannels(model, cluster)) {
            sockets.read(each);
        }
    }

  private:
    /// What a PDU becomes: itself, or those that it contains. It may go over many sockets.
    struct Content {
        std::vector<ArxmlPlacedPdu> placed;
        bool isSomeIp = false;
    };
    struct Placed {
        ArxmlPositioned message;
        std::vector<ethernetPosition_t> positions; ///< so far, with the offset in the PDU as start bit
    };

    const Content& contentOf(pugi::xml_node pdu) {
        const auto [known, isNew] = contents.try_emplace(pdu.internal_object());
        Content& content = known->second;
        if (!isNew) {
            return content;
        }
        if (auto serialized = someIp.read(pdu)) {
            content.isSomeIp = true;
            content.placed.push_back({std::move(*serialized), 0, {}, {}});
        } else {
            reading.pdus.place(pdu, 0, std::string(arxmlName(pdu)), content.placed);
        }
        return content;
    }

    void add(const ArxmlSocketPdu& sent) {
        const pugi::xml_node pdu = model.target(sent.triggering, {"I-PDU-REF"});
        if (!pdu) {
            return;
        }
        const Content& content = contentOf(pdu);
        for (const ArxmlPlacedPdu& each : content.placed) {
            addPosition(each, positionOf(sent, each, content.isSomeIp));
        }
    }

    std::optional<ethernetPosition_t> positionOf(const ArxmlSocketPdu& sent, const ArxmlPlacedPdu& placed,
                                                 bool isSomeIp) {
        ethernetPosition_t position = sent.addressing;
        const std::optional<std::uint32_t> header = sent.headerId ? sent.headerId : placed.headerId;
        const bool isNested =
            placed.headerId && (sent.headerId || placed.header == PduHeader::Short || placed.offset != 0);
        if (isNested || (isSomeIp && !header) || placed.offset > longestPdu) {
            model.leftOut(placed.pdu.element,
                          isSomeIp ? "SOME/IP without HEADER-ID, not decoded"
                                   : "in a container that Ethernet messages cannot be looked for in; "
                                     "not decoded there");
            return std::nullopt;
        }
        position.startBit = static_cast<std::uint16_t>(placed.headerId ? 0 : placed.offset * 8);
        if (isSomeIp) {
            position.ethSignalType = ethSignalPosType_t::SOMEIP;
            position.serviceId = *header >> 16;
            position.methodEventId = *header & 0xFFFF;
        } else if (header) {
            position.ethSignalType = ethSignalPosType_t::IPDU;
            position.pduId = *header;
        }
        return position;
    }

    void addPosition(const ArxmlPlacedPdu& placed, const std::optional<ethernetPosition_t>& position) {
        if (!position) {
            return;
        }
        const auto [known, isNew] = byPdu.try_emplace(placed.pdu.element.internal_object());
        Placed& to = known->second;
        if (isNew) {
            to.message = addPositioned<ethernetSignalDef_t>(
                reading, startArxmlMessage(reading, SignalKind::Ethernet, placed.pdu.element), placed.pdu,
                longestPdu);
        }
        const bool isKnown =
            std::any_of(to.positions.begin(), to.positions.end(),
                        [&](const ethernetPosition_t& each) { return areSame(each, *position); });
        if (isKnown) {
            return;
        }
        if (to.positions.size() == mostPositions) {
            return model.leftOut(placed.pdu.element,
                                 "over too many sockets; it is not decoded from all of them");
        }
        to.positions.push_back(*position);
        addPositions<ethernetSignalDef_t>(reading, to.message, placed.pdu, [&](const ArxmlSignal& signal) {
            ethernetPosition_t own = *position;
            own.startBit = static_cast<std::uint16_t>(own.startBit + signal.common.startbit);
            if (signal.updateBit) {
                model.note(signal.element, "its update bit is not looked at");
            }
            return own;
        });
    }

    ArxmlReading& reading;
    ArxmlModel& model;
    ArxmlSomeIp someIp;
    ArxmlSockets sockets;
    std::map<const void*, Content> contents; ///< by PDU
    std::map<const void*, Placed> byPdu;
};

} // namespace

void readArxmlEthernet(ArxmlReading& reading, pugi::xml_node cluster) {
    EthernetClusterReader(reading).read(cluster);
}

} // namespace rksignal
