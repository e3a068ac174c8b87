#include "definition/arxml/ArxmlClusters.h"

#include "definition/arxml/ArxmlFile.h"
#include "file/Unpack.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace rksignal {
namespace {

struct ClusterReader {
    std::string_view tag;
    void (*read)(ArxmlReading& reading, pugi::xml_node cluster);
};

constexpr ClusterReader clusterReaders[] = {
    {"CAN-CLUSTER", readArxmlCan},         {"J-1939-CLUSTER", readArxmlCan},
    {"TTCAN-CLUSTER", readArxmlCan},       {"LIN-CLUSTER", readArxmlLin},
    {"FLEXRAY-CLUSTER", readArxmlFlexRay}, {"ETHERNET-CLUSTER", readArxmlEthernet},
};

const ClusterReader* readerOf(pugi::xml_node cluster) {
    return std::find_if(std::begin(clusterReaders), std::end(clusterReaders),
                        [cluster](const ClusterReader& each) { return each.tag == cluster.name(); });
}

/// Says which clusters of the same kind are read into one, where nothing was chosen.
void noteSeveral(ArxmlModel& model, const std::vector<pugi::xml_node>& clusters) {
    for (const ClusterReader& kind : clusterReaders) {
        std::string names;
        std::size_t count = 0;
        for (const pugi::xml_node cluster : clusters) {
            if (kind.tag == cluster.name() && model.isFirst(cluster)) {
                names.append(names.empty() ? "" : ", ").append(arxmlName(cluster));
                ++count;
            }
        }
        if (count > 1) {
            model.note("messages of several clusters (" + std::string(kind.tag) + ") are read: " + names +
                       "; --cluster [CHANNEL=]NAME chooses");
        }
    }
}

} // namespace

std::vector<pugi::xml_node> arxmlChannels(ArxmlModel& model, pugi::xml_node cluster) {
    const pugi::xml_node variant = arxmlVariant(cluster);
    if (variant != cluster && variant.next_sibling()) {
        model.leftOut(cluster, "cluster with several variants; the first is read");
    }
    const auto channels = variant.child("PHYSICAL-CHANNELS").children();
    return {channels.begin(), channels.end()};
}

std::vector<pugi::xml_node> arxmlFrameTriggerings(const ArxmlModel& model, pugi::xml_node channel,
                                                  const char* tag) {
    std::vector<pugi::xml_node> found;
    for (const char* list : {"FRAME-TRIGGERINGS", "FRAME-TRIGGERINGSS"}) { // AUTOSAR 4 and 3
        for (const pugi::xml_node triggering : channel.child(list).children(tag)) {
            if (model.isFirst(triggering)) {
                found.push_back(triggering);
            }
        }
    }
    return found;
}

MessageDefinition startArxmlMessage(const ArxmlReading& reading, SignalKind kind, pugi::xml_node element) {
    MessageDefinition message;
    message.kind = kind;
    message.channel = reading.channel;
    message.name = arxmlName(element);
    message.comment = arxmlComment(element);
    message.place = reading.model.placeOf(element);
    return message;
}

std::vector<ArxmlPlacedPdu> placedArxmlPdus(const ArxmlReading& reading, pugi::xml_node frame,
                                            const std::string& name, std::size_t longest) {
    constexpr const char* unused = "update bits are not looked at; it is decoded from every frame";
    std::vector<ArxmlPlacedPdu> placed;
    for (const pugi::xml_node mapping :
         frame.child("PDU-TO-FRAME-MAPPINGS").children("PDU-TO-FRAME-MAPPING")) {
        const auto start = arxmlUnsigned(arxmlText(mapping, {"START-POSITION"})).value_or(0);
        if (start / 8 >= longest) {
            reading.model.leftOut(mapping, "START-POSITION is beyond the frame; the PDU is not decoded");
            continue;
        }
        if (mapping.child("UPDATE-INDICATION-BIT-POSITION")) {
            reading.model.note(mapping, unused);
        }
        if (const pugi::xml_node pdu = reading.model.target(mapping, {"PDU-REF"})) {
            reading.pdus.place(pdu, static_cast<std::uint32_t>(start / 8), name, placed);
        }
    }
    for (const ArxmlPlacedPdu& each : placed) {
        for (const ArxmlSignal& signal : each.pdu.signals) {
            if (signal.updateBit) {
                reading.model.note(signal.element, unused);
            }
        }
    }
    return placed;
}

void describeArxmlMessage(const ArxmlReading& reading, const ArxmlPdu& pdu, MessageDefinition& message) {
    for (const pugi::xml_node part : pdu.parts) {
        const std::vector<std::string>& senders = reading.nodes.of(part).senders;
        if (message.sender.empty() && !senders.empty()) {
            message.sender = senders.front();
        }
    }
    message.comment = message.comment.empty() ? pdu.comment : message.comment;
    if (pdu.cycleTime && (!message.cycleTime || *pdu.cycleTime < *message.cycleTime)) {
        message.cycleTime = pdu.cycleTime;
    }
}

DefinitionFile parseArxml(std::vector<ArxmlText> texts, std::optional<std::uint8_t> channel,
                          const std::vector<ClusterChoice>& choices) {
    DefinitionFile file;
    file.path = texts.empty() ? std::string() : texts.front().path;
    ArxmlModel model(std::move(texts));
    ArxmlPduReader pdus(model);
    ArxmlNodes nodes(model);
    const std::vector<pugi::xml_node> clusters =
        model.elementsOf({"CAN-CLUSTER", "J-1939-CLUSTER", "TTCAN-CLUSTER", "LIN-CLUSTER", "FLEXRAY-CLUSTER",
                          "ETHERNET-CLUSTER"});
    for (const pugi::xml_node cluster : clusters) {
        const std::string name(arxmlName(cluster));
        if (model.isFirst(cluster)) {
            file.clusters.push_back(name);
        }
        const ClusterChoice* const choice = choiceOf(choices, name);
        if (choice == nullptr && !choices.empty()) {
            continue;
        }
        ArxmlReading reading{model, pdus, nodes, file.messages,
                             choice != nullptr && choice->channel ? choice->channel : channel};
        readerOf(cluster)->read(reading, cluster);
    }
    if (clusters.empty()) {
        ArxmlReading reading{model, pdus, nodes, file.messages, channel};
        readArxmlEcuConfiguration(reading);
    }
    if (choices.empty()) {
        ArxmlReading reading{model, pdus, nodes, file.messages, channel};
        readArxmlDeployments(reading);
        noteSeveral(model, clusters);
    }
    file.remarks = model.takeRemarks();
    return file;
}

DefinitionFile readArxml(std::span<const std::string> paths, std::optional<std::uint8_t> channel,
                         const std::vector<ClusterChoice>& choices) {
    std::vector<ArxmlText> texts;
    for (const std::string& path : paths) {
        texts.push_back({uncompressed(std::make_unique<InputFile>(path))->readAll(), path});
    }
    return parseArxml(std::move(texts), channel, choices);
}

} // namespace rksignal
