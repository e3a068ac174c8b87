/// \file
/// `rksignal list`: what is listed, and where bits are drawn.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

struct ListCommand : testing::Test {
    ListCommand() {
        folder.write("m.dbc", "BO_ 256 Modes: 3 ECU\n"
                              " SG_ Mode M : 0|2@1+ (1,0) [0|0] \"\" X\n"
                              " SG_ Wide : 4|12@0- (0.5,-1) [-10|10] \"m/s\" X\n"
                              " SG_ One m1 : 16|4@1+ (1,0) [0|0] \"\" X\n"
                              " SG_ Two m2 : 18|4@1+ (1,0) [0|0] \"\" X\n"
                              " SG_ Over m2 : 21|5@1+ (1,0) [0|0] \"\" X\n"
                              "BO_ 2147483904 Empty: 0 X\n"
                              "CM_ BO_ 256 \"Two lines,\nof text\";\n"
                              "CM_ SG_ 256 Two \"a, \\\"b\\\"\";\n"
                              "VAL_ 256 Mode 1 \"Sport mode\" 2 \"Off\" ;\n"
                              "BA_DEF_ BO_ \"GenMsgCycleTime\" INT 0 1000;\n"
                              "BA_ \"GenMsgCycleTime\" BO_ 256 20;\n");
    }
    ProgramResult list(const std::string& arguments) {
        return folder.run("rksignal list -q m.dbc " + arguments);
    }

    TemporaryFolder folder;
};

TEST_F(ListCommand, DrawsBitsByBranch) {
    const std::string head = "      +-----------------------------------------------+\n"
                             "    0 |                 |  B11   B10    B9 A1/B8|A0/B7|\n"
                             "    1 |   B6    B5    B4    B3    B2    B1    B0|     |\n";
    const std::string bits = " byte      7     6     5     4     3     2     1     0\n" + head;
    const std::string end = "      +-----------------------------------------------+\n";
    EXPECT_EQ(list("--layout").output,
              "Modes  can 100, 11 bits, every channel, 3 bytes, from ECU, every 20 ms  (m.dbc:1)\n" + bits +
                  "    2 |                                               |\n" + end +
                  "      A and B overlap\n"
                  "\n  Mode = 1\n" +
                  bits + "    2 |                       |   C3    C2    C1    C0|\n" + end +
                  "      A and B overlap\n"
                  "\n  Mode = 2\n" +
                  bits + "    2 |   E2    E1 D3/E0|   D2    D1    D0|           |\n" + end +
                  "    3 |                                   |   E4    E3|\n" + end +
                  "      A and B overlap\n"
                  "      D and E overlap\n"
                  "\n"
                  "  A  Modes.Mode: byte 0 bit 0, 2 bits, little endian, unsigned\n"
                  "  B  Modes.Wide: byte 0 bit 4, 12 bits, big endian, signed\n"
                  "  C  Modes.One: byte 2 bit 0, 4 bits, little endian, unsigned, while Mode = 1\n"
                  "  D  Modes.Two: byte 2 bit 2, 4 bits, little endian, unsigned, while Mode = 2\n"
                  "  E  Modes.Over: byte 2 bit 5, 5 bits, little endian, unsigned, while Mode = 2\n");
}

TEST_F(ListCommand, WritesTablesAndRows) {
    EXPECT_EQ(list("--only '*.[MW]*' --only '*.Two'").output,
              "Modes  can 100, 11 bits, every channel, 3 bytes, from ECU, every 20 ms  (m.dbc:1)\n"
              "  Two lines,\n"
              "  of text\n"
              "              start  bits  order   type      scale  offset  range      unit  when      texts  "
              "          "
              "    comment\n"
              "  Modes.Mode    0.0     2  little  unsigned                                            1 "
              "Sport mode, 2 "
              "Off\n"
              "  Modes.Wide    0.4    12  big     signed      0.5      -1  -10 to 10  m/s\n"
              "  Modes.Two     2.2     4  little  unsigned                                  Mode = 2         "
              "         "
              "     a, \"b\"\n");
    const std::string csv = list("--format csv --only '*.Two'").output;
    EXPECT_EQ(csv.substr(csv.find('\n') + 1), "Modes,can,,100,3,ECU,20,Modes.Two,18,4,little,unsigned,1,0,,,,"
                                              "Mode = 2,,\"a, \"\"b\"\"\",1,m.dbc:5\n");
}

TEST_F(ListCommand, FiltersByNameMessageAndText) {
    const char* const cases[][2] = {
        {"--only '*.W*'", "Modes.Wide"},
        {"--grep SPORT", "Modes.Mode"},
        {"--message 100 --grep over", "Modes.Over"},
        {"--grep of\\ te", "Modes.Mode Modes.Wide Modes.One Modes.Two Modes.Over"},
        {"--message 'Emp*'", ""},
    };
    for (const auto& [arguments, instances] : cases) {
        const ProgramResult result = list(std::string(arguments) + " --format json");
        std::string listed;
        for (const auto& message : nlohmann::json::parse(result.output)) {
            for (const auto& signal : message["signals"]) {
                listed += (listed.empty() ? "" : " ") + signal["instance"].get<std::string>();
            }
        }
        EXPECT_EQ(listed, instances) << arguments;
    }
    EXPECT_EQ(list("--message Mods").messages,
              "rksignal: --message Mods matches no message; close are Modes\n");
    EXPECT_EQ(list("--grep nowhere").messages,
              "rksignal: --grep nowhere: no name, comment or value text holds it\n");
}

} // namespace
} // namespace rksignal
