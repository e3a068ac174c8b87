/// \file
/// Which frames the library decodes by its frame table, and that both ways of decoding give the same.
#include "bus/CANKey.h"
#include "replay/Catalog.h"

#include <gmock/gmock.h>

#include <random>
#include <set>

namespace rksignal {
namespace {

using testing::ElementsAre;

/// `key offset: signals` for every entry of the frame table that belongs to frame 1 of any channel.
std::vector<std::string> filedSignals() {
    const std::uint64_t plain = can::frameKey(MessageDecoder::unboundSource, 0, 1, false, false);
    std::vector<std::string> result;
    for (const auto& [key, signals] : CANSignal::canContainer) {
        std::string line = "+" + std::to_string((key - plain) >> 40) + ":";
        for (const CANSignal* const signal : signals) {
            line += ' ' + signal->def.signal;
        }
        result.push_back(line);
    }
    return result;
}

constexpr const char* tail = " (1,0) [0|0] \"\" X\n";

TEST(Placement, SelectedSignalsAreFiledUnderTheValuesOfTheirMultiplexer) {
    SignalStorage storage;
    Catalog catalog(storage);
    catalog.add(parseDbc(std::string("BO_ 1 A: 8 X\n SG_ M M : 0|4@1+") + tail + " SG_ P : 4|4@1+" + tail +
                             " SG_ Zero m0 : 8|8@1+" + tail + " SG_ Some m1 : 16|8@1+" + tail +
                             "SG_MUL_VAL_ 1 Some M 1-2, 2-3, 9-9;\n",
                         "a.dbc"),
                std::nullopt);
    EXPECT_THAT(filedSignals(),
                ElementsAre("+0: M P", "+1: Zero", "+2: Some", "+3: Some", "+4: Some", "+10: Some"));
}

struct Unserved {
    const char* name;
    std::string text;
};

/// What the library's look-ups cannot serve is taken out of its table altogether.
TEST(Placement, WhatTheLibraryCannotServeIsNotInItsTable) {
    const Unserved rows[] = {
        {"nested", std::string(" SG_ M M : 0|4@1+") + tail + " SG_ N m0M : 4|4@1+" + tail +
                       " SG_ S m1 : 8|8@1+" + tail + "SG_MUL_VAL_ 1 N M 0-0;\nSG_MUL_VAL_ 1 S N 1-1;\n"},
        {"independent", std::string(" SG_ M M : 0|4@1+") + tail + " SG_ N M : 4|4@1+" + tail +
                            " SG_ S m1 : 8|8@1+" + tail + "SG_MUL_VAL_ 1 S N 1-1;\n"},
        {"signed multiplexer", std::string(" SG_ M M : 0|4@1-") + tail + " SG_ S m1 : 8|8@1+" + tail},
        {"wide multiplexer", std::string(" SG_ M M : 0|16@1+") + tail + " SG_ S m1 : 16|8@1+" + tail},
        {"huge range", std::string(" SG_ M M : 0|15@1+") + tail + " SG_ S m1 : 16|8@1+" + tail +
                           "SG_MUL_VAL_ 1 S M 0-9999;\n"},
        {"boundless range", std::string(" SG_ M M : 0|8@1+") + tail + " SG_ S m1 : 16|8@1+" + tail +
                                "SG_MUL_VAL_ 1 S M 0-18446744073709551615;\n"},
    };
    for (const Unserved& row : rows) {
        SCOPED_TRACE(row.name);
        SignalStorage storage;
        Catalog catalog(storage);
        catalog.add(parseDbc("BO_ 1 A: 8 X\n" + row.text, "a.dbc"), std::nullopt);
        EXPECT_GE(catalog.signals().size(), 2U);
        EXPECT_THAT(filedSignals(), ElementsAre());
    }
}

/// A random message with at most one multiplexer, which the library serves.
std::string randomMessage(std::mt19937& random, const std::string& name) {
    std::string text = "BO_ 1 " + name + ": 8 X\n SG_ M M : 0|3@1+" + tail;
    const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    for (unsigned i = 0; i < 12; ++i) {
        const unsigned bits = 1 + below(24);
        const bool bigEndian = below(2) != 0;
        const unsigned start = bigEndian ? 7 + 8 * (below(5)) : below(64 - bits);
        text += " SG_ S" + std::to_string(i) + (below(3) != 0 ? " m" + std::to_string(below(8)) : "") +
                " : " + std::to_string(start) + "|" + std::to_string(bits) + (bigEndian ? "@0" : "@1") +
                (below(2) != 0 ? "+" : "-") + tail;
    }
    return text;
}

/// The names and raw values of the signals written.
std::set<std::pair<std::string, std::uint64_t>> values(const Catalog& catalog,
                                                       const std::vector<unsigned long>& ids) {
    std::set<std::pair<std::string, std::uint64_t>> result;
    for (const unsigned long id : ids) {
        const CANSignal& signal = *catalog.signals()[catalog.indexOf(id)];
        result.emplace(signal.def.signal, signal.slot->raw);
    }
    EXPECT_EQ(result.size(), ids.size());
    return result;
}

/// The second definition of a frame is decoded field by field: its table entry belongs to the first.
TEST(Placement, BothWaysOfDecodingAgree) {
    std::mt19937 random(1);
    for (int round = 0; round < 50; ++round) {
        const std::mt19937 start = random;
        const std::string first = randomMessage(random, "First");
        std::mt19937 again = start;
        SignalStorage storage;
        Catalog catalog(storage);
        catalog.add(parseDbc(first, "first.dbc"), 4);
        catalog.add(parseDbc(randomMessage(again, "Second"), "second.dbc"), 4);
        CANExtTraceMessage frame;
        frame.channel = 4;
        frame.canId = 1;
        frame.length = 8;
        for (int i = 0; i < 50; ++i) {
            std::generate_n(frame.payload.begin(), 8, [&] { return static_cast<std::uint8_t>(random()); });
            std::vector<unsigned long> ids;
            catalog.decoders().at(0)->decode(frame, ids);
            const auto byLibrary = values(catalog, ids);
            catalog.decoders().at(1)->decode(frame, ids);
            ASSERT_EQ(values(catalog, ids), byLibrary) << first;
        }
    }
}

} // namespace
} // namespace rksignal
