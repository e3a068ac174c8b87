#include "output/RowFormat.h"

#include "bus/CANSignal.h"
#include "input/GPSSignal.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <typeinfo>

namespace rksignal {
namespace {

std::string quoteCsv(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == text.npos) {
        return std::string(text);
    }
    std::string quoted = "\"";
    for (const char character : text) {
        quoted.append(character == '"' ? 2 : 1, character);
    }
    return quoted + '"';
}

std::string quoteJson(std::string_view text) {
    using nlohmann::json;
    return json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace

const RowSyntax csvSyntax{"time,channel,bus,instance,value,unit,raw,text\n",
                          "time,channel,bus,instance,value,unit,raw,text,count\n",
                          "",
                          ",",
                          ",",
                          ",",
                          ",",
                          ",",
                          ",",
                          ",",
                          ",",
                          "\n",
                          quoteCsv,
                          false};

const RowSyntax jsonSyntax{
    "",           "",          "{\"time\":", ",\"channel\":", ",\"bus\":", ",\"instance\":", ",\"value\":",
    ",\"unit\":", ",\"raw\":", ",\"text\":", ",\"count\":",   "}\n",       quoteJson,        true};

SignalCells::SignalCells(const BaseSignal& signal, const RowSyntax& syntax)
    : computing(dynamic_cast<const GPSSignal*>(&signal)), quote(syntax.quote),
      instance(std::string(syntax.instance) + syntax.quote(signal.def.instance) + std::string(syntax.value)),
      unitToRaw(std::string(syntax.unit) + syntax.quote(signal.def.unit) + std::string(syntax.raw)),
      noText(syntax.quote("")), isPlain(typeid(signal) == typeid(CANSignal)) {
    for (const auto& [raw, text] : signal.def.valueDescriptions) {
        texts.emplace_back(raw, syntax.quote(text));
    }
}

std::string_view SignalCells::text(std::uint64_t raw) const {
    const auto entry =
        std::lower_bound(texts.begin(), texts.end(), raw, [](const auto& candidate, std::uint64_t wanted) {
            return candidate.first < wanted;
        });
    return entry != texts.end() && entry->first == raw ? entry->second : noText;
}

void SignalCells::appendText(std::uint64_t raw, OutputBuffer& out) const {
    if (computing != nullptr) {
        out.append(quote(computing->getValueDescription(raw)));
    } else {
        out.append(text(raw));
    }
}

void appendTime(std::string& row, const RowSyntax& syntax, TimeText& time, std::uint64_t timestamp) {
    char text[maxNumberText];
    char* const end = time.write(text, timestamp);
    const std::string_view quote = syntax.json && time.isText() ? "\"" : "";
    row.append(quote).append(&text[0], end).append(quote);
}

void appendOrigin(std::string& row, const RowSyntax& syntax, const std::optional<MessageOrigin>& origin) {
    const std::string_view none = syntax.json ? "null" : "";
    const std::string_view quote = syntax.json ? "\"" : "";
    row += syntax.channel;
    if (origin && origin->channel) {
        char text[maxNumberText];
        row.append(text, writeRaw(text, *origin->channel, signalValue_t::Unsigned));
    } else {
        row += none;
    }
    row += syntax.bus;
    if (origin) {
        row.append(quote).append(kindName(origin->kind)).append(quote);
    } else {
        row += none;
    }
}

ValueSample ValueSample::of(BaseSignal& signal) {
    ValueSample sample{};
    signal.read(sample.raw, sample.timestamp);
    signal.read(sample.value, sample.timestamp);
    return sample;
}

/// Messages of one origin follow each other, so its cells are kept.
void RowFormat::setMessage(const MessageInfo& message) {
    if (!latest || latest->channel != message.origin.channel || latest->kind != message.origin.kind) {
        latest = message.origin;
        parts.clear();
        appendOrigin(parts, syntax, message.origin);
        origin.set(parts);
    }
    const bool isQuoted = syntax.json && time.isText();
    char* at = common.start(syntax.open.size() + maxNumberText + 2 + origin.size());
    at += syntax.open.copy(at, syntax.open.size());
    if (isQuoted) {
        *at++ = '"';
    }
    at = time.write(at, message.timestamp);
    if (isQuoted) {
        *at++ = '"';
    }
    common.end(origin.copyTo(at));
}

void RowFormat::setOrigin(const MessageOrigin& messageOrigin) {
    parts.assign(syntax.open).append(noneText());
    appendOrigin(parts, syntax, messageOrigin);
    common.set(parts);
}

void RowFormat::write(const SignalCells& cells, signalValue_t type, const ValueSample& sample,
                      std::optional<std::uint64_t> count) {
    out.append(common.view());
    out.append(cells.head().view());
    out.advance(writeValue(out.reserve(maxNumberText), sample.value));
    out.append(cells.unit().view());
    out.advance(writeRawCell(out.reserve(maxNumberText), sample.raw, type));
    out.append(syntax.text);
    cells.appendText(sample.raw, out);
    if (count) {
        out.append(syntax.count);
        out.advance(writeRaw(out.reserve(maxNumberText), *count, signalValue_t::Unsigned));
    }
    out.append(syntax.close);
    out.endRow();
}

void RowFormat::writeWithoutValue(const SignalCells& cells) {
    for (const std::string_view part :
         {common.view(), cells.head().view(), noneText(), cells.unit().view(), noneText(), syntax.text,
          std::string_view(cells.none()), syntax.close}) {
        out.append(part);
    }
    out.endRow();
}

/// What stands behind the head follows from the raw value, and is kept for the next row with that value.
void RowFormat::write(const SignalCells& cells, BaseSignal& signal, RowEndings& endings) {
    const std::size_t room = common.size() + cells.head().size() + RowEndings::longest + PaddedText::block;
    if (!keepsEndings || !PreparedRow::canPrepare(cells, signal) || room > OutputBuffer::mostReserved) {
        return write(cells, signal.def.type, ValueSample::of(signal));
    }
    ValueSample sample{};
    signal.read(sample.raw, sample.timestamp);
    const RowEndings::Ending* const known = endings.find(sample.raw);
    char made[longestEnding];
    std::string_view text;
    if (known == nullptr) {
        signal.read(sample.value, sample.timestamp);
        text = makeEnding(cells, signal.def.type, sample, made);
        if (text.empty()) {
            return write(cells, signal.def.type, sample);
        }
    }
    char* at = cells.head().copyTo(common.copyTo(out.reserve(room)));
    if (known != nullptr) {
        std::memcpy(at, known->text.data(), RowEndings::longest);
        out.advance(at + known->length);
    } else {
        out.advance(at);
        out.append(text);
        endings.keep(sample.raw, text, budget);
    }
    out.endRow();
}

void RowFormat::write(std::span<const PreparedRow> rows) {
    const std::string_view start = common.view();
    const std::size_t others = start.size() + RowEndings::longest + PaddedText::block;
    char* at = out.reserve(OutputBuffer::mostReserved);
    const char* end = at + OutputBuffer::mostReserved;
    for (const PreparedRow& row : rows) {
        const RowEndings::Ending* const ending = row.endings->find(*row.raw);
        const std::size_t room = others + row.head.size();
        if (ending == nullptr || room > static_cast<std::size_t>(end - at)) [[unlikely]] {
            out.advance(at);
            out.endRow();
            write(*row.cells, *row.signal, *row.endings);
            at = out.reserve(OutputBuffer::mostReserved);
            end = at + OutputBuffer::mostReserved;
            continue;
        }
        at = PaddedText::copy(row.head, PaddedText::copy(start, at));
        std::memcpy(at, ending->text.data(), RowEndings::longest);
        at += ending->length;
    }
    out.advance(at);
    out.endRow();
}

/// Everything behind the head, at `text`, which has room for `longestEnding`. \return empty if it is longer
std::string_view RowFormat::makeEnding(const SignalCells& cells, signalValue_t type,
                                       const ValueSample& sample, char* text) const {
    const std::string_view description = cells.text(sample.raw);
    constexpr std::size_t others = 3 * maxNumberText + PaddedText::block; // with what stands around numbers
    if (cells.unit().size() + description.size() + others > longestEnding) {
        return {};
    }
    const auto append = [](char* at, std::string_view piece) {
        if (piece.size() == 1) { // as what stands around the cells of CSV
            *at = piece.front();
            return at + 1;
        }
        return at + piece.copy(at, piece.size());
    };
    char* at = cells.unit().copyTo(writeValue(text, sample.value));
    at = append(writeRawCell(at, sample.raw, type), syntax.text);
    at = append(append(at, description), syntax.close);
    return {text, at};
}

char* RowFormat::writeValue(char* at, double value) const {
    constexpr std::string_view none = "null";
    return syntax.json && !std::isfinite(value) ? at + none.copy(at, none.size()) : writeDouble(at, value);
}

/// Takes at most `maxNumberText`: in quotes is only what has 18 characters.
char* RowFormat::writeRawCell(char* at, std::uint64_t raw, signalValue_t type) const {
    const bool isQuoted = syntax.json && (type == signalValue_t::Float || type == signalValue_t::Double);
    if (isQuoted) {
        *at++ = '"';
    }
    at = writeRaw(at, raw, type);
    if (isQuoted) {
        *at++ = '"';
    }
    return at;
}

} // namespace rksignal
