#include "output/LastValues.h"

#include "output/DefinitionWords.h"
#include "output/TextTable.h"

#include <string>
#include <utility>

namespace rksignal {
namespace {

std::vector<std::string> tableRow(BaseSignal& signal, std::uint64_t count, const MessageOrigin& origin,
                                  const TimeFormat& times) {
    const ValueSample sample = ValueSample::of(signal);
    return {signal.def.instance,
            doubleText(sample.value),
            signal.def.unit,
            rawText(sample.raw, signal.def.type),
            signal.getValueDescription(sample.raw),
            origin.channel ? std::to_string(*origin.channel) : "",
            std::string(kindName(origin.kind)),
            timeText(sample.timestamp, times),
            std::to_string(count)};
}

} // namespace

LastValues::LastValues(const Catalog& catalog, std::vector<bool> selected, const TimeFormat& times)
    : catalog(catalog), selected(std::move(selected)), times(times), tallies(catalog.signals().size()),
      wholes(catalog.messages().size()) {}

void LastValues::written(const MessageInfo& message, std::span<const unsigned long> ids) {
    ++turn;
    for (const unsigned long id : ids) {
        Tally& tally = tallies[catalog.indexOf(id)];
        ++tally.count;
        tally.origin = message.origin;
        tally.turn = turn;
        tally.block = block;
    }
}

/// Most values: counted once a message.
void LastValues::writtenWhole(const MessageInfo& message, std::size_t number,
                              std::span<const unsigned long> ids) {
    Whole& whole = wholes[number];
    whole.ids = ids;
    ++whole.tally.count;
    whole.tally.origin = message.origin;
    whole.tally.turn = ++turn;
    whole.tally.block = block;
}

std::vector<LastValues::Tally> LastValues::allTallies() const {
    std::vector<Tally> all = tallies;
    for (const Whole& whole : wholes) {
        for (const unsigned long id : whole.ids) {
            Tally& tally = all[catalog.indexOf(id)];
            const std::uint64_t count = tally.count + whole.tally.count;
            if (whole.tally.turn > tally.turn) {
                tally = whole.tally;
            }
            tally.count = count;
        }
    }
    return all;
}

void LastValues::signalsAdded() {
    for (std::size_t i = tallies.size(); i < catalog.signals().size(); ++i) {
        selected.push_back(selected[catalog.definedSignal(i)]);
        tallies.emplace_back();
    }
}

void LastValues::add(const LastValues& others) {
    tallies = allTallies();
    wholes.assign(wholes.size(), {});
    const std::vector<Tally> added = others.allTallies();
    for (std::size_t i = 0; i < tallies.size(); ++i) {
        Tally& tally = tallies[i];
        const Tally& other = added[i];
        const std::uint64_t count = tally.count + other.count;
        if (other.count > 0 && (tally.count == 0 || other.block > tally.block)) {
            tally = other;
            tally.other = others.catalog.signals()[i].get();
        }
        tally.count = count;
    }
}

template <class Function>
void LastValues::forEachSeen(Function&& function) const {
    const std::vector<Tally> all = allTallies();
    for (std::size_t i = 0; i < all.size(); ++i) {
        BaseSignal& signal = all[i].other != nullptr ? *all[i].other : *catalog.signals()[i];
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (selected[i] && all[i].count > 0 && signal.read(raw, timestamp)) {
            function(signal, all[i]);
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
    TextTable table({{"instance"},
                     {"value", true},
                     {"unit"},
                     {"raw", true},
                     {"text"},
                     {"channel", true},
                     {"bus"},
                     {"time", true},
                     {"count", true}});
    forEachSeen([&](BaseSignal& signal, const Tally& tally) {
        table.add(tableRow(signal, tally.count, tally.origin, times));
    });
    table.write(out);
}

} // namespace rksignal
