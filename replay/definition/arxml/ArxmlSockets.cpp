#include "definition/arxml/ArxmlSockets.h"

#include <algorithm>
#include <arpa/inet.h>
#include <limits>
#include <string_view>
#include <utility>

namespace rksignal {
namespace {

constexpr std::uint16_t protocolTcp = 6, protocolUdp = 17;

/// Of the sockets at the two ends, which one sends.
struct Direction {
    bool fromServer = false;
    bool fromClient = false;
};

std::uint16_t number16(std::string_view text) {
    const auto number = arxmlUnsigned(text);
    return number && *number <= std::numeric_limits<std::uint16_t>::max()
               ? static_cast<std::uint16_t>(*number)
               : 0;
}

bool holdsText(const std::vector<std::string>& texts, const std::string& wanted) {
    return std::find(texts.begin(), texts.end(), wanted) != texts.end();
}

/// By the ports of the connectors that send and receive the PDU.
Direction directionOf(ArxmlModel& model, pugi::xml_node triggering, const std::vector<std::string>& server,
                      const std::vector<std::string>& client) {
    Direction direction;
    for (const pugi::xml_node reference : triggering.child("I-PDU-PORT-REFS").children("I-PDU-PORT-REF")) {
        const std::string path = model.referencePath(reference);
        const std::string connector = path.substr(0, path.rfind('/'));
        const bool isOfServer = holdsText(server, connector), isOfClient = holdsText(client, connector);
        if (isOfServer == isOfClient) {
            continue; // of another socket
        }
        const std::string_view way = arxmlText(model.follow(reference), {"COMMUNICATION-DIRECTION"});
        direction.fromServer = direction.fromServer || way == (isOfServer ? "OUT" : "IN");
        direction.fromClient = direction.fromClient || way == (isOfServer ? "IN" : "OUT");
    }
    const bool isKnown = direction.fromServer || direction.fromClient;
    return isKnown ? direction : Direction{true, true};
}

} // namespace

ArxmlSockets::ArxmlSockets(ArxmlModel& model, Visit visit)
    : model(model), visit(std::move(visit)), identifiers(model.elementsOf({"SO-CON-I-PDU-IDENTIFIER"})) {}

void ArxmlSockets::read(pugi::xml_node physicalChannel) {
    vlanId = number16(arxmlText(physicalChannel.child("VLAN"), {"VLAN-IDENTIFIER"}));
    const pugi::xml_node adaptor = physicalChannel.child("SO-AD-CONFIG");
    for (const pugi::xml_node bundle :
         adaptor.child("CONNECTION-BUNDLES").children("SOCKET-CONNECTION-BUNDLE")) {
        readBundle(bundle);
    }
    for (const pugi::xml_node connection : adaptor.child("CONNECTIONS").children("SOCKET-CONNECTION")) {
        readConnection(connection);
    }
    for (const pugi::xml_node address : adaptor.child("SOCKET-ADDRESSS").children("SOCKET-ADDRESS")) {
        readStaticConnections(address);
    }
    readOpenIdentifiers(physicalChannel);
}

void ArxmlSockets::readBundle(pugi::xml_node bundle) {
    const Socket server = socketOf(model.target(bundle, {"SERVER-PORT-REF"}));
    for (const pugi::xml_node connection :
         bundle.child("BUNDLED-CONNECTIONS").children("SOCKET-CONNECTION")) {
        const Socket client = socketOf(model.target(connection, {"CLIENT-PORT-REF"}));
        addPdus(connection.child("PDUS"), server, client);
        addPdus(bundle.child("PDUS"), server, client);
    }
}

/// Of AUTOSAR 4.0.
void ArxmlSockets::readConnection(pugi::xml_node connection) {
    addPdus(connection.child("PDUS"), socketOf(model.target(connection, {"LOCAL-PORT-REF"})),
            socketOf(model.target(connection, {"REMOTE-PORT-REF"})));
}

void ArxmlSockets::readStaticConnections(pugi::xml_node address) {
    for (const pugi::xml_node connection :
         address.child("STATIC-SOCKET-CONNECTIONS").children("STATIC-SOCKET-CONNECTION")) {
        std::vector<Socket> remotes;
        for (const pugi::xml_node each : connection.child("REMOTE-ADDRESSS").children()) {
            const pugi::xml_node inner = each.child("SOCKET-ADDRESS-REF");
            remotes.push_back(socketOf(model.follow(inner ? inner : each)));
        }
        if (remotes.empty()) {
            remotes.emplace_back();
        }
        const Socket server = socketOf(address);
        for (const pugi::xml_node each : arxmlChild(connection, {"I-PDU-IDENTIFIERS", "I-PDUS"}).children()) {
            const pugi::xml_node reference = arxmlChild(each, {"SO-CON-I-PDU-IDENTIFIER-REF"});
            const pugi::xml_node identifier = reference ? model.follow(reference) : each;
            used.insert(identifier.hash_value());
            for (const Socket& remote : remotes) {
                add(identifier, server, remote);
            }
        }
    }
}

/// Identifiers whose connections are made at run time, as those of service instances are.
void ArxmlSockets::readOpenIdentifiers(pugi::xml_node physicalChannel) {
    for (const pugi::xml_node identifier : identifiers) {
        const pugi::xml_node triggering = model.target(identifier, {"PDU-TRIGGERING-REF"});
        if (triggering.parent().parent() == physicalChannel && !used.contains(identifier.hash_value())) {
            add(identifier, {}, {});
        }
    }
}

ArxmlSockets::Socket ArxmlSockets::socketOf(pugi::xml_node address) {
    Socket socket;
    const pugi::xml_node endpoint = address.child("APPLICATION-ENDPOINT");
    socket.address = addressOf(model.target(endpoint, {"NETWORK-ENDPOINT-REF"}));
    const pugi::xml_node transport = endpoint.child("TP-CONFIGURATION");
    const bool isTcp = transport.child("TCP-TP"), isUdp = transport.child("UDP-TP");
    socket.protocol = isTcp ? protocolTcp : isUdp ? protocolUdp : std::uint16_t{0};
    socket.port = number16(arxmlText(isTcp ? arxmlAt(transport, {"TCP-TP", "TCP-TP-PORT"})
                                           : arxmlAt(transport, {"UDP-TP", "UDP-TP-PORT"}),
                                     {"PORT-NUMBER"}));
    if (const pugi::xml_node connector = address.child("CONNECTOR-REF")) {
        socket.connectors.push_back(model.referencePath(connector));
    }
    for (const pugi::xml_node connector : address.child("MULTICAST-CONNECTOR-REFS").children()) {
        socket.connectors.push_back(model.referencePath(connector));
    }
    return socket;
}

std::uint32_t ArxmlSockets::addressOf(pugi::xml_node endpoint) {
    const pugi::xml_node addresses = endpoint.child("NETWORK-ENDPOINT-ADDRESSES");
    const std::string text(arxmlText(addresses.child("IPV-4-CONFIGURATION"), {"IPV-4-ADDRESS"}));
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) == 1) {
        return address.s_addr;
    }
    if (addresses.child("IPV-6-CONFIGURATION")) {
        model.note(endpoint, "its IPv6 address is not compared: frames from and to any address are decoded");
    }
    return 0;
}

void ArxmlSockets::addPdus(pugi::xml_node pdus, const Socket& server, const Socket& client) {
    for (const pugi::xml_node identifier : pdus.children("SOCKET-CONNECTION-IPDU-IDENTIFIER")) {
        add(identifier, server, client);
    }
}

void ArxmlSockets::add(pugi::xml_node identifier, const Socket& server, const Socket& client) {
    ArxmlSocketPdu pdu;
    pdu.triggering = model.target(identifier, {"PDU-TRIGGERING-REF"});
    const std::string_view header = arxmlText(identifier, {"HEADER-ID"});
    const auto id = arxmlUnsigned(header);
    constexpr std::uint64_t greatestId = std::numeric_limits<std::uint32_t>::max();
    if (!header.empty() && (!id || *id > greatestId)) {
        return model.leftOut(identifier, "HEADER-ID is no number of 32 bits; not decoded there");
    }
    if (!pdu.triggering || !model.takeRepeated(pdu.triggering, 1)) {
        return;
    }
    if (id) {
        pdu.headerId = static_cast<std::uint32_t>(*id);
    }
    const Direction direction = directionOf(model, pdu.triggering, server.connectors, client.connectors);
    if (direction.fromServer) {
        addDirection(pdu, server, client);
    }
    if (direction.fromClient) {
        addDirection(pdu, client, server);
    }
}

void ArxmlSockets::addDirection(ArxmlSocketPdu& pdu, const Socket& source, const Socket& destination) {
    pdu.addressing = {};
    pdu.addressing.sourceIp = source.address;
    pdu.addressing.destinationIp = destination.address;
    pdu.addressing.sourcePort = source.port;
    pdu.addressing.destinationPort = destination.port;
    pdu.addressing.ipProtocol = source.protocol != 0 ? source.protocol : destination.protocol;
    pdu.addressing.vlan = vlanId != 0;
    pdu.addressing.vlanId = vlanId;
    visit(pdu);
}

} // namespace rksignal
