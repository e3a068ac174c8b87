/// \file
/// Which ECUs send and receive what, by the ports of an AUTOSAR system description.
#pragma once

#include "definition/arxml/ArxmlModel.h"

#include <pugixml.hpp>

#include <string>
#include <unordered_map>
#include <vector>

namespace rksignal {

class ArxmlNodes {
  public:
    /// Looks at all ECU instances, their groups of I-PDUs, network management nodes and triggerings.
    explicit ArxmlNodes(ArxmlModel& model);

    /// Names of ECUs, each once, in the order of the files.
    struct Ends {
        std::vector<std::string> senders;
        std::vector<std::string> receivers;
    };

    /// Of a PDU or an I-SIGNAL, on whatever bus.
    const Ends& of(pugi::xml_node element) const;
    /// By FRAME-PORT-REFS, I-PDU-PORT-REFS or I-SIGNAL-PORT-REFS of a triggering.
    Ends ofTriggering(pugi::xml_node triggering);

  private:
    void addGroup(pugi::xml_node group, const std::string& node, unsigned depth);
    void addNmNode(pugi::xml_node nmNode);
    void addAll(pugi::xml_node references, const std::string& node, bool isSender);
    void addPorts(pugi::xml_node triggering, Ends& ends);
    void addTriggering(pugi::xml_node triggering);
    Ends& endsOf(pugi::xml_node element) { return ends[element.internal_object()]; }

    ArxmlModel& model;
    std::unordered_map<const void*, Ends> ends; ///< by element
};

/// Adds what is new.
void addArxmlNodes(std::vector<std::string>& names, const std::vector<std::string>& more);

} // namespace rksignal
