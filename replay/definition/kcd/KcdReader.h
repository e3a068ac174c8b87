/// \file
/// The messages of one bus of a KCD file.
#pragma once

#include "definition/DefinitionNotes.h"
#include "definition/Expansion.h"
#include "definition/MessageBuilder.h"
#include "definition/xml/XmlDocument.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace rksignal {

/// Names of the nodes by their identifiers.
using KcdNodes = std::unordered_map<std::string, std::string>;

class KcdBusReader {
  public:
    /// All must outlive the reader.
    KcdBusReader(const XmlDocument& document, const KcdNodes& nodes, DefinitionNotes& notes)
        : document(document), nodes(nodes), notes(notes) {}

    /// Adds the messages of the `Bus` element.
    void read(pugi::xml_node bus, std::optional<std::uint8_t> channel,
              std::vector<MessageDefinition>& messages);

  private:
    void readMessage(pugi::xml_node element, MessageDefinition message,
                     std::vector<MessageDefinition>& messages);
    void readMultiplex(pugi::xml_node element, MessageBuilder& builder);
    void readGroup(pugi::xml_node element, std::size_t multiplexer, MessageBuilder& builder);
    std::optional<std::size_t> readSignal(pugi::xml_node element, std::optional<Multiplexing> multiplexing,
                                          MessageBuilder& builder);
    void readValue(pugi::xml_node value, baseSignalDef_t& record, FieldLayout& layout);
    signalValue_t typeOf(pugi::xml_node value);
    void readLabels(pugi::xml_node set, SignalDefinition& signal);
    void addLabel(pugi::xml_node label, std::uint64_t first, std::uint64_t last, SignalDefinition& signal);
    std::vector<std::string> nodesOf(pugi::xml_node list) const;
    /// Of an attribute; nothing, with an error if it is there, if it is no number.
    std::optional<double> numberOf(pugi::xml_node element, const char* name);
    void noteBadNumber(pugi::xml_node element, const char* name);
    unsigned lineOf(pugi::xml_node element) const { return static_cast<unsigned>(document.lineOf(element)); }

    const XmlDocument& document;
    const KcdNodes& nodes;
    DefinitionNotes& notes;
    Expansion labels;
};

} // namespace rksignal
