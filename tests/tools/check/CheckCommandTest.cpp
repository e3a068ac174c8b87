/// \file
/// `rksignal check` as a whole.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

struct CheckCommand : testing::Test {
    CheckCommand() {
        folder.write("a.DBC", "BO_ 1 Motor: 8 X\n SG_ Speed : 0|8@1+ (1,0) [0|0] \"rpm\" X\n"
                              " SG_ On : 60|8@1+ (1,0) [0|0] \"\" X\n");
    }
    ProgramResult check(const std::string& arguments) { return folder.run("rksignal check " + arguments); }

    TemporaryFolder folder;
};

TEST_F(CheckCommand, TellsDefinitionsFromConditions) {
    folder.write("body", "\nBO_ 2 Body : 8 X\n SG_ Door : 0|1@1+ (1,0) [0|0] \"\" X\n");
    folder.write("c.txt", "# doors\r\nopen = Body.Door == 1\r\n\n  # speed\nfast = Motor.Speed > 300\n"
                          "fast = Body.Door\nMotor.Sped > 3\nBody.Door" +
                              std::string(9000, ' ') + "\nBody.Door" + '\0' + "\nBody.Door >");
    const ProgramResult result = check("c.txt a.DBC body --when 'Body.Door == 0'");
    EXPECT_EQ(
        result.output,
        "a.DBC:3: signal Motor.On is not decoded: it reaches beyond the 8 bytes of a classic frame\n"
        "c.txt:8: error: line is too long\n"
        "c.txt:9: error: line holds a NUL character\n"
        "c.txt:5: warning: 'Motor.Speed > 300' can never be true: Motor.Speed lies between 0 and 255 rpm\n"
        "c.txt:6: error: the name fast is taken, by c.txt:5\n"
        "c.txt:7: error: there is no signal Motor.Sped; close are Motor.Speed\n"
        "c.txt:10: error: syntax error at the end, behind '>'\n"
        "2 definition files: 2 messages, 2 signals, no errors; 6 conditions: 5 errors, 1 warning\n");
    EXPECT_EQ(result.messages, "");
    EXPECT_EQ(result.status, 1);
}

TEST_F(CheckCommand, StatusTellsWhetherThereWasSomethingToSay) {
    folder.write("b.dbc", "BO_ x\n");
    EXPECT_EQ(check("a.DBC --when x=Motor.Speed").status, 0);
    EXPECT_EQ(check("a.DBC --when 'Motor.Speed >= 0'").status, 1);
    EXPECT_EQ(check("b.dbc").status, 1);
    EXPECT_EQ(
        check("--when a --allow-unknown").output,
        "--when 'a': warning: there is no signal a, it counts as 0\n1 condition: no errors, 1 warning\n");
    folder.write("x.log", "# a drive\n(1.5) can0 123#11\n");
    EXPECT_EQ(check("a.DBC x.log").messages, "rksignal: x.log is a candump log, not a file of conditions\n");
    EXPECT_EQ(check("--dbc x.log").messages, "rksignal: x.log is a candump log, not a file of definitions\n");
    EXPECT_EQ(check("").messages, "rksignal: there is nothing to check\n");
    EXPECT_EQ(check("absent").status, 2);
}

TEST_F(CheckCommand, PrintsWhatALoggerTakes) {
    folder.write("t.dbc",
                 "BO_ 1 G: 1 X\n SG_ Gear : 0|4@1+ (1,-1) [0|0] \"\" X\nVAL_ 1 Gear 7 \"Sixth\" ;\n");
    const ProgramResult result =
        check("t.dbc --print --when 'top = G.Gear == \"Sixth\"' --when 'G.Gear>0x2' --when 'G.Gear = Sixth'");
    EXPECT_EQ(result.output, "top = G.Gear == 6\nG.Gear>2\n");
    EXPECT_EQ(result.status, 1); // of the last condition
}

} // namespace
} // namespace rksignal
