/// \file
/// Lists of the frame table that clients were handed to change.
#include "signal/FrameTable.h"

#include <gtest/gtest.h>

namespace {

using Table = FrameTable<int>;

int signal, other;

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
