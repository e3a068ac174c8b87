/// \file
/// The clusters of an ARXML model, each read by the reader of its bus.
#pragma once

#include "definition/Definition.h"
#include "definition/arxml/ArxmlModel.h"
#include "definition/arxml/ArxmlNodes.h"
#include "definition/arxml/ArxmlPdu.h"

#include <pugixml.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {

/// What the readers of buses share.
struct ArxmlReading {
    ArxmlModel& model;
    ArxmlPduReader& pdus;
    ArxmlNodes& nodes;
    std::vector<MessageDefinition>& messages;
    std::optional<std::uint8_t> channel; ///< to which the messages of the cluster are bound
};

/// Each adds the messages of one cluster.
void readArxmlCan(ArxmlReading& reading, pugi::xml_node cluster);
void readArxmlLin(ArxmlReading& reading, pugi::xml_node cluster);
void readArxmlFlexRay(ArxmlReading& reading, pugi::xml_node cluster);
void readArxmlEthernet(ArxmlReading& reading, pugi::xml_node cluster);
/// Adds the messages of SOME/IP services that belong to no cluster.
void readArxmlDeployments(ArxmlReading& reading);
/// Adds the messages of CAN of the configuration of an ECU, which has no clusters.
void readArxmlEcuConfiguration(ArxmlReading& reading);

/// The physical channels of a cluster, of its first variant.
std::vector<pugi::xml_node> arxmlChannels(ArxmlModel& model, pugi::xml_node cluster);
/// The frame triggerings of a physical channel, but for those that a file before has already.
std::vector<pugi::xml_node> arxmlFrameTriggerings(const ArxmlModel& model, pugi::xml_node channel,
                                                  const char* tag);

/// A message named as `element`, at its place, bound to the channel of the reading.
MessageDefinition startArxmlMessage(const ArxmlReading& reading, SignalKind kind, pugi::xml_node element);

/// The PDUs of a frame of CAN or LIN that begin within `longest` bytes. Update bits, which are not looked at
/// there, are noted.
std::vector<ArxmlPlacedPdu> placedArxmlPdus(const ArxmlReading& reading, pugi::xml_node frame,
                                            const std::string& name, std::size_t longest);

/// Completes sender, comment and cycle time of a message by one of its PDUs.
void describeArxmlMessage(const ArxmlReading& reading, const ArxmlPdu& pdu, MessageDefinition& message);

/// A signal of `message` with everything but what its bus adds to `record`: its start bit is that in the PDU,
/// moved by `bytes`. \return nothing if it does not end within `longest` bytes, which is remarked
template <class Record>
std::optional<SignalDefinition> arxmlSignal(const ArxmlReading& reading, const MessageDefinition& message,
                                            const ArxmlPdu& pdu, const ArxmlSignal& signal,
                                            std::uint32_t bytes, std::size_t longest, Record record) {
    const baseSignalDef_t& common = signal.common;
    const auto startBit = movedStartBit(common.startbit, bytes);
    if (!startBit || arxmlEnd(*startBit, common.bits, common.endian) > longest) {
        reading.model.leftOut(signal.element ? signal.element : pdu.element,
                              "signal that ends beyond the " + std::to_string(longest) + " bytes that " +
                                  message.name + " can have, not decoded");
        return std::nullopt;
    }
    static_cast<baseSignalDef_t&>(record) = common;
    record.startbit = *startBit;
    record.channel = message.channel.value_or(0);
    record.instance = message.name + "." + record.signal;
    std::vector<std::string> receivers = reading.nodes.of(signal.element).receivers;
    for (const pugi::xml_node part : pdu.parts) {
        addArxmlNodes(receivers, reading.nodes.of(part).receivers);
    }
    return SignalDefinition{std::move(record), signal.multiplexing, signal.minimum,       signal.maximum,
                            signal.initial,    signal.invalid,      std::move(receivers), signal.place};
}

} // namespace rksignal
