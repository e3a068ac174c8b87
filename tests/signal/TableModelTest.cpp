/// \file
/// The table of identifiers and the frame table behave as the ordered map that they stand in for.
#include "signal/FrameTable.h"
#include "signal/SignalTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using List = std::vector<int*>;
using MapModel = std::map<std::uint64_t, List>;

int one, two;

bool sameEntry(const auto& left, const auto& right) {
    return left.first == right.first && left.second == right.second;
}

/// One random change, made to both.
template <class Table>
void changeBoth(Table& table, MapModel& model, std::uint64_t key, std::mt19937_64& random) {
    const typename Table::value_type entry{key, List(random() % 3, &one)};
    const std::uint64_t operation = random() % 9;
    if (operation < 4) {
        const bool inserted = model.insert(entry).second;
        const auto [position, done] = operation == 0   ? table.insert(entry)
                                      : operation == 1 ? table.insert({key, entry.second})
                                      : operation == 2 ? table.emplace(key, entry.second)
                                                       : table.try_emplace(key, entry.second);
        EXPECT_EQ(done, inserted);
        EXPECT_TRUE(sameEntry(*position, *model.find(key)));
    } else if (operation == 4) {
        table[key] = model[key] = entry.second;
    } else if (operation == 5 && model.contains(key)) {
        const auto next = table.erase(table.find(key));
        const auto expected = model.erase(model.find(key));
        ASSERT_EQ(next == table.end(), expected == model.end());
        EXPECT_TRUE(next == table.end() || sameEntry(*next, *expected));
    } else if (operation == 6) {
        EXPECT_EQ(table.erase(key), model.erase(key));
    } else if constexpr (requires { table.file(key, &one); }) {
        if (operation == 7) {
            table.file(key, &one);
            model[key].push_back(&one);
        } else if (model.contains(key)) {
            int* const gone = random() % 2 != 0 ? &one : &two;
            table.unfile(key, gone);
            if constexpr (std::is_same_v<Table, FrameTable<int>>)
                std::erase(model[key], gone);
            else if (const auto first = std::ranges::find(model[key], gone); first != model[key].end())
                model[key].erase(first); // once
            else
                return;
            if (model[key].empty())
                model.erase(key);
        }
    }
}

/// Looks `key` up in every way, and at everything.
template <class Table>
void expectSame(const Table& table, const MapModel& model, std::uint64_t key) {
    ASSERT_EQ(table.contains(key), model.contains(key)) << key;
    EXPECT_EQ(table.count(key), model.count(key));
    EXPECT_EQ(table.empty(), model.empty());
    ASSERT_EQ(table.size(), model.size());
    if (model.contains(key))
        EXPECT_TRUE(table.at(key) == model.at(key) && sameEntry(*table.find(key), *model.find(key)));
    else
        EXPECT_THROW(table.at(key), std::out_of_range);
    EXPECT_TRUE(std::equal(table.begin(), table.end(), model.begin(), model.end(),
                           [](const auto& left, const auto& right) { return sameEntry(left, right); }));
}

template <class Table>
void expectMap(const auto& keyOf) {
    Table table;
    MapModel model;
    std::mt19937_64 random(1);
    for (unsigned round = 0; round < 20'000 && !testing::Test::HasFailure(); ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        changeBoth(table, model, keyOf(round, random()), random);
        if (round % 10 == 0)
            expectSame<Table>(table, model, keyOf(round, random()));
        if (round == 10'000)
            table.clear(), model.clear();
    }
}

/// The hash index places keys by their product with 0x9E3779B97F4A7C15. Multiples of its inverse modulo 2^64
/// all fall on one place.
TEST(FrameTable, RandomOperationsAsOnAMap) {
    constexpr std::uint64_t oneRun = 0xF1DE83E19937733D;
    static_assert(oneRun * 0x9E3779B97F4A7C15 == 1);
    for (const std::uint64_t spacing : {std::uint64_t{1}, std::uint64_t{1} << 40, oneRun})
        expectMap<FrameTable<int>>([spacing](unsigned round, std::uint64_t random) {
            return (random % (round < 10'000 ? 40 : 600) - 20) * spacing;
        });
}

/// Identifiers grow; now and then one of another kind, or an old one, comes in between.
TEST(SignalTable, RandomOperationsAsOnAMap) {
    for (const unsigned range : {20U, 1'000U})
        expectMap<SignalTable<List>>([range](unsigned round, std::uint64_t random) -> std::uint64_t {
            return random % 3 == 0 ? random / 3 % range : std::uint64_t{round % 4'000} * (1 + range % 7);
        });
}

/// What only the library has filed: in a table of lists and in one of single signals, beside a map.
TEST(SignalTable, ClosedAsAMap) {
    using Lists = SignalTable<List>;
    std::mt19937_64 random(2);
    for (unsigned round = 0; round < 500 && !HasFailure(); ++round) {
        Lists lists;
        SignalTable<int*> singles;
        MapModel model, singleModel;
        for (std::uint64_t steps = random() % 300; steps != 0; --steps) {
            const std::uint64_t key = random() % 2 << 63 | random() % 150;
            int* const signal = random() % 20 != 0 ? &one : &two;
            if (const std::uint64_t operation = random() % 8; operation < 4) {
                if (round % 2 == 0 || !model.contains(key)) // a second signal opens the table
                    lists.file(key, signal), model[key].push_back(signal);
                EXPECT_EQ(singles.file(key, signal), singleModel.try_emplace(key, 1, signal).second);
            } else if (operation < 7) {
                List& list = model[key];
                const auto place = std::find(list.begin(), list.end(), signal);
                const auto expected = list.empty()          ? Lists::Unfiled::NoEntry
                                      : place == list.end() ? Lists::Unfiled::OthersOnly
                                                            : Lists::Unfiled::Done;
                EXPECT_EQ(lists.unfile(key, signal), expected);
                if (place != list.end())
                    list.erase(place);
                if (list.empty())
                    model.erase(key);
                EXPECT_EQ(singles.lookup(key), singleModel.contains(key) ? singleModel[key][0] : nullptr);
            } else {
                EXPECT_EQ(lists.erase(key), model.erase(key));
                EXPECT_EQ(singles.erase(key), singleModel.erase(key));
            }
            ASSERT_EQ(lists.size(), model.size());
            ASSERT_EQ(lists.empty(), model.empty());
        }
        const Lists copy = lists;
        EXPECT_EQ(static_cast<const MapModel&>(copy), model);
        EXPECT_EQ(lists, copy);
        EXPECT_TRUE(std::equal(singles.begin(), singles.end(), singleModel.begin(), singleModel.end(),
                               [](auto& left, auto& right) {
                                   return left.first == right.first && left.second == right.second[0];
                               }));
    }
}

} // namespace
