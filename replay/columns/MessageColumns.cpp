// The layout Message: a table a message, a row a frame.

#include "columns/ColumnMetadata.h"
#include "columns/ColumnSet.h"
#include "columns/ColumnSink.h"
#include "columns/SignalCells.h"
#include "definition/FreeNames.h"

#include <algorithm>
#include <deque>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace rksignal {
namespace {

/// Names, each given once.
class GivenNames {
  public:
    std::string give(const std::string& wanted) {
        return *given.insert(free.find(wanted, [this](const auto& name) { return has(name); })).first;
    }
    bool has(const std::string& name) const { return given.contains(name); }

  private:
    std::unordered_set<std::string> given;
    FreeNames free;
};

struct MessageTable {
    explicit MessageTable(const MessageDefinition& message)
        : columns(messageMetadata(message)),
          time(columns.add({.name = names.give("time"), .type = CellType::Time})),
          channel(columns.add({.name = names.give("channel"), .type = CellType::UInt8, .isNullable = true})) {
    }

    GivenNames names; ///< of columns
    ColumnSet columns;
    std::size_t time, channel;
    std::uint64_t message = 0; ///< number of the message of the last row
    bool isOpen = false;       ///< the row has got a value
    bool isComplete = false;   ///< waits to be taken
};

/// Where the values of a signal go.
struct Place {
    MessageTable* table;
    std::size_t number; ///< of the table
    SignalCells cells;
};

class MessageColumns final : public ColumnSink {
  public:
    explicit MessageColumns(ColumnChoice choice)
        : catalog(choice.catalog), wanted(std::move(choice.wanted)),
          batchRows(std::max<std::size_t>(choice.settings.batchRows, 1)), cells{choice.settings.raw.value_or(
                                                                                    false),
                                                                                choice.settings.text} {
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            add(i);
        }
    }

    const std::vector<ColumnTable>& tables() const override { return all; }
    void schema(std::size_t table, ArrowSchema& out) const override { contents[table].columns.schema(out); }

    void reached(std::uint64_t /*timestamp*/) override { ++messages; }
    void signalsAdded() override {
        for (std::size_t i = wanted.size(); i < catalog.signals().size(); ++i) {
            wanted.push_back(wanted[catalog.definedSignal(i)]);
            add(i);
        }
    }
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override {
        for (const unsigned long id : ids) {
            if (Place* const place = places[catalog.indexOf(id)]) {
                open(*place);
                place->cells.put(place->table->columns);
            }
        }
        closeRows(message);
    }
    /// A message that gives the signals of a table nothing but takes away has a row too.
    void withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) override {
        for (const unsigned long id : ids) {
            Place* const place = places[catalog.indexOf(id)];
            if (place != nullptr && place->table->message != messages) {
                open(*place);
            }
        }
        closeRows(message);
    }

    bool closed() const override { return !complete.empty(); }
    void finish() override {
        for (std::size_t table = 0; table < contents.size(); ++table) {
            if (contents[table].columns.rows() > 0) {
                setComplete(table);
            }
        }
    }
    std::optional<std::size_t> takeComplete(ArrowArray& out) override {
        if (complete.empty()) {
            return {};
        }
        const std::size_t table = complete.front();
        complete.pop_front();
        ColumnSet& columns = contents[table].columns;
        waitingBytes -= columns.rows() * columns.rowBytes();
        contents[table].isComplete = false;
        columns.take(out);
        return table;
    }

  private:
    void add(std::size_t index) {
        places.push_back(nullptr);
        const std::size_t sender = instances[catalog.definedSignal(index)]++;
        if (!wanted[index]) {
            return;
        }
        const std::size_t number = tableOf(index, sender);
        MessageTable& table = contents[number];
        BaseSignal& signal = *catalog.signals()[index];
        const std::string& shortName = signal.def.signal;
        const bool isFree = !shortName.empty() && !table.names.has(shortName);
        const auto nameFor = [&table](const std::string& name) { return table.names.give(name); };
        places.back() = &filled.emplace_back(Place{
            &table, number,
            SignalCells(signal, catalog.origin(index).definition(),
                        nameFor(isFree ? shortName : signal.def.instance), cells, table.columns, nameFor)});
        all[number].signals.push_back(index);
    }

    /// The instances of a signal come in the order of senders: the nth of each belongs into the nth table of
    /// the message.
    std::size_t tableOf(std::size_t index, std::size_t sender) {
        const MessageDefinition& message = *catalog.origin(index).message;
        const auto [number, isNew] = numbersOf.try_emplace({&message, sender}, contents.size());
        if (isNew) {
            contents.emplace_back(message);
            all.push_back({tableName(message, index), &message, {}});
        }
        return number->second;
    }

    std::string tableName(const MessageDefinition& message, std::size_t index) {
        const std::size_t defined = catalog.definedSignal(index);
        const auto nameOf = [this](std::size_t signal) { return catalog.signals()[signal]->def.instance; };
        std::string name = message.name.empty() ? std::string(kindName(message.kind)) : message.name;
        if (index != defined) {
            return names.give(name + nameOf(index).substr(nameOf(defined).size()));
        }
        return names.give(names.has(name) && message.channel ? name + "@" + std::to_string(*message.channel)
                                                             : name);
    }

    void open(const Place& place) {
        if (!place.table->isOpen) {
            place.table->isOpen = true;
            begun.push_back(place.number);
        }
    }

    void closeRows(const MessageInfo& message) {
        for (const std::size_t number : begun) {
            MessageTable& table = contents[number];
            table.columns.put(table.time, message.timestamp);
            if (message.origin.channel) {
                table.columns.put(table.channel, *message.origin.channel);
            }
            table.columns.endRow();
            table.message = messages;
            table.isOpen = false;
            waitingBytes += table.columns.rowBytes();
            if (table.columns.rows() >= batchRows) {
                setComplete(number);
            }
        }
        begun.clear();
        if (waitingBytes > maxWaitingBytes && complete.empty()) {
            setComplete(largest());
        }
    }

    std::size_t largest() const {
        const auto bytes = [](const MessageTable& table) {
            return table.columns.rows() * table.columns.rowBytes();
        };
        return static_cast<std::size_t>(std::ranges::max_element(contents, {}, bytes) - contents.begin());
    }

    void setComplete(std::size_t table) {
        if (!std::exchange(contents[table].isComplete, true)) {
            complete.push_back(table);
        }
    }

    const Catalog& catalog;
    std::vector<bool> wanted;
    std::size_t batchRows;
    SignalCells::Choice cells;
    std::vector<ColumnTable> all;
    std::deque<MessageTable> contents; ///< as `all`; they stay where they are
    GivenNames names;                  ///< of tables
    std::map<std::pair<const MessageDefinition*, std::size_t>, std::size_t>
        numbersOf;                                          ///< tables, with sender
    std::unordered_map<std::size_t, std::size_t> instances; ///< of defined signals, so far
    std::vector<Place*> places;                             ///< by index in the catalog; null: not wanted
    std::deque<Place> filled;
    std::vector<std::size_t> begun;   ///< tables with a row that has been begun
    std::deque<std::size_t> complete; ///< tables, in the order in which they are given out
    std::size_t waitingBytes = 0;
    std::uint64_t messages = 0;
};

} // namespace

std::unique_ptr<ColumnSink> makeMessageColumns(ColumnChoice choice) {
    return std::make_unique<MessageColumns>(std::move(choice));
}

} // namespace rksignal
