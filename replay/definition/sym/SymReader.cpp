#include "definition/sym/SymReader.h"

#include "text/ParseNumber.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace rksignal {
namespace {

/// `12`, `-1` in two's complement, or `0Ch`.
std::optional<std::uint64_t> symInteger(std::string_view text) {
    if (text.ends_with('h')) {
        return parseNumber<std::uint64_t>(text.substr(0, text.size() - 1), 16);
    }
    if (text.starts_with('-')) {
        const auto negative = parseNumber<std::int64_t>(text);
        return negative ? std::optional(static_cast<std::uint64_t>(*negative)) : std::nullopt;
    }
    return parseNumber<std::uint64_t>(text);
}

/// `5` or `5-9`.
std::optional<ValueRange> symRange(std::string_view text) {
    const std::size_t dash = text.find('-', 1);
    const auto first = symInteger(text.substr(0, dash));
    const auto last = dash == text.npos ? first : symInteger(text.substr(dash + 1));
    if (!first || !last || *last < *first) {
        return std::nullopt;
    }
    return ValueRange{*first, *last};
}

/// `start,bits`
bool readSymPlace(std::string_view text, FieldLayout& layout) {
    const std::size_t comma = text.find(',');
    const auto start = symInteger(text.substr(0, comma));
    const auto bits = comma == text.npos ? std::nullopt : symInteger(text.substr(comma + 1));
    if (!start || !bits) {
        return false;
    }
    layout.startbit = *start;
    layout.bits = *bits;
    return true;
}

/// Where the text that begins with the quote at `from` ends; npos if it does not.
std::size_t quotedEnd(std::string_view text, std::size_t from) {
    std::size_t end = from == text.npos ? from : text.find('"', from + 1);
    while (end != text.npos && text[end - 1] == '\\') {
        end = text.find('"', end + 1);
    }
    return end;
}

std::string unescaped(std::string_view quoted) {
    std::string text(quoted);
    for (std::size_t at = text.find("\\\""); at != text.npos; at = text.find("\\\"", at + 1)) {
        text.erase(at, 1);
    }
    return text;
}

/// Big endian start bits count from the most significant bit of the first byte on.
void countFromLowest(FieldLayout& layout) {
    if (layout.bigEndian) {
        layout.startbit = fromSawtooth(layout.startbit);
    }
}

} // namespace

std::vector<MessageDefinition> SymReader::read(const std::vector<SymStatement>& statements,
                                               std::optional<std::uint8_t> channel) {
    readDeclarations(statements);
    readSymbols(statements);
    std::map<std::pair<std::string, std::string>, std::size_t> last; // by section and name
    std::vector<std::vector<SymBlock*>> symbols;
    for (SymBlock& block : blocks) {
        const std::pair key{block.section, block.name};
        const auto known = last.find(key);
        const bool goesOn =
            known != last.end() && (block.ids.empty() || block.ids == symbols[known->second].front()->ids);
        if (goesOn) {
            symbols[known->second].push_back(&block);
        } else if (!block.ids.empty()) {
            last[key] = symbols.size();
            symbols.push_back({&block});
        } else if (!block.isUnreadable) {
            notes.error(block.line, "symbol " + block.name + " dropped: it has no ID");
        }
    }
    std::vector<MessageDefinition> messages;
    for (const std::vector<SymBlock*>& symbol : symbols) {
        buildSymMessages(symbol, channel, expansion, notes, messages);
    }
    return messages;
}

/// Symbols may refer to what stands behind them.
void SymReader::readDeclarations(const std::vector<SymStatement>& statements) {
    for (const SymStatement& statement : statements) {
        if (statement.kind == SymKind::Entry && statement.key == "Enum") {
            readEnum(statement);
        }
    }
    std::string_view section;
    for (const SymStatement& statement : statements) {
        if (statement.kind == SymKind::Section) {
            section = statement.key;
        } else if (section == "SIGNALS" && statement.kind == SymKind::Entry && statement.key == "Sig") {
            if (auto variable = readVariable(statement, /*hasPlace=*/false)) {
                std::string name = variable->signal.common().signal;
                signals.insert_or_assign(std::move(name), std::move(*variable));
            }
        }
    }
}

/// `Name(0="off", 1="on")`
void SymReader::readEnum(const SymStatement& statement) {
    const std::string_view rest = statement.rest;
    const std::size_t open = rest.find('(');
    const std::size_t close = rest.rfind(')');
    if (open == rest.npos || close < open) {
        return noteWrong(statement, "Name(0=\"text\", ...)");
    }
    const std::vector<std::string> names = symWords(rest.substr(0, open));
    Enum& made = enums[names.empty() ? "" : names.front()];
    std::string_view values = rest.substr(open + 1, close - open - 1);
    while (true) {
        values.remove_prefix(std::min(values.find_first_not_of(" \t\r,"), values.size()));
        if (values.empty()) {
            return;
        }
        const std::size_t quote = values.find('"');
        const std::size_t end = quotedEnd(values, quote);
        const std::size_t sign = values.find('=');
        const auto value = symInteger(values.substr(0, values.find_first_of(" =")));
        if (end == values.npos || sign > quote || !value) {
            return noteWrong(statement, "Name(0=\"text\", ...)");
        }
        std::string text = unescaped(values.substr(quote + 1, end - quote - 1));
        made.bytes += Expansion::entry(text);
        made.texts[*value] = std::move(text);
        values.remove_prefix(end + 1);
    }
}

void SymReader::readSymbols(const std::vector<SymStatement>& statements) {
    std::string section;
    bool isInSymbol = false;
    for (const SymStatement& statement : statements) {
        switch (statement.kind) {
        case SymKind::Section:
            section = statement.key;
            isInSymbol = false;
            break;
        case SymKind::Symbol:
            blocks.emplace_back().name = statement.key;
            blocks.back().section = section;
            blocks.back().line = statement.line;
            isInSymbol = true;
            break;
        case SymKind::Entry:
            if (isInSymbol && statement.key != "Enum") {
                readEntry(statement, blocks.back());
            }
            break;
        }
    }
}

void SymReader::readEntry(const SymStatement& statement, SymBlock& block) {
    const std::string& key = statement.key;
    if (key == "ID") {
        readIds(statement, block);
    } else if (key == "Type") {
        block.type = statement.rest;
    } else if (key == "Len" || key == "DLC") {
        const auto length = symInteger(statement.rest);
        if (!length || *length > longestFrame) {
            return noteWrong(statement, "a number up to 64");
        }
        block.length = static_cast<std::uint16_t>(*length);
    } else if (key == "CycleTime") {
        const std::vector<std::string> words = symWords(statement.rest);
        const auto time = words.empty() ? std::nullopt : parseNumber<double>(words.front());
        if (!time || !std::isfinite(*time)) {
            return noteWrong(statement, "a number");
        }
        block.cycleTime = *time > 0 ? time : std::nullopt;
    } else if (key == "Mux") {
        readMultiplexer(statement, block);
    } else if (key == "Sig") {
        readSignalUse(statement, block);
    } else if (key == "Var") {
        if (auto variable = readVariable(statement, /*hasPlace=*/true)) {
            block.variables.push_back(std::move(*variable));
        }
    } else if (key != "Timeout" && key != "MinInterval" && key != "Color" && key != "BRS") {
        notes.dropped(statement.line, key + " ignored: it is no known key of a symbol");
    }
}

/// `100h`, `100h-10Fh`, or several of these with commas.
void SymReader::readIds(const SymStatement& statement, SymBlock& block) {
    block.comment = statement.comment;
    std::string_view rest = statement.rest;
    while (!rest.empty()) {
        const std::string_view item = rest.substr(0, rest.find(','));
        rest.remove_prefix(std::min(item.size() + 1, rest.size()));
        std::string text(item);
        std::erase_if(text, [](char c) { return c == ' ' || c == '\t'; });
        const auto range = symRange(text);
        if (!range || range->second > greatestExtendedId) {
            block.isUnreadable = true;
            return noteWrong(statement, "an identifier with its digits and h");
        }
        constexpr std::size_t longId = 9; // with the h
        block.hasLongId |= std::min(text.find('-'), text.size()) == longId;
        block.ids.push_back(*range);
    }
}

void SymReader::readMultiplexer(const SymStatement& statement, SymBlock& block) {
    const std::vector<std::string> words = symWords(statement.rest);
    SymMultiplexer multiplexer;
    const auto values = words.size() < 3 ? std::nullopt : symRange(words[2]);
    if (!values || !readSymPlace(words[1], multiplexer.layout)) {
        block.isUnreadable = true; // its variables would appear in all frames
        return notes.error(statement.line, "Mux of symbol " + block.name +
                                               " ignored, and its variables with it: expected Name "
                                               "start,bits value");
    }
    multiplexer.name = words[0];
    multiplexer.values = *values;
    multiplexer.line = statement.line;
    multiplexer.layout.bigEndian = std::find(words.begin() + 3, words.end(), "-m") != words.end();
    countFromLowest(multiplexer.layout);
    block.multiplexer = std::move(multiplexer);
}

/// `Sig=Name start`, of a signal that the section {SIGNALS} defines.
void SymReader::readSignalUse(const SymStatement& statement, SymBlock& block) {
    const std::vector<std::string> words = symWords(statement.rest);
    const auto start = words.size() < 2 ? std::nullopt : symInteger(words[1]);
    if (!start) {
        return noteWrong(statement, "Name start");
    }
    const auto known = signals.find(words[0]);
    if (known == signals.end()) {
        return notes.error(statement.line, "signal " + words[0] + " of symbol " + block.name +
                                               " dropped: no Sig of section {SIGNALS} defines it");
    }
    SymVariable& variable = block.variables.emplace_back(known->second);
    variable.line = statement.line;
    variable.layout.startbit = *start;
    countFromLowest(variable.layout);
}

/// `Name type bits options`, with a place `Name type start,bits options`.
std::optional<SymVariable> SymReader::readVariable(const SymStatement& statement, bool hasPlace) {
    const std::vector<std::string> words = symWords(statement.rest);
    SymVariable variable;
    variable.line = statement.line;
    variable.signal.record = canSignalDef_t{};
    std::size_t used = 2;
    if (words.size() >= used) {
        variable.signal.common().signal = words[0];
        if (!readType(words[1], variable, statement.line)) {
            return std::nullopt;
        }
        if (hasPlace) {
            used += words.size() > used && readSymPlace(words[used], variable.layout) ? 1 : words.size();
        } else if (const auto bits = words.size() > used ? symInteger(words[used]) : std::nullopt) {
            variable.layout.bits = *bits;
            ++used;
        }
    }
    if (used > words.size() || variable.layout.bits == 0) {
        noteWrong(statement, hasPlace ? "Name type start,bits" : "Name type bits");
        return std::nullopt;
    }
    variable.signal.common().comment = statement.comment;
    readOptions(std::span(words).subspan(used), variable, statement.line);
    if (hasPlace) {
        countFromLowest(variable.layout);
    }
    return variable;
}

/// A type, or the name of an enumeration.
bool SymReader::readType(std::string_view type, SymVariable& variable, unsigned line) {
    struct Type {
        std::string_view name;
        signalValue_t type;
        std::uint64_t bits; ///< 0: none of its own
    };
    static constexpr Type types[] = {
        {"unsigned", signalValue_t::Unsigned, 0}, {"signed", signalValue_t::Signed, 0},
        {"bit", signalValue_t::Unsigned, 1},      {"char", signalValue_t::Unsigned, 8},
        {"string", signalValue_t::Unsigned, 0},   {"raw", signalValue_t::Unsigned, 0},
        {"float", signalValue_t::Float, 32},      {"double", signalValue_t::Double, 64}};
    const auto* const known = std::find_if(std::begin(types), std::end(types),
                                           [type](const Type& each) { return each.name == type; });
    if (known != std::end(types)) {
        variable.layout.type = known->type;
        variable.layout.bits = known->bits;
        return true;
    }
    const auto texts = enums.find(std::string(type));
    if (texts == enums.end()) {
        notes.error(line, "signal " + variable.signal.common().signal + " dropped: there is no type " +
                              std::string(type));
        return false;
    }
    takeTexts(texts->second, variable, line);
    return true;
}

/// Options of the display, as `-h`, do not matter.
void SymReader::readOptions(std::span<const std::string> words, SymVariable& variable, unsigned line) {
    for (const std::string& word : words) {
        const std::size_t colon = word.find(':');
        if (word == "-m") {
            variable.layout.bigEndian = true;
        } else if (word.starts_with('/') && colon != word.npos) {
            applyOption(std::string_view(word).substr(1, colon - 1), std::string_view(word).substr(colon + 1),
                        variable, line);
        }
    }
}

void SymReader::applyOption(std::string_view name, std::string_view value, SymVariable& variable,
                            unsigned line) {
    baseSignalDef_t& record = variable.signal.common();
    if (name == "u") {
        record.unit = value;
    } else if (name == "ln") {
        record.udn = value;
    } else if (name == "e") {
        const auto texts = enums.find(std::string(value));
        if (texts == enums.end()) {
            return notes.dropped(line, "signal " + record.signal + " has no value texts: there is no Enum " +
                                           std::string(value));
        }
        takeTexts(texts->second, variable, line);
    } else if (name != "p" && name != "spn" && name != "s") {
        applyNumber(name, value, variable, line);
    }
}

void SymReader::applyNumber(std::string_view name, std::string_view value, SymVariable& variable,
                            unsigned line) {
    baseSignalDef_t& record = variable.signal.common();
    auto number = parseNumber<double>(value);
    if (name == "d") {
        variable.initial = number; // of other types than numbers it is a text
        return;
    }
    if (!number || !std::isfinite(*number)) {
        return notes.error(line, "/" + std::string(name) + " of signal " + record.signal + " ignored: \"" +
                                     std::string(value) + "\" is no number");
    }
    if (name == "f") {
        record.scale = *number;
    } else if (name == "o") {
        record.offset = *number;
    } else if (name == "min") {
        variable.layout.minimum = number;
    } else if (name == "max") {
        variable.layout.maximum = number;
    } else {
        notes.dropped(line, "/" + std::string(name) + " of signal " + record.signal + " ignored: unknown");
    }
}

void SymReader::takeTexts(const Enum& source, SymVariable& variable, unsigned line) {
    baseSignalDef_t& record = variable.signal.common();
    if (!expansion.take(source.bytes)) {
        return notes.dropped(line, "signal " + record.signal + " has no value texts: the file has too many");
    }
    record.valueDescriptions = source.texts;
    variable.bytes = Expansion::object + source.bytes;
}

void SymReader::noteWrong(const SymStatement& statement, const char* expected) {
    notes.error(statement.line, statement.key + " ignored: expected " + expected);
}

} // namespace rksignal
