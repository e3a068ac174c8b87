/// \file
/// Makes messages from the statements of LDF text.
#pragma once

#include "definition/DefinitionNotes.h"
#include "definition/Expansion.h"
#include "definition/MessageBuilder.h"
#include "definition/ldf/LdfStatements.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace rksignal {

/// Serves one file. Everything is found by hash.
class LdfResolver {
  public:
    /// Both must outlive the resolver, and so must the text that `statements` refers to.
    LdfResolver(const LdfStatements& statements, DefinitionNotes& notes);

    std::vector<MessageDefinition> resolve(std::optional<std::uint8_t> channel);

  private:
    void applyRepresentations();
    void applyEncoding(const LdfEncoding& encoding, SignalDefinition& signal, FieldLayout& layout);
    void noteEncoding(const LdfEncoding& encoding);
    void readCycleTimes();
    MessageBuilder frameBuilder(std::string_view name, std::uint64_t id, unsigned line) const;
    void addFrame(const LdfFrame& frame);
    void addSignal(const LdfPlace& place, std::uint64_t offset, MessageBuilder& builder);
    void addEventFrame(const LdfEventFrame& frame);
    std::uint64_t lengthOf(const LdfFrame& frame) const;

    const LdfStatements& statements;
    DefinitionNotes& notes;
    Expansion expansion;
    std::optional<std::uint8_t> channel;
    std::unordered_map<std::string_view, const LdfSignal*> signals;
    std::unordered_map<std::string_view, const LdfGroup*> groups;
    std::unordered_map<std::string_view, const LdfFrame*> frames;
    std::unordered_map<std::string_view, const LdfEncoding*> encodings; ///< by signal
    std::unordered_map<std::string_view, double> cycleTimes;            ///< by frame; 0: not unambiguous
    std::vector<MessageDefinition> messages;
};

} // namespace rksignal
