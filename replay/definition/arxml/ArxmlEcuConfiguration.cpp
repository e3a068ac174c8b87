/// \file
/// The configuration of an ECU (AUTOSAR ECU Configuration): the I-PDUs of its module Com, whose CAN
/// identifiers its module CanIf has. It knows no scaling.
#include "definition/arxml/ArxmlClusters.h"

#include "definition/arxml/ArxmlCompuMethod.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace rksignal {
namespace {

/// The last name of the path of a definition.
std::string_view definitionOf(pugi::xml_node element) {
    const std::string_view path = element.child("DEFINITION-REF").child_value();
    return path.substr(path.rfind('/') + 1);
}

/// The value of the first parameter whose definition ends so.
std::string_view parameter(pugi::xml_node container, std::string_view ending) {
    for (const pugi::xml_node each : container.child("PARAMETER-VALUES").children()) {
        if (definitionOf(each).ends_with(ending)) {
            return arxmlText(each, {"VALUE"});
        }
    }
    return {};
}

/// The references whose definition ends so.
std::vector<pugi::xml_node> references(pugi::xml_node container, std::string_view ending) {
    std::vector<pugi::xml_node> found;
    for (const pugi::xml_node each : container.child("REFERENCE-VALUES").children()) {
        if (definitionOf(each).ends_with(ending)) {
            found.push_back(each.child("VALUE-REF"));
        }
    }
    return found;
}

class EcuConfigurationReader {
  public:
    explicit EcuConfigurationReader(ArxmlReading& reading) : reading(reading), model(reading.model) {}

    void read() {
        const std::vector<pugi::xml_node> containers = model.elementsOf({"ECUC-CONTAINER-VALUE"});
        for (const pugi::xml_node container : containers) {
            const std::string_view definition = definitionOf(container);
            if (definition == "CanIfTxPduCfg" || definition == "CanIfRxPduCfg") {
                for (const pugi::xml_node reference : references(container, "PduRef")) {
                    frames.emplace(model.referencePath(reference), container);
                }
            }
        }
        for (const pugi::xml_node container : containers) {
            if (definitionOf(container) == "ComIPdu") {
                readPdu(container);
            }
        }
    }

  private:
    void readPdu(pugi::xml_node pdu) {
        pugi::xml_node frame;
        for (const pugi::xml_node reference : references(pdu, "ComPduIdRef")) {
            const auto found = frames.find(model.referencePath(reference));
            frame = found != frames.end() ? found->second : frame;
        }
        if (!frame) {
            return model.note(pdu, "I-PDU without a frame of CAN, not decoded");
        }
        MessageDefinition message = startArxmlMessage(reading, SignalKind::Can, pdu);
        const std::string_view type = parameter(frame, "PduCanIdType");
        const auto id = arxmlUnsigned(parameter(frame, "PduCanId"));
        const auto length =
            arxmlUnsigned(parameter(frame, "PduDlc").empty() ? parameter(frame, "PduDataLength")
                                                             : parameter(frame, "PduDlc"))
                .value_or(0);
        message.extended = type.starts_with("EXTENDED");
        if (!id || *id > greatestCanId(message.extended) || length > longestFrame) {
            return model.leftOut(frame, "identifier or length is none of CAN; the frame is not decoded");
        }
        message.id = static_cast<std::uint32_t>(*id);
        message.length = static_cast<std::uint16_t>(length);
        message.canFd = type.ends_with("_FD_CAN") && !type.ends_with("NO_FD_CAN");
        message.canFd = message.canFd || length > mostCanBytes(false);
        for (const pugi::xml_node reference : references(pdu, "ComIPduSignalRef")) {
            addSignal(model.follow(reference), message);
        }
        for (const pugi::xml_node reference : references(pdu, "ComIPduSignalGroupRef")) {
            for (const pugi::xml_node signal : model.follow(reference).child("SUB-CONTAINERS").children()) {
                addSignal(signal, message);
            }
        }
        reading.messages.push_back(std::move(message));
    }

    void addSignal(pugi::xml_node container, MessageDefinition& message) {
        const std::string_view definition = definitionOf(container);
        if (definition != "ComSignal" && definition != "ComGroupSignal") {
            return;
        }
        const auto position = arxmlUnsigned(parameter(container, "ComBitPosition"));
        const auto bits = arxmlUnsigned(parameter(container, "ComBitSize"));
        const auto startBit = position ? movedStartBit(*position, 0) : std::nullopt;
        if (!startBit || !bits || *bits == 0 || *bits > 64) {
            return model.leftOut(container, "signal without a place, or not of 1 to 64 bits; not decoded");
        }
        ArxmlPdu pdu;
        ArxmlSignal signal;
        signal.element = container;
        signal.place = model.placeOf(container);
        baseSignalDef_t& record = signal.common;
        record.signal = arxmlName(container);
        record.startbit = *startBit;
        record.bits = static_cast<std::uint8_t>(*bits);
        record.endian = parameter(container, "ComSignalEndianness") == "BIG_ENDIAN";
        record.type = typeOf(parameter(container, "ComSignalType"), record.bits);
        signal.initial = arxmlRawWord(parameter(container, "ComSignalInitValue"), record.type);
        canSignalDef_t can;
        can.msgId = message.id;
        can.extended = message.extended;
        can.canFD = message.canFd;
        can.message = message.name;
        if (auto added = arxmlSignal(reading, message, pdu, signal, 0, longestFrame, std::move(can))) {
            message.signals.push_back(std::move(*added));
        }
    }

    static signalValue_t typeOf(std::string_view type, unsigned bits) {
        if (type.starts_with("FLOAT") && (bits == 32 || bits == 64)) {
            return bits == 32 ? signalValue_t::Float : signalValue_t::Double;
        }
        return type.starts_with("SINT") ? signalValue_t::Signed : signalValue_t::Unsigned;
    }

    ArxmlReading& reading;
    ArxmlModel& model;
    std::unordered_map<std::string, pugi::xml_node>
        frames; ///< of CanIf, by the path of the PDU that they share
};

} // namespace

void readArxmlEcuConfiguration(ArxmlReading& reading) {
    EcuConfigurationReader(reading).read();
}

} // namespace rksignal
