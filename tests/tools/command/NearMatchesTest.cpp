/// \file
/// What is said of frames that nearly have a definition.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

/// 18FEF1FE without the attribute of a parameter group, 18FEF203 with it; 100 with 11 bits; 200 on channel 1.
TEST(NearMatches, AreSaidForEachFile) {
    const TemporaryFolder folder;
    const std::string signal = "\n SG_ S : 0|8@1+ (1,0) [0|0] \"\"\n";
    folder.write("wide.dbc", "BO_ 2566844926 A: 8 X" + signal + "BO_ 256 B: 8 X" + signal);
    folder.write("group.dbc", "BA_ \"ProtocolType\" \"J1939\";\nBO_ 2566844931 C: 8 X" + signal);
    folder.write("one.dbc", "BO_ 512 D: 8 X" + signal);
    folder.write("t.log", R"((1.0) can0 18FEF103#01
(1.1) can0 18FEF121#01
(1.2) can0 1CFEF103#01
(1.3) can0 18FEF221#01
(1.4) can0 0CFEF203#01
(1.5) can0 00000100#01
(1.6) can0 200#01
(1.7) can1 201#01
)");
    EXPECT_EQ(
        folder.run("rksignal decode --last --dbc wide.dbc --dbc group.dbc --dbc 1=one.dbc t.log").messages,
        R"(8 frames read: 1 decoded, 7 unknown, 0 remote, 0 error
unknown: can0 200 (1), can0 00000100 (1), can0 18FEF103 (1), can0 18FEF121 (1), can0 18FEF221 (1), can0 1CFEF103 (1), can1 201 (1)
shorter than defined:
  C: 1 of 1 frame, 0 values missing
never seen: 3 of 4 messages: A, B, D
1 frame would match group.dbc if the source address were ignored
1 frame would match one.dbc if the channel were ignored
2 frames would match wide.dbc if the source address were ignored
1 frame would match wide.dbc if the width of the identifier (11 or 29 bits) were ignored
)");
}

/// Frame 10 is defined on channel 2, where it comes, frame 11 on channel 0.
TEST(NearMatches, OfLinAreSaidForTheChannel) {
    const TemporaryFolder folder;
    folder.write("lin.json", R"({"lin": [{"instance": "A", "msgId": 16, "bits": 8, "channel": 2},
        {"instance": "B", "msgId": 17, "bits": 8}]})");
    folder.write("t.asc",
                 "date 07.10.2021\nbase hex timestamps absolute\n0.1 L2 10 Rx 1 aa\n0.2 L3 10 Rx 1 aa\n"
                 "0.3 L1 11 Rx 1 aa\n0.4 L2 11 Rx 1 aa\n");
    const std::string messages = folder.run("rksignal decode --last --signals lin.json t.asc").messages;
    EXPECT_TRUE(messages.ends_with("\n2 frames would match lin.json if the channel were ignored\n"))
        << messages;
}

} // namespace
} // namespace rksignal
