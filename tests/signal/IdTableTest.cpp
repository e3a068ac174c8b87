/// \file
/// The identifier table behaves as the ordered map that it stands in for.
#include "signal/IdTable.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using Ids = IdTable<std::vector<int>>;
using IdModel = std::map<std::uint64_t, std::vector<int>>;

/// One random change, made to both.
void changeBothIds(Ids& ids, IdModel& model, std::uint64_t key, std::mt19937_64& random) {
    const std::vector<int> value(random() % 3, static_cast<int>(key));
    switch (random() % 7) {
    case 0:
        EXPECT_EQ(ids.insert({key, value}).second, model.insert({key, value}).second);
        break;
    case 1:
        EXPECT_EQ(ids.emplace(key, value).first->second, model.emplace(key, value).first->second);
        break;
    case 2:
        EXPECT_EQ(ids.try_emplace(key, value).second, model.try_emplace(key, value).second);
        break;
    case 3:
        ids[key] = model[key] = value;
        break;
    case 4:
        if (model.contains(key)) {
            const auto next = ids.erase(ids.find(key));
            const auto expected = model.erase(model.find(key));
            EXPECT_EQ(next == ids.end(), expected == model.end());
            EXPECT_TRUE(next == ids.end() || next->first == expected->first);
        }
        break;
    default:
        EXPECT_EQ(ids.erase(key), model.erase(key));
    }
}

void expectSameIds(const Ids& ids, const IdModel& model, std::uint64_t key) {
    ASSERT_EQ(ids.contains(key), model.contains(key)) << key;
    EXPECT_EQ(ids.count(key), model.count(key));
    EXPECT_EQ(ids.empty(), model.empty());
    ASSERT_EQ(ids.size(), model.size());
    if (model.contains(key))
        EXPECT_EQ(ids.at(key), model.at(key));
    else
        EXPECT_THROW(ids.at(key), std::out_of_range);
    const auto same = [](const auto& left, const auto& right) {
        return left.first == right.first && left.second == right.second;
    };
    EXPECT_TRUE(std::equal(ids.begin(), ids.end(), model.begin(), model.end(), same));
    EXPECT_TRUE(std::equal(ids.rbegin(), ids.rend(), model.rbegin(), model.rend(), same));
}

TEST(IdTable, RandomOperationsAsOnAMap) {
    for (const std::uint64_t range : {20U, 1'000U}) {
        Ids ids;
        IdModel model;
        std::mt19937_64 random(1);
        for (unsigned round = 0; round < 10'000 && !testing::Test::HasFailure(); ++round) {
            SCOPED_TRACE(testing::Message() << "range " << range << " round " << round);
            // Identifiers grow; now and then one of another kind, or an old one, comes in between.
            const std::uint64_t key = random() % 3 == 0 ? random() % range : round % 4'000 * (1 + range % 7);
            changeBothIds(ids, model, key, random);
            if (round % 10 == 0)
                expectSameIds(ids, model, random() % range);
            if (round == 6'000)
                ids.clear(), model.clear();
        }
        Ids copy = ids;
        ids.clear();
        expectSameIds(copy, model, 1);
    }
}

} // namespace
