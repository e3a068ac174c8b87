/// \file
/// Makes messages from the statements of SYM text.
#pragma once

#include "definition/DefinitionNotes.h"
#include "definition/Expansion.h"
#include "definition/MessageBuilder.h"
#include "definition/sym/SymLexer.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace rksignal {

/// A signal, and where it lies if that is known already.
struct SymVariable {
    SignalDefinition signal;
    FieldLayout layout;
    std::optional<double> initial; ///< physical
    std::size_t bytes = Expansion::object;
    unsigned line = 0;
};

/// `Mux=name start,bits value`
struct SymMultiplexer {
    std::string name;
    FieldLayout layout;
    ValueRange values;
    unsigned line = 0;
};

/// What stands behind one `[Name]`.
struct SymBlock {
    std::string name;
    std::string section;
    unsigned line = 0;
    std::vector<ValueRange> ids; ///< empty: it goes on with the symbol of its name
    bool hasLongId = false;      ///< of 8 digits
    bool isUnreadable = false;   ///< it has been said why
    std::string type;            ///< empty: not given
    std::uint16_t length = 8;
    std::optional<double> cycleTime;
    std::string comment;
    std::optional<SymMultiplexer> multiplexer;
    std::vector<SymVariable> variables;
};

/// Serves one file.
class SymReader {
  public:
    /// `notes` must outlive the reader.
    explicit SymReader(DefinitionNotes& notes) : notes(notes) {}

    std::vector<MessageDefinition> read(const std::vector<SymStatement>& statements,
                                        std::optional<std::uint8_t> channel);

  private:
    struct Enum {
        std::map<std::uint64_t, std::string> texts;
        std::size_t bytes = 0; ///< of them, for Expansion
    };

    void readDeclarations(const std::vector<SymStatement>& statements);
    void readSymbols(const std::vector<SymStatement>& statements);
    void readEnum(const SymStatement& statement);
    void readEntry(const SymStatement& statement, SymBlock& block);
    void readIds(const SymStatement& statement, SymBlock& block);
    void readMultiplexer(const SymStatement& statement, SymBlock& block);
    void readSignalUse(const SymStatement& statement, SymBlock& block);
    std::optional<SymVariable> readVariable(const SymStatement& statement, bool hasPlace);
    bool readType(std::string_view type, SymVariable& variable, unsigned line);
    void readOptions(std::span<const std::string> words, SymVariable& variable, unsigned line);
    void applyOption(std::string_view name, std::string_view value, SymVariable& variable, unsigned line);
    void applyNumber(std::string_view name, std::string_view value, SymVariable& variable, unsigned line);

    void takeTexts(const Enum& source, SymVariable& variable, unsigned line);
    void noteWrong(const SymStatement& statement, const char* expected);

    DefinitionNotes& notes;
    std::unordered_map<std::string, Enum> enums;
    std::unordered_map<std::string, SymVariable> signals; ///< of the section {SIGNALS}
    std::vector<SymBlock> blocks;
    Expansion expansion;
};

/// Makes the messages of one symbol: a message for each identifier, as far as `expansion` lets it.
void buildSymMessages(std::span<SymBlock* const> blocks, std::optional<std::uint8_t> channel,
                      Expansion& expansion, DefinitionNotes& notes, std::vector<MessageDefinition>& messages);

} // namespace rksignal
