#include "signal/PduChain.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

/// Identifiers that repeat and ascend only at first, more PDUs than a walk remembers, and ends cut anywhere.
TEST(PduWalkTest, FindsWhatEachSearchByItselfFinds) {
    std::mt19937 random(17);
    const auto below = [&random](std::size_t limit) { return static_cast<unsigned>(random() % limit); };
    for (int round = 0; round < 300; ++round) {
        std::vector<std::uint8_t> payload;
        const unsigned pdus = below(150);
        for (unsigned i = 0; i < pdus; ++i) {
            const unsigned identifier = i < pdus / 2 ? i : below(160);
            const unsigned length = below(4);
            payload.insert(payload.end(), {0, 0, 0, static_cast<std::uint8_t>(identifier), 0, 0, 0,
                                           static_cast<std::uint8_t>(length)});
            payload.resize(payload.size() + length);
        }
        payload.resize(payload.size() - below(payload.size() / 8 + 1));
        pdu::Walk<pdu::canFdLong> open(payload, payload.size());
        pdu::Walk<pdu::ipdu> closed(payload, payload.size());
        for (int search = 0; search < 60; ++search) {
            const std::uint32_t wanted = below(160);
            EXPECT_EQ(open.find(wanted), pdu::find<pdu::canFdLong>(payload, payload.size(), wanted));
            EXPECT_EQ(closed.find(wanted), pdu::find<pdu::ipdu>(payload, payload.size(), wanted));
        }
    }
}

} // namespace
