/// \file
/// Sockets of Ethernet clusters of AUTOSAR (TPS System Template, Socket Adaptor): who sends which PDU to
/// whom.
#pragma once

#include "bus/EthernetPosition.h"
#include "definition/arxml/ArxmlModel.h"

#include <pugixml.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace rksignal {

/// A PDU on its way from one socket to another.
struct ArxmlSocketPdu {
    pugi::xml_node triggering;             ///< PDU-TRIGGERING
    std::optional<std::uint32_t> headerId; ///< none: the PDU is all of the payload
    ethernetPosition_t addressing;         ///< its addressing fields; those that the file leaves open are 0
};

/// Reads the PDUs of the physical channels of a cluster: of socket connections (in bundles, alone) and static
/// socket connections, and of identifiers of PDUs that no connection uses, whose sockets are open then.
///
/// A PDU whose ports do not tell who sends it is expected in both directions. IPv6 addresses are not
/// compared, which is remarked.
class ArxmlSockets {
  public:
    using Visit = std::function<void(const ArxmlSocketPdu&)>;

    ArxmlSockets(ArxmlModel& model, Visit visit);

    void read(pugi::xml_node physicalChannel);

  private:
    struct Socket {
        std::uint32_t address = 0; ///< IPv4, in network order in memory
        std::uint16_t port = 0;
        std::uint16_t protocol = 0;
        std::vector<std::string> connectors; ///< paths
    };

    void readBundle(pugi::xml_node bundle);
    void readConnection(pugi::xml_node connection);
    void readStaticConnections(pugi::xml_node address);
    void readOpenIdentifiers(pugi::xml_node physicalChannel);
    Socket socketOf(pugi::xml_node address);
    std::uint32_t addressOf(pugi::xml_node endpoint);
    void addPdus(pugi::xml_node identifiers, const Socket& server, const Socket& client);
    void add(pugi::xml_node identifier, const Socket& server, const Socket& client);
    void addDirection(ArxmlSocketPdu& pdu, const Socket& source, const Socket& destination);

    ArxmlModel& model;
    const Visit visit;
    std::uint16_t vlanId = 0;                ///< of the channel in hand; 0: none
    std::vector<pugi::xml_node> identifiers; ///< all SO-CON-I-PDU-IDENTIFIERs
    std::set<std::size_t> used;              ///< those of them that connections use
};

} // namespace rksignal
