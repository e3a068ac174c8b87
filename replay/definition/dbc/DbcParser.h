/// \file
/// Reads the statements of DBC text. Each is checked for itself here; what it refers to is found later.
#pragma once

#include "definition/DefinitionNotes.h"
#include "definition/dbc/DbcLexer.h"
#include "definition/dbc/DbcStatements.h"

#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

namespace rksignal {

/// Reads one text once. A statement that cannot be understood gives an Error note, and reading goes on at the
/// next line that starts with a keyword. Never throws because of the content.
class DbcParser {
  public:
    /// `text` must outlive the statements that are read from it.
    DbcParser(std::string_view text, DefinitionNotes& notes) : lexer(text), notes(notes) {}

    DbcStatements read();

  private:
    using Reader = void (DbcParser::*)();
    static Reader findReader(std::string_view keyword);

    void readStatement();
    void reportFailure();
    void closeMessage();

    // One for each statement, called behind its keyword.
    void readUnknown();
    void readVersion();
    void readSymbolList();
    void skipSection();
    void readMessage();
    void readSignal();
    void readComment();
    void readValues();
    void readValueTable();
    void readValueType();
    void readMultiplexing();
    void readAttribute();
    void readAttributeDefinition();
    void readAttributeDefault();

    void takeIdentifier(DbcMessageStatement& statement);
    static void takeLength(DbcMessageStatement& statement, std::uint64_t length);
    void readMultiplexIndicator(DbcSignalStatement& statement);
    void readLayout(DbcSignalStatement& statement);
    static void takeLayout(DbcSignalStatement& statement, std::uint64_t startbit, std::uint64_t bits);
    void readScaling(DbcSignalStatement& statement);
    void readReceivers(SignalDefinition& signal);
    void takeSignal(DbcSignalStatement&& statement);

    std::uint32_t readRawId();
    DbcReference readMessageReference();
    DbcReference readSignalReference();
    void readCommentOf(std::string_view kind);
    void readValueList(DbcValuesStatement& statement);
    void readRange(DbcMultiplexStatement& statement);
    std::string_view readAttributeValue();
    std::string readNodeName();
    void readLineEnd();
    void readEnd();

    void readProtocol();

    DbcLexer lexer;
    DefinitionNotes& notes;
    DbcStatements statements;
    std::string_view keyword;                ///< of the current statement
    std::set<std::string_view> unknownWords; ///< already noted
    struct Definitions {
        unsigned line; ///< of the first one
        std::size_t count;
    };
    std::unordered_map<std::uint32_t, Definitions> messagesInUse; ///< by complete raw id
};

} // namespace rksignal
