#include "output/RowFormat.h"

#include "input/GPSSignal.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

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
      noText(syntax.quote("")) {
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

void RowFormat::setMessage(const MessageInfo& message) {
    common.assign(syntax.open);
    appendTime(common, syntax, time, message.timestamp);
    appendOrigin(common, syntax, message.origin);
}

void RowFormat::setOrigin(const MessageOrigin& origin) {
    common.assign(syntax.open).append(noneText());
    appendOrigin(common, syntax, origin);
}

void RowFormat::write(const SignalCells& cells, signalValue_t type, const ValueSample& sample,
                      std::optional<std::uint64_t> count) {
    out.append(common);
    out.append(cells.head());
    writeValue(sample.value);
    out.append(cells.unit());
    writeRawCell(sample.raw, type);
    out.append(syntax.text);
    cells.appendText(sample.raw, out);
    if (count) {
        out.append(syntax.count);
        writeInteger(*count);
    }
    out.append(syntax.close);
    out.endRow();
}

void RowFormat::writeWithoutValue(const SignalCells& cells) {
    for (const std::string_view part : {std::string_view(common), std::string_view(cells.head()), noneText(),
                                        std::string_view(cells.unit()), noneText(), syntax.text,
                                        std::string_view(cells.none()), syntax.close}) {
        out.append(part);
    }
    out.endRow();
}

void RowFormat::writeValue(double value) {
    if (syntax.json && !std::isfinite(value)) {
        out.append("null");
    } else {
        out.advance(writeDouble(out.reserve(maxNumberText), value));
    }
}

void RowFormat::writeRawCell(std::uint64_t raw, signalValue_t type) {
    const bool quoted = syntax.json && (type == signalValue_t::Float || type == signalValue_t::Double);
    out.append(quoted ? "\"" : "");
    out.advance(writeRaw(out.reserve(maxNumberText), raw, type));
    out.append(quoted ? "\"" : "");
}

void RowFormat::writeInteger(std::uint64_t value) {
    out.advance(writeRaw(out.reserve(maxNumberText), value, signalValue_t::Unsigned));
}

} // namespace rksignal
