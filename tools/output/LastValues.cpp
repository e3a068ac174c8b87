#include "output/LastValues.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t columnCount = 9;
using TableRow = std::array<std::string, columnCount>;

constexpr std::array<bool, columnCount> rightAligned = {false, true,  false, true, false,
                                                        true,  false, true,  true};

/// Characters, not bytes, of UTF-8 text.
std::size_t width(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

std::string rawText(std::uint64_t raw, signalValue_t type) {
    char text[maxNumberText];
    return {text, writeRaw(text, raw, type)};
}

/// A text of a definition on one line.
std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char byte) { return byte < ' '; }, ' ');
    return text;
}

TableRow tableRow(BaseSignal& signal, std::uint64_t count, const MessageOrigin& origin,
                  const TimeFormat& times) {
    const ValueSample sample = ValueSample::of(signal);
    return {oneLine(signal.def.instance),
            doubleText(sample.value),
            oneLine(signal.def.unit),
            rawText(sample.raw, signal.def.type),
            oneLine(signal.getValueDescription(sample.raw)),
            origin.channel ? std::to_string(*origin.channel) : "",
            std::string(kindName(origin.kind)),
            timeText(sample.timestamp, times),
            std::to_string(count)};
}

void writeTableRow(const TableRow& row, const std::array<std::size_t, columnCount>& widths,
                   OutputBuffer& out) {
    std::string line;
    for (std::size_t i = 0; i < columnCount; ++i) {
        const std::string padding(widths[i] - width(row[i]), ' ');
        line += i == 0 ? "" : "  ";
        line += rightAligned[i] ? padding + row[i] : row[i] + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out.append(line + '\n');
    out.endRow();
}

} // namespace

LastValues::LastValues(const Catalog& catalog, std::vector<bool> selected, const TimeFormat& times)
    : catalog(catalog), selected(std::move(selected)), times(times), tallies(catalog.signals().size()) {}

void LastValues::written(const MessageInfo& message, std::span<const unsigned long> ids) {
    for (const unsigned long id : ids) {
        Tally& tally = tallies[catalog.indexOf(id)];
        ++tally.count;
        tally.origin = message.origin;
    }
}

void LastValues::signalsAdded() {
    for (std::size_t i = tallies.size(); i < catalog.signals().size(); ++i) {
        selected.push_back(selected[catalog.definedSignal(i)]);
        tallies.emplace_back();
    }
}

template <class Function>
void LastValues::forEachSeen(Function&& function) const {
    for (std::size_t i = 0; i < tallies.size(); ++i) {
        BaseSignal& signal = *catalog.signals()[i];
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (selected[i] && tallies[i].count > 0 && signal.read(raw, timestamp)) {
            function(signal, tallies[i]);
        }
    }
}

void LastValues::writeRows(const RowSyntax& syntax, OutputBuffer& out) const {
    RowFormat format(syntax, out, times);
    out.append(syntax.countHeader);
    forEachSeen([&](BaseSignal& signal, const Tally& tally) {
        const ValueSample sample = ValueSample::of(signal);
        format.setMessage({sample.timestamp, tally.origin});
        format.write(SignalCells(signal, syntax), signal.def.type, sample, tally.count);
    });
}

void LastValues::writeTable(OutputBuffer& out) const {
    std::vector<TableRow> rows{
        {"instance", "value", "unit", "raw", "text", "channel", "bus", "time", "count"}};
    forEachSeen([&](BaseSignal& signal, const Tally& tally) {
        rows.push_back(tableRow(signal, tally.count, tally.origin, times));
    });
    std::array<std::size_t, columnCount> widths{};
    for (const TableRow& row : rows) {
        for (std::size_t i = 0; i < columnCount; ++i) {
            widths[i] = std::max(widths[i], width(row[i]));
        }
    }
    for (const TableRow& row : rows) {
        writeTableRow(row, widths, out);
    }
}

} // namespace rksignal
