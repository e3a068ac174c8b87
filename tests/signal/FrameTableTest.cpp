/// \file
/// The frame table behaves as the ordered map that it stands in for.
#include "signal/FrameTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using Table = FrameTable<int>;
using Model = std::map<std::uint64_t, Table::mapped_type>;

int signals[8];

/// How the keys of a table may lie: `key` numbers them.
struct KeyPattern {
    const char* name;
    std::uint64_t (*key)(std::uint64_t n);
};

/// The hash index places keys by their product with 0x9E3779B97F4A7C15. Multiples of its inverse modulo 2^64
/// all fall on one place.
constexpr std::uint64_t oneRun = 0xF1DE83E19937733D;
static_assert(oneRun * 0x9E3779B97F4A7C15 == 1);

const KeyPattern patterns[] = {
    {"zero_and_up", [](std::uint64_t n) { return n; }},
    {"highest_and_down", [](std::uint64_t n) { return ~n; }},
    {"bus_keys", [](std::uint64_t n) { return 0x8000000000000000 + ((n % 4) << 32) + n / 4; }},
    {"multiplexer_keys", [](std::uint64_t n) { return 0x8000000000000123 + ((n + 1) << 40); }},
    {"high_bits_only", [](std::uint64_t n) { return n << 52; }},
    {"one_run_of_the_index", [](std::uint64_t n) { return n * oneRun; }},
    {"around_the_end_of_the_index", [](std::uint64_t n) { return (n - 20) * oneRun; }},
};

void expectSame(const Table& table, const Model& model) {
    EXPECT_EQ(table.size(), model.size());
    EXPECT_EQ(table.empty(), model.empty());
    EXPECT_TRUE(std::equal(table.begin(), table.end(), model.begin(), model.end()));
}

/// Looks `key` up in every way.
void expectSameLookup(Table& table, const Model& model, std::uint64_t key) {
    const Table& constant = table;
    const auto expected = model.find(key);
    const bool present = expected != model.end();
    EXPECT_EQ(table.contains(key), present);
    EXPECT_EQ(constant.count(key), present ? 1U : 0U);
    EXPECT_EQ(constant.find(key) != constant.end(), present);
    ASSERT_EQ(table.find(key) != table.end(), present);
    if (!present) {
        EXPECT_THROW(constant.at(key), std::out_of_range);
        EXPECT_EQ(table.lookup(key), nullptr);
        return;
    }
    EXPECT_EQ(*table.find(key), *expected);
    EXPECT_EQ(&constant.at(key), &table.find(key)->second);
    EXPECT_EQ(table.lookup(key)->signals, &table.at(key));
}

/// One random change, made to both.
void changeBoth(Table& table, Model& model, std::uint64_t key, std::mt19937_64& random) {
    const Table::mapped_type list(random() % 3, &signals[random() % 8]);
    const Table::value_type entry{key, list};
    const std::uint64_t operation = random() % 9;
    if (operation < 4) {
        const bool inserted = model.insert(entry).second;
        const auto [position, done] = operation == 0   ? table.insert(entry)
                                      : operation == 1 ? table.insert({key, list})
                                      : operation == 2 ? table.emplace(key, list)
                                                       : table.try_emplace(key, list);
        EXPECT_EQ(done, inserted);
        EXPECT_EQ(*position, *model.find(key));
    } else if (operation == 4) {
        table[key] = model[key] = list;
    } else if (operation == 5) {
        model[key].push_back(&signals[0]);
        table[key].push_back(&signals[0]);
    } else if (const auto place = model.lower_bound(key); operation == 6 && place != model.end()) {
        const Table::iterator next = table.erase(table.find(place->first));
        const auto expected = model.erase(place);
        EXPECT_TRUE(expected == model.end() ? next == table.end() : *next == *expected);
    } else {
        EXPECT_EQ(table.erase(key), model.erase(key));
    }
}

class FrameTableKeys : public testing::TestWithParam<KeyPattern> {};

TEST_P(FrameTableKeys, RandomOperationsAsOnAMap) {
    Table table;
    Model model;
    std::mt19937_64 random(1);
    for (int round = 0; round < 20'000 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const std::uint64_t range = round < 10'000 ? 40 : 600;
        changeBoth(table, model, GetParam().key(random() % range), random);
        expectSameLookup(table, model, GetParam().key(random() % range));
        if (round % 5'000 == 4'999) {
            table.clear();
            model.clear();
        }
        if (round % 50 == 49)
            expectSame(table, model);
    }
}

INSTANTIATE_TEST_SUITE_P(Patterns, FrameTableKeys, testing::ValuesIn(patterns),
                         [](const auto& pattern) { return std::string(pattern.param.name); });

TEST(FrameTable, PositionsAndListsStayWhereTheyAre) {
    Table table;
    const Table::iterator position = table.emplace(500, Table::mapped_type{}).first;
    const auto* const list = &table.at(500);
    for (std::uint64_t key = 0; key < 1'000; ++key)
        table[key];
    for (auto each = table.begin(); each != table.end();)
        each = each->first % 2 == 0 && each != position ? table.erase(each) : std::next(each);
    EXPECT_EQ(table.size(), 501U);
    EXPECT_EQ(table.find(500), position);
    EXPECT_EQ(&table.at(500), list);
    EXPECT_EQ(std::next(position)->first, 501U);
}

} // namespace
