// Chains of PDUs: where the walk along each kind stops, and that none leaves its bytes.

#include "signal/PduChain.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Found = std::optional<std::size_t>;

/// In a buffer of exactly that size, so that an address sanitizer sees every byte read past it.
template <pdu::Chain chain>
Found find(const Bytes& payload, std::size_t end, std::uint64_t wanted) {
    const auto exact = std::make_unique<std::uint8_t[]>(payload.size());
    std::copy(payload.begin(), payload.end(), exact.get());
    return pdu::find<chain>({exact.get(), payload.size()}, end, wanted);
}

/// The walks in the order of the columns below.
std::vector<Found> findAll(const Bytes& payload, std::uint64_t wanted) {
    const std::size_t end = payload.size();
    return {find<pdu::canFd>(payload, end, wanted), find<pdu::flexRay>(payload, end, wanted),
            find<pdu::ipdu>(payload, end, wanted), find<pdu::spdu>(payload, end, wanted),
            find<pdu::someIp>(payload, end, wanted)};
}

/// PDUs number 1, 2, ... with the given lengths, and some bytes behind.
Bytes chainOf(std::size_t headerBytes, const std::vector<std::uint8_t>& lengths, std::size_t behind) {
    const std::size_t numberBytes = headerBytes == 4 ? 3 : 4;
    Bytes bytes;
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        const std::size_t header = bytes.size();
        bytes.resize(header + headerBytes + lengths[i]);
        bytes[header + numberBytes - 1] = static_cast<std::uint8_t>(i + 1);
        bytes[header + (headerBytes == 4 ? 3 : 7)] = lengths[i];
    }
    bytes.resize(bytes.size() + behind);
    return bytes;
}

} // namespace

TEST(PduChain, EveryWalkStopsWhereItsKindDoes) {
    constexpr Found none;
    const struct {
        const char* name;
        std::vector<std::uint8_t> lengths;
        std::size_t behind;
        std::uint64_t wanted;
        std::vector<Found> short4; ///< CAN FD, FlexRay
        Found long8;               ///< IPDU
        std::vector<Found> long16; ///< SPDU, SOME/IP
    } rows[] = {
        {"empty", {}, 0, 1, {none, none}, none, {none, none}},
        {"first", {3, 4}, 1, 1, {4, 4}, 8, {16, 16}},
        {"second", {3, 4}, 1, 2, {11, 11}, 19, {35, 35}},
        {"second ends at the end", {3, 4}, 0, 2, {11, none}, none, {none, none}},
        {"absent", {3, 4}, 1, 3, {none, none}, none, {none, none}},
        {"identifier too long", {3, 4}, 1, 0x100000001, {none, none}, none, {none, none}},
        {"is empty", {0}, 1, 1, {4, none}, none, {none, 16}},
        {"behind an empty one", {0, 2}, 1, 2, {8, none}, none, {none, 32}},
        {"ends at its header", {0}, 0, 1, {4, none}, none, {none, none}},
    };
    for (const auto& row : rows) {
        const auto small = findAll(chainOf(4, row.lengths, row.behind), row.wanted);
        EXPECT_EQ(std::vector(small.begin(), small.begin() + 2), row.short4) << row.name;
        EXPECT_EQ(findAll(chainOf(8, row.lengths, row.behind), row.wanted)[2], row.long8) << row.name;
        const auto large = findAll(chainOf(16, row.lengths, row.behind), row.wanted);
        EXPECT_EQ(std::vector(large.begin() + 3, large.end()), row.long16) << row.name;
    }
    const Bytes longest(40, 0xFF);
    EXPECT_EQ(findAll(longest, 7), std::vector<Found>(5)) << "lengths of up to 2^32 - 1";
    EXPECT_EQ(find<pdu::flexRay>(Bytes(3), 255, 0), none) << "more bytes announced than there are";
    EXPECT_EQ(pdu::someIpIdentifier(0x1234, 0x8001), 0x12348001U);
    EXPECT_GT(pdu::someIpIdentifier(0x10001, 1), 0xFFFFFFFFU);
    EXPECT_GT(pdu::someIpIdentifier(1, 0x10001), 0xFFFFFFFFU);
}

TEST(PduChain, VisitsWhatItCompares) {
    std::string seen;
    pdu::find<pdu::spdu>(chainOf(16, {3, 4, 5}, 1), 64, 2, [&seen](std::size_t at, unsigned id, bool found) {
        seen += std::to_string(at) + ":" + std::to_string(id) + (found ? "! " : " ");
    });
    EXPECT_EQ(seen, "0:1 19:2! ");
}
