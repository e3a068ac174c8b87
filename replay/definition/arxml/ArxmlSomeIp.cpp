#include "definition/arxml/ArxmlSomeIp.h"

#include <algorithm>
#include <string_view>

namespace rksignal {
namespace {

/// A length, bounded so that sums of some cannot overflow.
std::uint32_t lengthOf(pugi::xml_node parent, const char* tag) {
    constexpr std::uint64_t most = 0xFFFF;
    return static_cast<std::uint32_t>(std::min(arxmlUnsigned(arxmlText(parent, {tag})).value_or(0), most));
}

} // namespace

SomeIpLayout readSomeIpLayout(pugi::xml_node properties) {
    SomeIpLayout layout;
    layout.isBigEndian = arxmlText(properties, {"BYTE-ORDER"}) != "MOST-SIGNIFICANT-BYTE-LAST";
    layout.arrayLengthBytes = std::max(lengthOf(properties, "SIZE-OF-ARRAY-LENGTH-FIELDS"),
                                       lengthOf(properties, "SIZE-OF-ARRAY-LENGTH-FIELD"));
    layout.structLengthBytes = std::max(lengthOf(properties, "SIZE-OF-STRUCT-LENGTH-FIELDS"),
                                        lengthOf(properties, "SIZE-OF-STRUCT-LENGTH-FIELD"));
    layout.isTagged = properties.child("TLV-DATA-ID-DEFINITION-REFS");
    return layout;
}

ArxmlSomeIp::ArxmlSomeIp(ArxmlModel& model) : model(model) {
    for (const pugi::xml_node system : model.elementsOf({"SYSTEM-MAPPING"})) {
        for (const pugi::xml_node mapping : system.child("DATA-MAPPINGS").children()) {
            const pugi::xml_node signal = mapping.child("SYSTEM-SIGNAL-REF");
            const pugi::xml_node data = mapping.child("DATA-ELEMENT-IREF");
            if (signal && data) {
                dataElements.try_emplace(model.referencePath(signal),
                                         arxmlChild(data, {"TARGET-DATA-PROTOTYPE-REF", "DATA-ELEMENT-REF"}));
            }
        }
    }
    for (const pugi::xml_node set : model.elementsOf({"DATA-TYPE-MAPPING-SET"})) {
        for (const pugi::xml_node map : set.child("DATA-TYPE-MAPS").children("DATA-TYPE-MAP")) {
            if (const pugi::xml_node application = map.child("APPLICATION-DATA-TYPE-REF")) {
                implementationTypes.try_emplace(model.referencePath(application),
                                                map.child("IMPLEMENTATION-DATA-TYPE-REF"));
            }
        }
    }
}

std::optional<SomeIpLayout> ArxmlSomeIp::layoutOf(pugi::xml_node iSignal) {
    std::optional<SomeIpLayout> layout;
    std::uint32_t otherHeaders = 0;
    for (const pugi::xml_node each : iSignal.child("DATA-TRANSFORMATIONS").children()) {
        const pugi::xml_node transformation = model.target(each, {"DATA-TRANSFORMATION-REF"});
        for (const pugi::xml_node reference : transformation.child("TRANSFORMER-CHAIN-REFS").children()) {
            const pugi::xml_node technology = model.follow(reference);
            if (arxmlText(technology, {"PROTOCOL"}) != "SOMEIP") {
                otherHeaders += lengthOf(technology.child("BUFFER-PROPERTIES"), "HEADER-LENGTH") / 8;
                continue;
            }
            const pugi::xml_node description =
                arxmlAt(technology, {"TRANSFORMATION-DESCRIPTIONS", "SOMEIP-TRANSFORMATION-DESCRIPTION"});
            layout.emplace();
            layout->isBigEndian = arxmlText(description, {"BYTE-ORDER"}) != "MOST-SIGNIFICANT-BYTE-LAST";
        }
    }
    if (!layout) {
        return std::nullopt;
    }
    const pugi::xml_node properties = arxmlVariant(
        arxmlAt(iSignal, {"TRANSFORMATION-I-SIGNAL-PROPSS", "SOMEIP-TRANSFORMATION-I-SIGNAL-PROPS"}));
    const bool isBigEndian = layout->isBigEndian;
    layout = readSomeIpLayout(properties);
    layout->isBigEndian = isBigEndian;
    layout->headerBytes = otherHeaders;
    if (layout->isTagged) {
        model.leftOut(iSignal, "serialized with tags (TLV), not decoded");
    }
    return layout;
}

std::optional<ArxmlPdu> ArxmlSomeIp::read(pugi::xml_node element) {
    for (const char* list : {"I-SIGNAL-TO-PDU-MAPPINGS", "I-SIGNAL-TO-I-PDU-MAPPINGS"}) {
        for (const pugi::xml_node mapping : element.child(list).children("I-SIGNAL-TO-I-PDU-MAPPING")) {
            const pugi::xml_node iSignal =
                mapping.child("I-SIGNAL-REF") ? model.target(mapping, {"I-SIGNAL-REF"}) : pugi::xml_node();
            const auto layout = iSignal.child("DATA-TRANSFORMATIONS") ? layoutOf(iSignal) : std::nullopt;
            if (!layout) {
                continue;
            }
            ArxmlPdu pdu;
            pdu.element = element;
            pdu.name = arxmlName(element);
            pdu.comment = arxmlComment(element);
            pdu.parts = {element};
            const auto data = dataElements.find(model.referencePath(iSignal.child("SYSTEM-SIGNAL-REF")));
            if (data == dataElements.end()) {
                model.leftOut(
                    iSignal, "no data element is mapped to it (methods are not decoded: call and answer have "
                             "one identifier); not decoded");
            } else if (!layout->isTagged) {
                addElements(model.follow(data->second), *layout, pdu);
            }
            return pdu;
        }
    }
    return std::nullopt;
}

void ArxmlSomeIp::addElements(pugi::xml_node prototype, const SomeIpLayout& layout, ArxmlPdu& pdu) {
    if (const pugi::xml_node type = model.target(prototype, {"TYPE-TREF"})) {
        ArxmlDataTypes(model, implementationTypes, layout, pdu).add({}, type);
        const auto unnamed =
            std::find_if(pdu.signals.begin(), pdu.signals.end(),
                         [](const ArxmlSignal& signal) { return signal.common.signal.empty(); });
        if (unnamed != pdu.signals.end()) { // the type is that of one value
            unnamed->common.signal = arxmlName(prototype);
        }
    }
}

} // namespace rksignal
