#include "audit/Checksum.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

std::vector<std::uint8_t> bytesOfHex(const std::string& digits) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

/// The tables of AUTOSAR's Specification of CRC Routines (7.2): data, CRC8, CRC8H2F. Exclusive or and sum by
/// hand.
TEST(Checksum, IsThatOfTheSpecifications) {
    struct Row {
        const char* data;
        unsigned j1850, h2f, exclusiveOr, sum;
    };
    const Row rows[] = {{"00000000", 0x59, 0x12, 0x00, 0x00},
                        {"F20183", 0x37, 0xC2, 0x70, 0x76},
                        {"0FAA0055", 0x79, 0xC6, 0xF0, 0x0E},
                        {"00FF5511", 0xB8, 0x77, 0xBB, 0x65},
                        {"332255AABBCCDDEEFF", 0xCB, 0x11, 0x55, 0xA5},
                        {"926B55", 0x8C, 0x33, 0xAC, 0x52},
                        {"FFFFFFFF", 0x74, 0x6C, 0x00, 0xFC}};
    const std::pair<const char*, unsigned (*)(const Row&)> rules[] = {
        {"crc8-j1850", [](const Row& row) { return row.j1850; }},
        {"crc8-h2f", [](const Row& row) { return row.h2f; }},
        {"xor", [](const Row& row) { return row.exclusiveOr; }},
        {"sum", [](const Row& row) { return row.sum; }}};
    for (const auto& row : rows) {
        for (const auto& [name, expected] : rules) {
            std::vector<std::uint8_t> payload = bytesOfHex(row.data);
            payload.insert(payload.begin() + 2, 0x5A); // the checksum, which does not count
            EXPECT_EQ(checksumOf(*parseChecksumRule(name), payload, 2), expected(row))
                << name << ' ' << row.data;
        }
    }
}

/// Made with the Python package autosar-e2e 1.0.0.
TEST(Checksum, ProtectsAsTheProfilesOfAutosar) {
    const std::pair<const char*, const char*> rows[] = {
        {"e2e1:0x123", "cc00000000000000"},
        {"e2e1:0x123:both", "9101000000000000"},
        {"e2e1:291", "f707a1b2c3d4e5f6"},
        {"e2e1:0x123:alt", "ce00000000000000"},
        {"e2e1:0x123:alt", "0201000000000000"},
        {"e2e1:0x123:alt", "6407a1b2c3d4e5f6"},
        {"e2e1:0x123:low", "f507a1b2c3d4e5f6"},
        {"e2e1:0x123:nibble", "2a10000000000000"},
        {"e2e1:0x123:nibble", "1117a1b2c3d4e5f6"},
        {"e2e2:031425364758697A8B9CADBECFE0F102", "5000000000000000"},
        {"e2e5:0x1234", "1cca000000000000"},
        {"e2e2:031425364758697A8B9CADBECFE0F102", "c907a1b2c3d4e5f6"},
        {"e2e5:4660", "fa3807b2c3d4e5f6"}};
    for (const auto& [name, text] : rows) {
        const auto rule = parseChecksumRule(name);
        ASSERT_TRUE(rule) << name;
        const std::vector<std::uint8_t> frame = bytesOfHex(text);
        const unsigned expected = rule->bytes() == 2 ? frame[0] | unsigned{frame[1]} << 8U : frame[0];
        EXPECT_EQ(checksumOf(*rule, frame, 0), expected) << name << ' ' << text;
    }
    for (const char* const wrong :
         {"", "crc8", "xor:", "e2e1", "e2e1:", "e2e1:0x", "e2e1:65536", "e2e1:1:both:", "e2e1:1:any",
          "e2e2:123", "e2e2:", "e2e2:0x", "e2e5:1:low", "e2e5:-1"}) {
        EXPECT_FALSE(parseChecksumRule(wrong)) << wrong;
    }
}

} // namespace
} // namespace rksignal
