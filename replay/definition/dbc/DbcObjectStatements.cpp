/// \file
/// The statements of DBC text that say something about messages and signals defined elsewhere: comments,
/// values, value types, multiplexing and attributes.
#include "definition/dbc/DbcParser.h"

#include "text/DbcWords.h"

#include <algorithm>

namespace rksignal {

namespace {

bool startsInteger(char c) {
    return isDigit(c) || c == '-' || c == '+';
}

constexpr std::string_view frameFormatAttribute = "VFrameFormat";
constexpr std::string_view cycleTimeAttribute = "GenMsgCycleTime";
constexpr std::string_view protocolAttribute = "ProtocolType";

} // namespace

std::uint32_t DbcParser::readRawId() {
    const std::uint64_t id = lexer.integer();
    if (id > 0xFFFFFFFF)
        lexer.fail("an identifier of at most 32 bits", std::to_string(id));
    return static_cast<std::uint32_t>(id);
}

DbcReference DbcParser::readMessageReference() {
    return {lexer.statementLine(), keyword, readRawId(), {}};
}

DbcReference DbcParser::readSignalReference() {
    DbcReference object = readMessageReference();
    object.signal = lexer.word();
    return object;
}

/// `CM_ "text"`, `CM_ BO_ id "text"`, `CM_ SG_ id signal "text"`, and others about nodes and variables.
void DbcParser::readComment() {
    if (isDigit(lexer.peek()))
        return readCommentOf({});
    if (lexer.peek() == '"')
        return lexer.skipStatement();
    const std::string_view kind = lexer.word();
    if (kind == "BO_" || kind == "SG_")
        readCommentOf(kind);
    else
        lexer.skipStatement();
}

/// Hand-written files also have `CM_ SG_ id "text"` and `CM_ id "text"`.
void DbcParser::readCommentOf(std::string_view kind) {
    DbcReference object = readMessageReference();
    const bool ofSignal = kind == "SG_" || kind.empty();
    if (ofSignal && lexer.peek() != '"')
        object.signal = lexer.word();
    const std::string_view text = lexer.quoted();
    readEnd();
    if (!lexer.ok())
        return;
    if (ofSignal && object.signal.empty())
        notes.guess(object.line, "CM_ without a signal name taken as the comment of message " +
                                     std::to_string(object.rawId));
    statements.comments.push_back({object, text});
}

/// `VAL_ id signal 0 "text" 1 "text";`, or the name of a VAL_TABLE_ in place of the values. A name in place
/// of the identifier is that of an environment variable.
void DbcParser::readValues() {
    if (!isDigit(lexer.peek()))
        return lexer.skipStatement();
    DbcValuesStatement statement;
    statement.object = readSignalReference();
    if (!startsInteger(lexer.peekOnLine()))
        statement.table = lexer.wordOnLine();
    readValueList(statement);
    readEnd();
    if (lexer.ok())
        statements.values.push_back(std::move(statement));
}

void DbcParser::readValueTable() {
    DbcValuesStatement statement;
    statement.object.line = lexer.statementLine();
    statement.table = lexer.word();
    readValueList(statement);
    readEnd();
    if (lexer.ok())
        statements.valueTables.push_back(std::move(statement));
}

void DbcParser::readValueList(DbcValuesStatement& statement) {
    while (startsInteger(lexer.peek())) {
        const std::uint64_t value = lexer.signedInteger();
        statement.values.emplace_back(value, lexer.quoted());
    }
}

/// `SIG_VALTYPE_ id signal : 1;`
void DbcParser::readValueType() {
    DbcValueTypeStatement statement;
    statement.object = readSignalReference();
    lexer.accept(':');
    statement.type = lexer.integer();
    readEnd();
    if (lexer.ok())
        statements.valueTypes.push_back(statement);
}

/// `SG_MUL_VAL_ id signal multiplexer 0-3, 7-7;`
void DbcParser::readMultiplexing() {
    DbcMultiplexStatement statement;
    statement.object = readSignalReference();
    statement.multiplexer = lexer.word();
    do
        readRange(statement);
    while (lexer.accept(','));
    readEnd();
    if (lexer.ok())
        statements.multiplexing.push_back(std::move(statement));
}

void DbcParser::readRange(DbcMultiplexStatement& statement) {
    const std::uint64_t first = lexer.integer();
    const std::uint64_t last = lexer.accept('-') ? lexer.integer() : first;
    if (first > last && lexer.ok())
        notes.guess(statement.object.line, "SG_MUL_VAL_: range " + std::to_string(first) + "-" +
                                               std::to_string(last) + " is reversed; its ends are swapped");
    statement.ranges.emplace_back(std::min(first, last), std::max(first, last));
}

/// Of all attributes, only the long names, the frame format, the protocol and the cycle time are of use.
void DbcParser::readAttribute() {
    const std::string_view name = lexer.quoted();
    if (name == protocolAttribute)
        return readProtocol();
    const bool ofNode = name == "SystemNodeLongSymbol";
    const bool ofSignal = name == "SystemSignalLongSymbol";
    const bool isFrameFormat = name == frameFormatAttribute;
    const bool isCycleTime = name == cycleTimeAttribute;
    const bool ofMessage = name == "SystemMessageLongSymbol" || isFrameFormat || isCycleTime;
    if (!ofNode && !ofSignal && !ofMessage)
        return lexer.skipStatement();
    const std::string_view expected = ofNode ? "BU_" : ofSignal ? "SG_" : "BO_";
    const std::string_view kind = lexer.word();
    if (kind != expected)
        return lexer.fail(expected, kind);
    if (ofNode) {
        const std::string_view node = lexer.word();
        statements.nodeLongNames.push_back({node, lexer.quoted()});
        return readEnd();
    }
    const DbcReference object = ofSignal ? readSignalReference() : readMessageReference();
    const std::string_view value = readAttributeValue();
    readEnd();
    if (lexer.ok())
        (isFrameFormat ? statements.frameFormats
         : isCycleTime ? statements.cycleTimes
                       : statements.longNames)
            .push_back({object, value});
}

/// `BA_ "ProtocolType" "J1939";`, the same behind BA_DEF_DEF_
void DbcParser::readProtocol() {
    if (lexer.peek() != '"')
        return lexer.skipStatement();
    const std::string_view protocol = lexer.quoted();
    readEnd();
    if (lexer.ok() && !protocol.empty())
        statements.protocol = protocol;
}

/// `BA_DEF_ BO_ "VFrameFormat" ENUM "StandardCAN","ExtendedCAN";`
void DbcParser::readAttributeDefinition() {
    if (lexer.peek() != '"')
        lexer.word();
    const std::string_view name = lexer.quoted();
    if (!lexer.ok() || name != frameFormatAttribute || lexer.word() != "ENUM")
        return lexer.skipStatement();
    std::vector<std::string_view> names;
    do
        names.push_back(lexer.quoted());
    while (lexer.accept(','));
    readEnd();
    if (lexer.ok())
        statements.frameFormatNames = std::move(names);
}

void DbcParser::readAttributeDefault() {
    const std::string_view name = lexer.quoted();
    if (name == protocolAttribute)
        return readProtocol();
    if (name != frameFormatAttribute && name != cycleTimeAttribute)
        return lexer.skipStatement();
    const std::string_view value = readAttributeValue();
    readEnd();
    if (lexer.ok())
        (name == frameFormatAttribute ? statements.defaultFrameFormat : statements.defaultCycleTime) = value;
}

std::string_view DbcParser::readAttributeValue() {
    return lexer.peek() == '"' ? lexer.quoted() : lexer.word();
}

} // namespace rksignal
