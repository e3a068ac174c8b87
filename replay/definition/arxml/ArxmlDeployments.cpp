/// \file
/// Services of adaptive applications (AUTOSAR TPS Manifest Specification): events, and the notifiers of
/// fields, as SOME/IP messages in frames of any addressing.
#include "definition/arxml/ArxmlPositions.h"
#include "definition/arxml/ArxmlSomeIp.h"

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t longestMessage = 8191; ///< bytes: start bits have 16 bits

/// Properties of serialization, by the paths of events and fields.
std::map<std::string, SomeIpLayout> readLayouts(ArxmlModel& model) {
    std::map<std::string, SomeIpLayout> layouts;
    for (const pugi::xml_node mapping :
         model.elementsOf({"TRANSFORMATION-PROPS-TO-SERVICE-INTERFACE-ELEMENT-MAPPING"})) {
        const pugi::xml_node properties = model.target(mapping, {"TRANSFORMATION-PROPS-REF"});
        const SomeIpLayout layout = readSomeIpLayout(properties);
        for (const char* list : {"EVENT-REFS", "FIELD-REFS"}) {
            for (const pugi::xml_node reference : mapping.child(list).children()) {
                layouts.try_emplace(model.referencePath(reference), layout);
            }
        }
    }
    return layouts;
}

class DeploymentReader {
  public:
    explicit DeploymentReader(ArxmlReading& reading)
        : reading(reading), model(reading.model), layouts(readLayouts(model)), someIp(model) {}

    void read(pugi::xml_node deployment) {
        service = arxmlUnsigned(arxmlText(deployment, {"SERVICE-INTERFACE-ID"}));
        for (const pugi::xml_node event :
             deployment.child("EVENT-DEPLOYMENTS").children("SOMEIP-EVENT-DEPLOYMENT")) {
            add(event, event.child("EVENT-REF"), arxmlText(event, {"EVENT-ID"}));
        }
        for (const pugi::xml_node field :
             deployment.child("FIELD-DEPLOYMENTS").children("SOMEIP-FIELD-DEPLOYMENT")) {
            if (const pugi::xml_node notifier = field.child("NOTIFIER")) {
                add(field, field.child("FIELD-REF"), arxmlText(notifier, {"EVENT-ID"}));
            }
            if (field.child("GET") || field.child("SET")) {
                model.note(field,
                           "its getter and setter are not decoded: call and answer have one identifier");
            }
        }
        if (deployment.child("METHOD-DEPLOYMENTS").first_child()) {
            model.note(deployment, "its methods are not decoded: call and answer have one identifier");
        }
    }

  private:
    void add(pugi::xml_node deployment, pugi::xml_node reference, std::string_view idText) {
        const auto id = arxmlUnsigned(idText);
        const pugi::xml_node prototype = model.follow(reference);
        if (!service || *service > 0xFFFF || !id || *id > 0xFFFF || !prototype) {
            return model.leftOut(deployment, "without identifiers of 16 bits or data, not decoded");
        }
        const auto layout = layouts.find(model.referencePath(reference));
        ArxmlPdu data;
        data.element = prototype;
        data.name = arxmlName(prototype);
        someIp.addElements(prototype, layout != layouts.end() ? layout->second : SomeIpLayout(), data);
        ethernetPosition_t position;
        position.ethSignalType = ethSignalPosType_t::SOMEIP;
        position.serviceId = static_cast<std::uint32_t>(*service);
        position.methodEventId = static_cast<std::uint32_t>(*id);
        const ArxmlPositioned to = addPositioned<ethernetSignalDef_t>(
            reading, startArxmlMessage(reading, SignalKind::Ethernet, prototype), data, longestMessage);
        addPositions<ethernetSignalDef_t>(reading, to, data, [&position](const ArxmlSignal& signal) {
            position.startBit = signal.common.startbit;
            return position;
        });
    }

    ArxmlReading& reading;
    ArxmlModel& model;
    const std::map<std::string, SomeIpLayout> layouts;
    ArxmlSomeIp someIp;
    std::optional<std::uint64_t> service;
};

} // namespace

void readArxmlDeployments(ArxmlReading& reading) {
    const std::vector<pugi::xml_node> deployments =
        reading.model.elementsOf({"SOMEIP-SERVICE-INTERFACE-DEPLOYMENT"});
    if (deployments.empty()) {
        return;
    }
    DeploymentReader reader(reading);
    for (const pugi::xml_node each : deployments) {
        reader.read(each);
    }
}

} // namespace rksignal
