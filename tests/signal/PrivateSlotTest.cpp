/// \file
/// Where private slots lie, whatever signals are built and destroyed.
#include "support/SignalTest.h"

#include <cstdlib>
#include <random>
#include <set>

namespace {

constexpr std::size_t hugePage = std::size_t{2} << 20;

using PrivateSlots = SignalTest;

std::uintptr_t addressOf(const BaseSignal& signal) {
    return reinterpret_cast<std::uintptr_t>(&signal.privateSlot);
}

TEST_F(PrivateSlots, AreNeighboursInTheOrderOfConstruction) {
    BaseSignal first(byteDefinition("first"));
    const BaseSignal mirror(&first);
    const BaseSignal second(byteDefinition("second")), third(byteDefinition("third"));
    EXPECT_EQ(addressOf(third) - addressOf(second), addressOf(second) - addressOf(first));
    EXPECT_EQ((addressOf(second) - addressOf(first) + 63) / 64, 2U) << "two cache lines a signal";
    EXPECT_TRUE(mirror.privateSlot.size == 0 && mirror.privateSlot.raw == 0);
    EXPECT_FALSE(mirror.modified);
    first.writeRaw(1, 2);
    EXPECT_TRUE(first.modified && first.isModified());
    EXPECT_FALSE(mirror.isModified() || second.isModified());
}

/// Each keeps what was written to it while others come and go, a new one is as if none had been before, and
/// their memory is used again.
TEST_F(PrivateSlots, AreUsedAgainAndNeverTwiceAtOnce) {
    std::mt19937 random(20261123);
    std::vector<std::unique_ptr<BaseSignal>> signals(60'000);
    std::set<std::uintptr_t> hugePages;
    for (int round = 0; round < 8; ++round) {
        for (std::size_t i = 0; i < signals.size(); ++i) {
            if (signals[i] == nullptr) {
                signals[i] = std::make_unique<BaseSignal>(byteDefinition(std::to_string(i)));
                hugePages.insert(addressOf(*signals[i]) / hugePage);
                ASSERT_EQ(signals[i]->slot->raw, signalSlot_t::unwrittenRaw);
                ASSERT_FALSE(signals[i]->slot->valid != 0 || signals[i]->modified);
                signals[i]->writeRaw(i, i);
            }
        }
        for (std::size_t i = 0; i < signals.size(); ++i) {
            ASSERT_TRUE(signals[i]->slot->raw == i && signals[i]->slot->timestamp == i);
        }
        for (std::unique_ptr<BaseSignal>& signal : signals) {
            if (random() % 8 < static_cast<unsigned>(round)) {
                signal.reset();
            }
        }
    }
    EXPECT_LE(hugePages.size(), 5U); // 60,000 records of 112 bytes take 3.2
    signals.clear();
}

TEST_F(PrivateSlots, OutliveSignalsOfStaticStorage) {
    const auto exits = [] {
        static std::unique_ptr<BaseSignal> longer;
        static SignalStorage storage;
        static const BaseSignal shorter(byteDefinition("shorter"), false, &storage);
        longer = std::make_unique<BaseSignal>(byteDefinition("longer"));
        std::exit(0); // NOLINT(concurrency-mt-unsafe): one thread
    };
    EXPECT_EXIT(exits(), testing::ExitedWithCode(0), "");
}

} // namespace
