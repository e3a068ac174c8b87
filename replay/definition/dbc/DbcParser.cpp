/// \file
/// Tells the statements of DBC text apart, and reads the definitions of messages.
#include "definition/dbc/DbcParser.h"

#include "text/DbcWords.h"

namespace rksignal {

namespace {

constexpr std::uint32_t extendedFlag = 0x80000000;
/// The message of this identifier is none: editors keep signals there that belong to no message.
constexpr std::uint32_t independentSignalsId = 0xC0000000;

} // namespace

DbcParser::Reader DbcParser::findReader(std::string_view keyword) {
    static const std::unordered_map<std::string_view, Reader> readers = {
        {"VERSION", &DbcParser::readVersion},
        {"NS_", &DbcParser::readSymbolList},
        {"BO_", &DbcParser::readMessage},
        {"SG_", &DbcParser::readSignal},
        {"CM_", &DbcParser::readComment},
        {"VAL_", &DbcParser::readValues},
        {"VAL_TABLE_", &DbcParser::readValueTable},
        {"SIG_VALTYPE_", &DbcParser::readValueType},
        {"SG_MUL_VAL_", &DbcParser::readMultiplexing},
        {"BA_", &DbcParser::readAttribute},
        {"BA_DEF_", &DbcParser::readAttributeDefinition},
        {"BA_DEF_DEF_", &DbcParser::readAttributeDefault},
    };
    const auto found = readers.find(keyword);
    if (found != readers.end())
        return found->second;
    return isDbcKeyword(keyword) ? &DbcParser::skipSection : &DbcParser::readUnknown;
}

DbcStatements DbcParser::read() {
    while (!lexer.atEnd())
        readStatement();
    closeMessage();
    return std::move(statements);
}

void DbcParser::readStatement() {
    keyword = lexer.begin();
    (this->*findReader(keyword))();
    if (!lexer.ok()) {
        reportFailure();
        lexer.recover();
    }
}

/// A broken message is kept for the signals that follow it; the note about it comes when they are known.
/// Damaged text may have millions of them.
void DbcParser::closeMessage() {
    if (statements.messages.empty() || !statements.messages.back().broken)
        return;
    const DbcMessageStatement& broken = statements.messages.back();
    notes.error(broken.line, broken.dropReason + (broken.signals.empty() ? std::string()
                                                                         : "; " + broken.describeSignals() +
                                                                               " dropped with it"));
    statements.messages.pop_back();
}

void DbcParser::reportFailure() {
    const std::string text = std::string(keyword) + ": " + lexer.failureText();
    if (keyword != "BO_")
        return notes.error(lexer.statementLine(), text);
    closeMessage();
    DbcMessageStatement& statement = statements.messages.emplace_back();
    statement.line = lexer.statementLine();
    statement.broken = true;
    statement.dropReason = text;
}

/// Only the first of several statements of one unknown word is noted.
void DbcParser::readUnknown() {
    if (keyword.empty() && lexer.accept(';'))
        return;
    if (unknownWords.insert(keyword).second)
        notes.dropped(lexer.statementLine(), keyword.empty()
                                                 ? std::string("text without a keyword skipped")
                                                 : "unknown keyword " + std::string(keyword) + " skipped");
    lexer.skipStatement();
}

void DbcParser::readVersion() {
    lexer.quoted();
    readLineEnd();
}

void DbcParser::readSymbolList() {
    lexer.skipSymbolList();
}

void DbcParser::skipSection() {
    lexer.skipStatement();
}

void DbcParser::readMessage() {
    DbcMessageStatement statement;
    statement.line = lexer.statementLine();
    statement.rawId = readRawId();
    const std::string_view name = lexer.word();
    statement.message.name = name;
    lexer.expect(':');
    const std::uint64_t length = lexer.integer();
    statement.message.sender = readNodeName();
    readLineEnd();
    if (!lexer.ok())
        return;
    takeLength(statement, length);
    takeIdentifier(statement);
    if (statement.dropReason.empty() && !isDbcIdentifier(name))
        notes.guess(lexer.statementLine(),
                    "message name " + std::string(name) + " is not an identifier; kept");
    closeMessage();
    statements.messages.push_back(std::move(statement));
}

void DbcParser::takeLength(DbcMessageStatement& statement, std::uint64_t length) {
    if (length > longestParameterGroup)
        statement.dropReason = "length " + std::to_string(length) + " is more than 64 bytes";
    else
        statement.message.length = static_cast<std::uint16_t>(length);
}

void DbcParser::takeIdentifier(DbcMessageStatement& statement) {
    MessageDefinition& message = statement.message;
    const std::uint32_t id = statement.rawId & ~extendedFlag;
    message.extended = (statement.rawId & extendedFlag) != 0 || id > greatestStandardId;
    message.id = id;
    if (statement.rawId == independentSignalsId)
        statement.dropReason = "it only holds signals that belong to no message";
    else if (id > greatestExtendedId)
        statement.dropReason = "identifier " + std::to_string(statement.rawId) + " has more than 29 bits";
    if (!statement.dropReason.empty())
        return;

    Definitions& known = messagesInUse[id | (message.extended ? extendedFlag : 0)];
    known.line = known.count == 0 ? statement.line : known.line;
    if (++known.count > mostOfOneName)
        statement.dropReason = "identifier " + std::to_string(statement.rawId) + " is already defined " +
                               std::to_string(mostOfOneName) + " times, first on line " +
                               std::to_string(known.line);
    else if (id > greatestStandardId && (statement.rawId & extendedFlag) == 0)
        notes.guess(statement.line, "message " + message.name + ": identifier " + std::to_string(id) +
                                        " has more than 11 bits; taken as extended");
}

/// The placeholder for "none" gives an empty name.
std::string DbcParser::readNodeName() {
    const std::string_view name = lexer.wordOnLine();
    return name == "Vector__XXX" ? std::string() : std::string(name);
}

/// The end of a statement that takes the rest of its line.
void DbcParser::readLineEnd() {
    if (lexer.peekOnLine() == ';')
        lexer.accept(';');
    if (lexer.peekOnLine() != 0)
        notes.dropped(lexer.line(), std::string(keyword) + ": text at the end of the line ignored");
    if (lexer.ok())
        lexer.skipLine();
}

/// The end of a statement that ends with a semicolon.
void DbcParser::readEnd() {
    if (!lexer.end() && lexer.ok())
        notes.guess(lexer.statementLine(), std::string(keyword) + ": ';' is missing at the end");
}

} // namespace rksignal
