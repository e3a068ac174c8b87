#include "definition/ldf/LdfParser.h"

#include "definition/Expansion.h"
#include "text/ParseNumber.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>
#include <utility>

namespace rksignal {

const LdfParser::Section LdfParser::sections[] = {
    {"Nodes", &LdfParser::readNode},
    {"Signals", &LdfParser::readSignal},
    {"Diagnostic_signals", &LdfParser::readSignal},
    {"Signal_groups", &LdfParser::readGroup},
    {"Frames", &LdfParser::readFrame},
    {"Diagnostic_frames", &LdfParser::readFrame},
    {"Event_triggered_frames", &LdfParser::readEventFrame},
    {"Signal_encoding_types", &LdfParser::readEncoding},
    {"Signal_representation", &LdfParser::readRepresentation},
    {"Schedule_tables", &LdfParser::readSchedule},
    {"Sporadic_frames", nullptr}, // their frames have identifiers of their own
    {"Node_attributes", nullptr},
    {"Diagnostic_addresses", nullptr},
    {"composite", nullptr},
};

LdfStatements LdfParser::read() {
    while (!lexer.peek().isEnd()) {
        readSection();
    }
    return std::move(statements);
}

/// `Name { ... }`, or a line of the head as `LIN_speed = 19.2 kbps;`.
void LdfParser::readSection() {
    const LdfToken name = lexer.take();
    if (!lexer.peek().is('{')) {
        if (!name.isWord()) {
            notes.error(name.line, "expected a section");
        }
        return skipEntry();
    }
    const auto* const section = std::find_if(std::begin(sections), std::end(sections),
                                             [&](const Section& each) { return name.is(each.name); });
    if (section == std::end(sections)) {
        notes.dropped(name.line, "section " + std::string(name.text) + " is unknown, and not read");
        return skipBlock();
    }
    if (section->readEntry == nullptr) {
        return skipBlock();
    }
    lexer.take();
    readEntries(section->readEntry);
}

void LdfParser::readEntries(ReadEntry readEntry) {
    while (!lexer.peek().is('}')) {
        if (lexer.peek().isEnd()) {
            return notes.error(lexer.peek().line, "a bracket is not closed");
        }
        ok = true;
        (this->*readEntry)();
        if (!ok) {
            skipEntry();
        }
    }
    lexer.take();
}

/// `Master: node, time base, jitter;` or `Slaves: node...;`
void LdfParser::readNode() {
    const bool isMaster = lexer.take().is("Master");
    expect(':');
    const std::string_view first = ok && isMaster ? word() : std::string_view();
    if (ok) {
        statements.master = isMaster ? first : statements.master;
        skipEntry();
    }
}

void LdfParser::readSignal() {
    LdfSignal signal;
    signal.line = lexer.peek().line;
    signal.name = word();
    expect(':');
    signal.bits = integer();
    expect(',');
    readInitial(signal);
    std::vector<std::string_view> nodes = words();
    if (!ok) {
        return;
    }
    if (!nodes.empty()) {
        signal.publisher = nodes.front();
        signal.subscribers.assign(nodes.begin() + 1, nodes.end());
    }
    statements.signals.push_back(std::move(signal));
}

/// A number, or the bytes of an array in brackets.
void LdfParser::readInitial(LdfSignal& signal) {
    if (!ok || !lexer.accept('{')) {
        signal.initial = integer();
        return;
    }
    constexpr unsigned bytes = 8;
    std::uint64_t value = 0;
    unsigned count = 0;
    do {
        const std::uint64_t byte = integer();
        value |= count < bytes ? byte << (8 * count) : 0;
        ++count;
    } while (ok && lexer.accept(','));
    expect('}');
    signal.initial = value;
}

void LdfParser::readGroup() {
    LdfGroup group;
    group.name = word();
    expect(':');
    integer();
    group.signals = readPlaces();
    if (ok) {
        statements.groups.push_back(std::move(group));
    }
}

void LdfParser::readFrame() {
    LdfFrame frame;
    frame.line = lexer.peek().line;
    frame.name = word();
    expect(':');
    frame.id = integer();
    if (ok && lexer.accept(',')) {
        frame.publisher = word();
    }
    if (ok && lexer.accept(',')) {
        frame.length = integer();
    }
    frame.signals = readPlaces();
    if (ok) {
        statements.frames.push_back(std::move(frame));
    }
}

/// `{ name, offset; ... }`. A place that is not understood costs only itself.
std::vector<LdfPlace> LdfParser::readPlaces() {
    std::vector<LdfPlace> places;
    expect('{');
    while (ok && !lexer.peek().is('}') && !lexer.peek().isEnd()) {
        LdfPlace place;
        place.line = lexer.peek().line;
        place.name = word();
        expect(',');
        place.offset = integer();
        expect(';');
        if (ok) {
            places.push_back(place);
        } else {
            skipEntry();
            ok = true;
        }
    }
    expect('}');
    return places;
}

void LdfParser::readEventFrame() {
    LdfEventFrame frame;
    frame.line = lexer.peek().line;
    frame.name = word();
    expect(':');
    if (ok && !ldfInteger(lexer.peek().text)) { // the schedule that resolves collisions
        word();
        expect(',');
    }
    frame.id = integer();
    frame.frames = words();
    if (ok) {
        statements.eventFrames.push_back(std::move(frame));
    }
}

void LdfParser::readEncoding() {
    LdfEncoding encoding;
    encoding.line = lexer.peek().line;
    encoding.name = word();
    expect('{');
    while (ok && !lexer.peek().is('}') && !lexer.peek().isEnd()) {
        readEncodingValue(encoding);
        if (!ok) {
            skipEntry();
            ok = true;
        }
    }
    expect('}');
    if (ok) {
        statements.encodings.push_back(std::move(encoding));
    }
}

void LdfParser::readEncodingValue(LdfEncoding& encoding) {
    const LdfToken kind = lexer.peek();
    if (kind.is("physical_value")) {
        lexer.take();
        readPhysicalRange(encoding);
    } else if (kind.is("logical_value")) {
        lexer.take();
        expect(',');
        const std::uint64_t value = integer();
        const std::string_view text = ok && lexer.accept(',') ? lexer.take().text : std::string_view();
        expect(';');
        if (ok) {
            encoding.values.emplace_back(value, text);
            encoding.bytes += Expansion::entry(text);
        }
    } else if (kind.is("bcd_value") || kind.is("ascii_value")) {
        lexer.take();
        (kind.is("bcd_value") ? encoding.isBcd : encoding.isAscii) = true;
        expect(';');
    } else {
        fail("physical_value, logical_value, bcd_value or ascii_value");
    }
}

void LdfParser::readPhysicalRange(LdfEncoding& encoding) {
    LdfPhysicalRange range;
    expect(',');
    range.first = integer();
    expect(',');
    range.last = integer();
    expect(',');
    range.scale = number();
    expect(',');
    range.offset = number();
    if (ok && lexer.accept(',')) {
        range.unit = lexer.take().text;
    }
    expect(';');
    if (ok) {
        encoding.ranges.push_back(range);
        encoding.bytes += sizeof range;
    }
}

void LdfParser::readRepresentation() {
    LdfRepresentation representation;
    representation.line = lexer.peek().line;
    representation.encoding = word();
    expect(':');
    if (ok) {
        representation.signals.push_back(word());
    }
    const std::vector<std::string_view> more = words();
    if (ok) {
        representation.signals.insert(representation.signals.end(), more.begin(), more.end());
        statements.representations.push_back(std::move(representation));
    }
}

void LdfParser::readSchedule() {
    LdfSchedule schedule;
    bool isWhole = true;
    word();
    expect('{');
    while (ok && !lexer.peek().is('}') && !lexer.peek().isEnd()) {
        readCommand(schedule);
        if (!ok) {
            skipEntry();
            isWhole = false;
            ok = true;
        }
    }
    expect('}');
    if (ok && isWhole) {
        statements.schedules.push_back(std::move(schedule));
    }
}

/// `frame delay 10 ms;` or a command of configuration, `AssignNAD { ... } delay 10 ms;`.
void LdfParser::readCommand(LdfSchedule& schedule) {
    const std::string_view name = word();
    const bool isFrame = !lexer.peek().is('{');
    if (!isFrame) {
        skipBlock();
    }
    if (ok && !lexer.peek().is("delay")) {
        fail("delay");
    }
    if (!ok) {
        return;
    }
    lexer.take();
    schedule.milliseconds += number();
    if (lexer.peek().is("ms")) {
        lexer.take();
    }
    expect(';');
    if (isFrame) {
        schedule.frames.push_back(name);
    }
}

std::string_view LdfParser::word() {
    if (ok && !lexer.peek().isWord()) {
        fail("a name");
    }
    return ok ? lexer.take().text : std::string_view();
}

std::uint64_t LdfParser::integer() {
    const auto value = ok ? ldfInteger(lexer.peek().text) : std::nullopt;
    if (!value) {
        fail("an integer");
        return 0;
    }
    lexer.take();
    return *value;
}

double LdfParser::number() {
    std::string_view text = lexer.peek().text;
    text.remove_prefix(text.starts_with('+') ? 1 : 0);
    const auto value = ok ? parseNumber<double>(text) : std::nullopt;
    if (!value || !std::isfinite(*value)) {
        fail("a number");
        return 0;
    }
    lexer.take();
    return *value;
}

std::vector<std::string_view> LdfParser::words() {
    std::vector<std::string_view> list;
    while (ok && lexer.accept(',')) {
        list.push_back(word());
    }
    expect(';');
    return list;
}

void LdfParser::expect(char sign) {
    if (ok && !lexer.accept(sign)) {
        fail((std::string(1, '\'') + sign + '\'').c_str());
    }
}

/// Says what is wrong with the entry, once.
void LdfParser::fail(const char* expected) {
    if (ok) {
        constexpr std::size_t longest = 40; // that is shown
        const LdfToken& found = lexer.peek();
        notes.error(found.line,
                    std::string("expected ") + expected + ", found " +
                        (found.isEnd() ? "the end" : "'" + std::string(found.text.substr(0, longest)) + "'"));
    }
    ok = false;
}

/// Up to the `;` that ends the entry or the block that it has, but not past the bracket around it.
void LdfParser::skipEntry() {
    while (!lexer.peek().isEnd() && !lexer.peek().is('}')) {
        if (lexer.peek().is('{')) {
            return skipBlock();
        }
        if (lexer.take().is(';')) {
            return;
        }
    }
}

/// A block in brackets, with those in it.
void LdfParser::skipBlock() {
    std::size_t depth = 0;
    do {
        const LdfToken token = lexer.take();
        if (token.isEnd()) {
            return notes.error(token.line, "a bracket is not closed");
        }
        depth += token.is('{') ? 1 : 0;
        depth -= token.is('}') ? 1 : 0;
    } while (depth != 0);
}

} // namespace rksignal
