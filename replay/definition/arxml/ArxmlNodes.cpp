#include "definition/arxml/ArxmlNodes.h"

#include <algorithm>
#include <string_view>

namespace rksignal {
namespace {

/// The ECU that a port or a controller is one of.
std::string nodeOf(pugi::xml_node element) {
    while (element && std::string_view(element.name()) != "ECU-INSTANCE") {
        element = element.parent();
    }
    return std::string(arxmlName(element));
}

void addNode(std::vector<std::string>& names, const std::string& name) {
    if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) {
        names.push_back(name);
    }
}

} // namespace

void addArxmlNodes(std::vector<std::string>& names, const std::vector<std::string>& more) {
    for (const std::string& name : more) {
        addNode(names, name);
    }
}

ArxmlNodes::ArxmlNodes(ArxmlModel& model) : model(model) {
    for (const pugi::xml_node node : model.elementsOf({"ECU-INSTANCE"})) {
        const std::string name(arxmlName(node));
        for (const char* list : {"ASSOCIATED-COM-I-PDU-GROUP-REFS", "ASSOCIATED-I-PDU-GROUP-REFS"}) {
            for (const pugi::xml_node reference : node.child(list).children()) {
                addGroup(model.follow(reference), name, 0);
            }
        }
    }
    for (const pugi::xml_node nmNode : model.elementsOf({"CAN-NM-NODE"})) {
        addNmNode(nmNode);
    }
    for (const pugi::xml_node triggering :
         model.elementsOf({"PDU-TRIGGERING", "I-PDU-TRIGGERING", "I-SIGNAL-TRIGGERING"})) {
        addTriggering(triggering);
    }
}

const ArxmlNodes::Ends& ArxmlNodes::of(pugi::xml_node element) const {
    static const Ends none;
    const auto found = ends.find(element.internal_object());
    return found != ends.end() ? found->second : none;
}

ArxmlNodes::Ends ArxmlNodes::ofTriggering(pugi::xml_node triggering) {
    Ends found;
    addPorts(triggering, found);
    return found;
}

void ArxmlNodes::addGroup(pugi::xml_node group, const std::string& node, unsigned depth) {
    constexpr unsigned deepestGroup = 4;
    const bool isSender = arxmlText(group, {"COMMUNICATION-DIRECTION"}) == "OUT";
    for (const pugi::xml_node conditional : group.child("I-SIGNAL-I-PDUS").children()) {
        addAll(conditional, node, isSender);
    }
    addAll(group.child("I-PDU-REFS"), node, isSender);
    for (const char* list : {"CONTAINED-I-SIGNAL-I-PDU-GROUP-REFS", "CONTAINED-I-PDU-GROUP-REFS"}) {
        for (const pugi::xml_node reference : group.child(list).children()) {
            if (depth < deepestGroup) {
                addGroup(model.follow(reference), node, depth + 1);
            }
        }
    }
}

void ArxmlNodes::addNmNode(pugi::xml_node nmNode) {
    const std::string node = nodeOf(model.target(nmNode, {"CONTROLLER-REF"}));
    addAll(nmNode.child("TX-NM-PDU-REFS"), node, true);
    addAll(nmNode.child("RX-NM-PDU-REFS"), node, false);
}

void ArxmlNodes::addAll(pugi::xml_node references, const std::string& node, bool isSender) {
    for (const pugi::xml_node reference : references.children()) {
        if (const pugi::xml_node pdu = model.follow(reference)) {
            Ends& found = endsOf(pdu);
            addNode(isSender ? found.senders : found.receivers, node);
        }
    }
}

void ArxmlNodes::addPorts(pugi::xml_node triggering, Ends& found) {
    for (const char* list :
         {"FRAME-PORT-REFS", "I-PDU-PORT-REFS", "I-SIGNAL-PORT-REFS", "SIGNAL-PORT-REFS"}) {
        for (const pugi::xml_node reference : triggering.child(list).children()) {
            const pugi::xml_node port = model.follow(reference);
            const bool isSender = arxmlText(port, {"COMMUNICATION-DIRECTION"}) == "OUT";
            addNode(isSender ? found.senders : found.receivers, nodeOf(port));
        }
    }
}

void ArxmlNodes::addTriggering(pugi::xml_node triggering) {
    if (const pugi::xml_node element =
            model.target(triggering, {"I-PDU-REF", "I-SIGNAL-REF", "SIGNAL-REF"})) {
        addPorts(triggering, endsOf(element));
    }
}

} // namespace rksignal
