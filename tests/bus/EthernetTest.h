/// \file
/// The fixture of the Ethernet tests, and short ways to write definitions.
#pragma once

#include "support/CapturedOutput.h"
#include "support/EthernetFrame.h"
#include "support/SignalTest.h"

#include <sstream>
#include <string>
#include <vector>

class EthernetTest : public SignalTest {
  protected:
    /// An unsigned byte on channel 0.
    static ethernetSignalDef_t definition(const std::string& instance, const ethernetPosition_t& position) {
        auto def = byteDefinition<ethernetSignalDef_t>(instance);
        def.positions = {position};
        return def;
    }

    /// The identifiers that decoding a frame of channel 0 reports.
    static std::vector<unsigned long> decode(const Octets& frame, unsigned long time = 18) {
        std::vector<unsigned long> ids{1, 2};
        const bool reported = EthernetSignal::decode(0, frame, time, ids);
        EXPECT_EQ(reported, !ids.empty());
        return ids;
    }

    static std::string hex(std::uint64_t number) {
        std::ostringstream out;
        out << std::hex << number;
        return out.str();
    }

    /// The lines of the decoder behind the one with `mark`, with "D " and "E " in place of their heads; those
    /// of the base class left out.
    static std::string linesAfter(const std::string& text, const std::string& mark) {
        std::istringstream in(filled(text, {{"[DEBUG] EthernetSignal::decode() ", "D "},
                                            {"[ERROR] EthernetSignal::decode() ", "E "}}));
        std::string lines;
        bool behind = mark.empty();
        for (std::string line; std::getline(in, line);) {
            if (behind && !line.starts_with("["))
                lines += line + "\n";
            behind = behind || line == "D " + mark;
        }
        return lines;
    }

    CapturedOutput output;
};
