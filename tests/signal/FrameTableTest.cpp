/// \file
/// The frame table behaves as the ordered map that it stands in for.
#include "signal/FrameTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using Table = FrameTable<int>;
using Model = std::map<std::uint64_t, Table::mapped_type>;

int signal, other;

/// The hash index places keys by their product with 0x9E3779B97F4A7C15. Multiples of its inverse modulo 2^64
/// all fall on one place.
constexpr std::uint64_t oneRun = 0xF1DE83E19937733D;
static_assert(oneRun * 0x9E3779B97F4A7C15 == 1);

/// Looks `key` up in every way.
void expectSameLookup(Table& table, const Model& model, std::uint64_t key) {
    const Table& constant = table;
    const bool present = model.contains(key);
    EXPECT_EQ(constant.count(key), present ? 1U : 0U);
    ASSERT_EQ(table.contains(key), present);
    ASSERT_EQ(table.lookup(key) != nullptr, present);
    if (present) {
        EXPECT_EQ(*table.find(key), *model.find(key));
        EXPECT_EQ(&constant.at(key), &table.lookup(key)->signals());
    } else {
        EXPECT_THROW(constant.at(key), std::out_of_range);
    }
}

/// One random change, made to both.
void changeBoth(Table& table, Model& model, std::uint64_t key, std::mt19937_64& random) {
    const Table::value_type entry{key, Table::mapped_type(random() % 3, &signal)};
    const std::uint64_t operation = random() % 9;
    if (operation < 4) {
        const bool inserted = model.insert(entry).second;
        const auto [position, done] = operation == 0   ? table.insert(entry)
                                      : operation == 1 ? table.insert({key, entry.second})
                                      : operation == 2 ? table.emplace(key, entry.second)
                                                       : table.try_emplace(key, entry.second);
        EXPECT_EQ(done, inserted);
        EXPECT_EQ(*position, *model.find(key));
    } else if (operation == 4) {
        table[key] = model[key] = entry.second;
    } else if (operation == 5 && model.contains(key)) {
        const auto next = table.erase(table.find(key));
        EXPECT_EQ(next == table.end(), model.erase(model.find(key)) == model.end());
    } else if (operation == 6) {
        EXPECT_EQ(table.erase(key), model.erase(key));
    } else if (operation == 7) {
        table.file(key, &signal);
        model[key].push_back(&signal);
    } else if (model.contains(key)) {
        const int* const gone = random() % 2 != 0 ? &signal : &other;
        table.unfile(key, gone);
        std::erase(model[key], gone);
        if (model[key].empty())
            model.erase(key);
    }
}

TEST(FrameTable, RandomOperationsAsOnAMap) {
    for (const std::uint64_t spacing : {std::uint64_t{1}, std::uint64_t{1} << 40, oneRun}) {
        Table table;
        Model model;
        std::mt19937_64 random(1);
        for (int round = 0; round < 20'000 && !testing::Test::HasFailure(); ++round) {
            SCOPED_TRACE(testing::Message() << spacing << " round " << round);
            const std::uint64_t range = round < 10'000 ? 40 : 600;
            changeBoth(table, model, (random() % range - 20) * spacing, random);
            expectSameLookup(table, model, (random() % range - 20) * spacing);
            if (round == 10'000)
                table.clear(), model.clear();
            EXPECT_EQ(table.size(), model.size());
            EXPECT_TRUE(round % 50 != 0 ||
                        std::equal(table.begin(), table.end(), model.begin(), model.end()));
        }
    }
}

TEST(FrameTable, ListsThatClientsCanChangeAreOpenForAsLongAsTheyExist) {
    using Use = void (*)(Table&);
    static const void* looked = nullptr;
    const std::pair<const char*, Use> opening[] = {
        {"operator[]", [](Table& table) { looked = &table[1]; }},
        {"at", [](Table& table) { looked = &table.at(1); }},
        {"find", [](Table& table) { looked = &table.find(1)->second; }},
        {"next", [](Table& table) { looked = &std::next(table.find(0))->second; }},
        {"before the end", [](Table& table) { looked = &(--table.end())->second; }},
        {"insert",
         [](Table& table) {
             table.insert({1, {}});
         }},
        {"emplace", [](Table& table) { table.emplace(1, Table::mapped_type()); }},
    };
    const Use closed[] = {
        [](Table& table) { looked = &std::as_const(table).at(1); },
        [](Table& table) { looked = &std::as_const(table).find(1)->second; },
        [](Table& table) { EXPECT_TRUE(table.find(1) != table.end() && table.contains(1)); },
        [](Table& table) { table.file(1, &other), table.unfile(1, &other); },
    };
    Table table;
    table.file(0, &signal);
    for (const auto& [name, use] : opening) {
        table.file(1, &signal);
        for (const Use harmless : closed)
            harmless(table);
        table.unfileByHand(&signal);
        EXPECT_TRUE(table.contains(1) && !table.lookup(1)->isOpen()) << name;
        use(table);
        for (std::uint64_t key = 2; key < 100; ++key) // the index grows
            table.file(key, &signal), table.unfile(key, &other);
        EXPECT_TRUE(table.lookup(1)->isOpen()) << name;
        EXPECT_FALSE(table.lookup(2)->isOpen()) << name;
        table.unfileByHand(&signal);
        EXPECT_FALSE(table.contains(1)) << name;
        for (std::uint64_t key = 0; key < 100; ++key)
            table.unfile(key, &signal);
        EXPECT_TRUE(table.empty()) << name;
        table.file(0, &signal);
    }
    EXPECT_NE(looked, nullptr);
}

} // namespace
