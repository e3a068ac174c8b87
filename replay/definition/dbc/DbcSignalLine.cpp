/// \file
/// Reads the definitions of signals in DBC text.
#include "definition/dbc/DbcParser.h"

#include "text/DbcWords.h"
#include "text/ParseNumber.h"

namespace rksignal {

namespace {

/// The number of bits of a message up to the end of a signal.
std::uint64_t endBit(std::uint64_t startbit, std::uint64_t bits, bool bigEndian) {
    const std::uint64_t first = bigEndian ? startbit / 8 * 8 + (7 - startbit % 8) : startbit;
    return first + bits;
}

/// The k of `m<k>`.
std::optional<std::uint64_t> selectorOf(std::string_view indicator) {
    if (!indicator.starts_with('m'))
        return std::nullopt;
    return parseNumber<std::uint64_t>(indicator.substr(1));
}

} // namespace

void DbcParser::readSignal() {
    if (statements.messages.empty())
        return lexer.fail("a BO_ line before the first signal", "SG_");
    DbcSignalStatement statement;
    statement.line = lexer.statementLine();
    statement.name = lexer.word();
    statement.record().signal = statement.name;
    readMultiplexIndicator(statement);
    lexer.expect(':');
    readLayout(statement);
    readScaling(statement);
    statement.record().unit = unquoted(lexer.quoted());
    readReceivers(statement.definition);
    readLineEnd();
    if (lexer.ok())
        takeSignal(std::move(statement));
}

/// Nothing, `M`, `m<k>` or `m<k>M`. Some editors write `m` without a value where SG_MUL_VAL_ lines say more.
void DbcParser::readMultiplexIndicator(DbcSignalStatement& statement) {
    if (lexer.peek() == ':' || !lexer.ok())
        return;
    const std::string_view indicator = lexer.word();
    std::string_view selector = indicator;
    if (selector.ends_with('M')) {
        statement.record().multiplexer = 1;
        selector.remove_suffix(1);
    }
    statement.selector = selectorOf(selector);
    statement.hasIndicator = selector == "m";
    if (!selector.empty() && !statement.selector && !statement.hasIndicator)
        lexer.fail("':' or a multiplexer indicator", indicator);
}

/// `startbit|bits@order sign`
void DbcParser::readLayout(DbcSignalStatement& statement) {
    const std::uint64_t startbit = lexer.integer();
    lexer.expect('|');
    const std::uint64_t bits = lexer.integer();
    lexer.expect('@');
    const bool littleEndian = lexer.accept('1');
    if (!littleEndian && !lexer.accept('0'))
        lexer.fail("byte order 0 or 1");
    statement.record().endian = !littleEndian;
    if (lexer.accept('-'))
        statement.record().type = signalValue_t::Signed;
    else
        lexer.expect('+');
    if (lexer.ok())
        takeLayout(statement, startbit, bits);
}

void DbcParser::takeLayout(DbcSignalStatement& statement, std::uint64_t startbit, std::uint64_t bits) {
    constexpr std::uint64_t mostBits = std::uint64_t{longestParameterGroup} * 8;
    statement.dropped = true;
    if (bits == 0) {
        statement.dropReason = "its width is 0";
    } else if (bits > 64) {
        statement.dropReason = "its width of " + std::to_string(bits) + " bits is more than 64";
    } else if (startbit >= mostBits) {
        statement.dropReason = "it lies beyond 64 bytes";
    } else {
        statement.dropped = false;
        statement.record().startbit = static_cast<std::uint16_t>(startbit);
        statement.record().bits = static_cast<std::uint8_t>(bits);
        statement.bytes = (endBit(startbit, bits, statement.record().endian) + 7) / 8;
    }
}

/// `(scale,offset) [minimum|maximum]`
void DbcParser::readScaling(DbcSignalStatement& statement) {
    bool clamped = false;
    canSignalDef_t& record = statement.record();
    lexer.expect('(');
    record.scale = lexer.number(clamped);
    lexer.expect(',');
    record.offset = lexer.number(clamped);
    lexer.expect(')');
    lexer.expect('[');
    statement.definition.minimum = lexer.number(clamped);
    lexer.expect('|');
    statement.definition.maximum = lexer.number(clamped);
    lexer.expect(']');
    if (clamped)
        statement.guesses.emplace_back("has a number beyond the range of a double; the closest is taken");
    if (lexer.ok() && record.scale == 0)
        statement.guesses.emplace_back("has scale 0; kept");
}

void DbcParser::readReceivers(SignalDefinition& signal) {
    while (lexer.ok() && lexer.peekOnLine() != 0) {
        if (lexer.peekOnLine() == ',')
            lexer.accept(',');
        const std::string_view name = lexer.wordOnLine();
        if (name.empty())
            return;
        if (name != "Vector__XXX")
            signal.receivers.emplace_back(name);
    }
}

void DbcParser::takeSignal(DbcSignalStatement&& statement) {
    if (!isDbcIdentifier(statement.name))
        statement.guesses.emplace_back("has a name that is not an identifier; kept");
    statements.messages.back().signals.push_back(std::move(statement));
}

} // namespace rksignal
