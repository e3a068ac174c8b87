#include "definition/kcd/KcdReader.h"

#include "definition/xml/XmlValues.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace rksignal {
namespace {

constexpr std::uint16_t classicLength = 8;
constexpr std::uint64_t mostLabelled = 256; ///< values of a group that get texts

std::string nameOf(pugi::xml_node element) {
    return element.attribute("name").value();
}

std::string messageName(pugi::xml_node element) {
    std::string name = nameOf(element);
    return name.empty() ? "Message_" + std::string(element.attribute("id").value()) : name;
}

bool isBigEndianKcd(pugi::xml_node signal) {
    return std::string_view(signal.attribute("endianess").value()) == "big" ||
           std::string_view(signal.attribute("endianness").value()) == "big";
}

/// Bytes up to the end of the last signal.
std::uint16_t lengthOf(const MessageDefinition& message) {
    unsigned bits = 0;
    for (const SignalDefinition& signal : message.signals) {
        const canSignalDef_t& record = signal.can();
        const unsigned first = record.endian ? record.startbit ^ 7U : record.startbit;
        bits = std::max(bits, first + record.bits);
    }
    return static_cast<std::uint16_t>((bits + 7) / 8);
}

} // namespace

void KcdBusReader::read(pugi::xml_node bus, std::optional<std::uint8_t> channel,
                        std::vector<MessageDefinition>& messages) {
    for (const pugi::xml_node element : bus.children("Message")) {
        MessageDefinition message;
        message.channel = channel;
        readMessage(element, std::move(message), messages);
    }
}

void KcdBusReader::readMessage(pugi::xml_node element, MessageDefinition message,
                               std::vector<MessageDefinition>& messages) {
    const unsigned line = lineOf(element);
    message.name = messageName(element);
    const auto id = integerIn(element.attribute("id").value());
    const std::string_view length = element.attribute("length").as_string("auto");
    const auto bytes = length == "auto" ? std::optional<std::uint64_t>(0) : integerIn(length);
    if (!id || *id > greatestExtendedId || !bytes || *bytes > longestFrame) {
        return notes.error(line, "message " + message.name + " dropped: its " +
                                     (!id || *id > greatestExtendedId ? "id" : "length") +
                                     " is missing, no number or too large");
    }
    message.id = static_cast<std::uint32_t>(*id);
    message.extended = std::string_view(element.attribute("format").value()) == "extended";
    message.length = static_cast<std::uint16_t>(*bytes);
    message.comment = elementText(element.child("Notes"));
    if (const auto interval = numberOf(element, "interval"); interval > 0.0) {
        message.cycleTime = interval;
    }
    const std::vector<std::string> senders = nodesOf(element.child("Producer"));
    message.sender = senders.empty() ? "" : senders.front();
    MessageBuilder builder(std::move(message), line, notes);
    if (!builder.isUsable()) {
        return;
    }
    for (const pugi::xml_node child : element.children()) {
        if (std::string_view(child.name()) == "Multiplex") {
            readMultiplex(child, builder);
        } else if (std::string_view(child.name()) == "Signal") {
            readSignal(child, {}, builder);
        }
    }
    MessageDefinition& built = builder.message();
    built.length = built.length == 0 ? lengthOf(built) : built.length;
    built.canFd = built.length > classicLength;
    messages.push_back(builder.take());
}

void KcdBusReader::readMultiplex(pugi::xml_node element, MessageBuilder& builder) {
    const auto multiplexer = readSignal(element, {}, builder);
    if (!multiplexer) {
        return notes.dropped(lineOf(element), "the groups of multiplexer " + nameOf(element) +
                                                  " of message " + builder.message().name +
                                                  " dropped with it");
    }
    builder.message().signals[*multiplexer].can().multiplexer = 1;
    for (const pugi::xml_node group : element.children("MuxGroup")) {
        readGroup(group, *multiplexer, builder);
    }
}

void KcdBusReader::readGroup(pugi::xml_node element, std::size_t multiplexer, MessageBuilder& builder) {
    const auto value = integerIn(element.attribute("count").value());
    if (!value) {
        return notes.error(lineOf(element), "MuxGroup dropped: its count is missing or no number");
    }
    for (const pugi::xml_node signal : element.children("Signal")) {
        readSignal(signal, Multiplexing{multiplexer, {{*value, *value}}}, builder);
    }
}

std::optional<std::size_t> KcdBusReader::readSignal(pugi::xml_node element,
                                                    std::optional<Multiplexing> multiplexing,
                                                    MessageBuilder& builder) {
    const unsigned line = lineOf(element);
    const auto offset = integerIn(element.attribute("offset").value());
    const auto bits = integerIn(element.attribute("length").as_string("1"));
    if (nameOf(element).empty() || !offset || *offset >= std::uint64_t{longestFrame} * 8 || !bits) {
        notes.error(line, "signal " + nameOf(element) + " of message " + builder.message().name +
                              " dropped: its name, offset or length is missing, no number or too large");
        return std::nullopt;
    }
    SignalDefinition signal;
    signal.record = canSignalDef_t{};
    signal.common().signal = nameOf(element);
    signal.common().comment = elementText(element.child("Notes"));
    signal.multiplexing = std::move(multiplexing);
    signal.receivers = nodesOf(element.child("Consumer"));
    FieldLayout layout;
    layout.bits = *bits;
    layout.bigEndian = isBigEndianKcd(element);
    layout.startbit = layout.bigEndian ? fromSawtooth(*offset) : *offset;
    readValue(element.child("Value"), signal.common(), layout);
    readLabels(element.child("LabelSet"), signal);
    return builder.add(std::move(signal), layout, line);
}

void KcdBusReader::readValue(pugi::xml_node value, baseSignalDef_t& record, FieldLayout& layout) {
    record.scale = numberOf(value, "slope").value_or(1);
    record.offset = numberOf(value, "intercept").value_or(0);
    record.unit = value.attribute("unit").value();
    layout.minimum = numberOf(value, "min");
    layout.maximum = numberOf(value, "max");
    layout.type = typeOf(value);
}

signalValue_t KcdBusReader::typeOf(pugi::xml_node value) {
    const std::string_view type = value.attribute("type").as_string("unsigned");
    if (type == "signed") {
        return signalValue_t::Signed;
    }
    if (type == "single") {
        return signalValue_t::Float;
    }
    if (type == "double") {
        return signalValue_t::Double;
    }
    if (type != "unsigned") {
        notes.error(lineOf(value), "type " + std::string(type) + " is unknown; unsigned is taken");
    }
    return signalValue_t::Unsigned;
}

void KcdBusReader::readLabels(pugi::xml_node set, SignalDefinition& signal) {
    std::vector<std::uint64_t> invalid;
    for (const pugi::xml_node label : set.children()) {
        const bool isGroup = std::string_view(label.name()) == "LabelGroup";
        if (!isGroup && std::string_view(label.name()) != "Label") {
            continue;
        }
        const auto first = integerIn(label.attribute(isGroup ? "from" : "value").value());
        const auto last = isGroup ? integerIn(label.attribute("to").value()) : first;
        if (!first || !last || *last < *first) {
            notes.error(lineOf(label), "label " + nameOf(label) + " of signal " + signal.common().signal +
                                           " dropped: its value is missing or no number");
            continue;
        }
        addLabel(label, *first, *last, signal);
        if (std::string_view(label.attribute("type").value()) == "invalid") {
            invalid.insert(invalid.end(), {*first, *last});
        }
    }
    if (invalid.size() == 2 && invalid.front() == invalid.back()) {
        signal.invalid = invalid.front();
    }
}

void KcdBusReader::addLabel(pugi::xml_node label, std::uint64_t first, std::uint64_t last,
                            SignalDefinition& signal) {
    const std::string text = nameOf(label);
    if (last - first >= mostLabelled || !labels.take((last - first + 1) * Expansion::entry(text))) {
        return notes.dropped(lineOf(label), "label " + text + " of signal " + signal.common().signal +
                                                " dropped: it is for too many values");
    }
    for (std::uint64_t i = 0; i <= last - first; ++i) {
        signal.common().valueDescriptions[first + i] = text;
    }
}

std::vector<std::string> KcdBusReader::nodesOf(pugi::xml_node list) const {
    std::vector<std::string> names;
    for (const pugi::xml_node reference : list.children("NodeRef")) {
        const auto node = nodes.find(reference.attribute("id").value());
        if (node != nodes.end()) {
            names.push_back(node->second);
        }
    }
    return names;
}

std::optional<double> KcdBusReader::numberOf(pugi::xml_node element, const char* name) {
    const pugi::xml_attribute attribute = element.attribute(name);
    const auto number = numberIn(attribute.value());
    if (attribute && !number) {
        noteBadNumber(element, name);
    }
    return number;
}

void KcdBusReader::noteBadNumber(pugi::xml_node element, const char* name) {
    notes.error(lineOf(element), std::string(name) + " of " + element.name() + " ignored: \"" +
                                     element.attribute(name).value() + "\" is no number");
}

} // namespace rksignal
