/// \file
/// What the program writes does not depend on whether it takes the fast paths.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <random>

namespace rksignal {
namespace {

constexpr const char* pathDefinitions = R"(BO_ 256 Whole: 8
 SG_ Speed : 0|16@1+ (0.1,-40) [0|0] "km/h"
 SG_ Angle : 23|12@0- (0.0625,0) [0|0] "deg"
 SG_ Torque : 27|9@0+ (1,0) [0|0] ""
 SG_ Slope : 40|16@1- (0.003,0) [0|0] "a,b"
BO_ 257 Chosen: 8
 SG_ Which M : 0|2@1+ (1,0) [0|0] ""
 SG_ First m0 : 8|8@1+ (1,0) [0|0] ""
 SG_ Second m1 : 8|16@1- (0.01,0) [0|0] ""
BO_ 2147483905 Wide: 64
 SG_ Early : 0|32@1- (1,0) [0|0] ""
 SG_ Late : 480|32@1+ (1,0) [0|0] ""
BO_ 2364540158 Engine: 8
 SG_ Rate : 24|16@1+ (0.125,0) [0|0] "rpm"
BA_DEF_ "ProtocolType" STRING ;
BA_DEF_ BO_ "VFrameFormat" ENUM "StandardCAN","ExtendedCAN","reserved","J1939PG";
BA_ "ProtocolType" "J1939";
BA_ "VFrameFormat" BO_ 2364540158 3;
VAL_ 256 Torque 0 "none" 3 "three" ;
)";

/// Lines as candump writes them, some of them damaged, with the times going on, and now and then back.
std::string randomLog() {
    constexpr std::array names{"can0", "can0", "can0", "can1", "vcan12", "x7", "an-eight1"};
    constexpr std::array identifiers{"100#", "100#", "101#", "00000101##5", "0CF00421#", "0CF004A3#", "7DF#"};
    constexpr std::array others{"(%u.%06u) can0 100#R4",   "(%u.%06u) can1 20000004#0004000000000000",
                                "(%u.%06u) can0 100#11 T", "DROPCOUNT: dropped 3 CAN frames",
                                "(%u.%03u) can0 100#11",   "(%u.%06u) can0 100#0"};
    std::mt19937 random(7);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    std::string log;
    unsigned time = 0;
    std::array<char, 64> head{};
    for (int i = 0; i < 20'000; ++i) {
        time += static_cast<unsigned>(below(100) == 0 ? below(3'000'000) : below(900));
        time -= below(50) == 0 ? static_cast<unsigned>(below(time)) / 100 : 0;
        const bool isOther = below(40) == 0;
        std::snprintf(head.data(), head.size(),
                      isOther ? others[below(others.size())] : "(%u.%06u) ", // NOLINT
                      1'700'000'000 + time / 1'000'000, time % 1'000'000);
        std::string line = head.data();
        if (!isOther) {
            const std::string identifier = identifiers[below(identifiers.size())];
            line.append(names[below(names.size())]).append(" ").append(identifier);
            const std::size_t most = identifier.ends_with("##5") ? 64 : 8;
            for (std::size_t count = below(3) > 0 ? most : below(most + 1); count > 0; --count) {
                line += "0123456789ABCDEFabcdef"[below(22)];
                line += "0123456789ABCDEF"[below(16)];
            }
        }
        if (below(60) == 0) {
            line[below(line.size())] = static_cast<char>(' ' + below(95));
        }
        log.append(line).append(below(9) == 0 ? "\r\n" : "\n");
    }
    return log;
}

TEST(DecodePaths, DoNotShowInWhatIsWritten) {
    const TemporaryFolder folder;
    folder.write("a.dbc", pathDefinitions);
    folder.write("b.dbc", "BO_ 256 Again: 8\n SG_ Speed : 0|8@1+ (1,0) [0|0] \"\"\n");
    folder.write("t.log", randomLog());
    for (const char* const definitions : {"--dbc a.dbc ", "--dbc 0=a.dbc --dbc 1=b.dbc --dbc 12=b.dbc "}) {
        for (const char* const options :
             {"", "--last", "--last --format csv", "--format jsonl --time iso", "--changed --time relative",
              "--only '*Speed*'", "--from +5s --for 1min", "--only Whole.Angle t.log --last"}) {
            const auto written = [&, command = std::string("rksignal decode ") + definitions + options +
                                               " t.log"](const std::string& environment) {
                const ProgramResult result = folder.run(environment + command);
                return std::to_string(result.status) + '\n' + result.messages + result.output;
            };
            const std::string expected = written("export RKSIGNAL_PLAIN=1; ");
            EXPECT_GT(expected.size(), std::size_t{500}) << expected;
            EXPECT_TRUE(written("") == expected) << definitions << options; // too long to be shown
        }
    }
}

} // namespace
} // namespace rksignal
