#include "command/ProgressBar.h"

#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

TEST(ProgressBar, DrawsOnlyChangesAndWipesItselfOut) {
    std::ostringstream out;
    {
        ProgressBar bar(out, 1000);
        bar.show(0);
        bar.show(9);
        bar.show(505);
        bar.show(2000);
    }
    EXPECT_EQ(out.str(), "\r[                                        ] 0%"
                         "\r[====================                    ] 50%"
                         "\r[========================================] 100%"
                         "\r\033[K");
}

TEST(ProgressBar, NothingShownNothingWiped) {
    std::ostringstream out;
    { const ProgressBar bar(out, 1); }
    EXPECT_EQ(out.str(), "");
}

TEST(ProgressBar, AppearsOnATerminalUnlessQuiet) {
    const TemporaryFolder folder;
    const std::string dbc = folder.write("a.dbc", "BO_ 1 A: 0 X\n SG_ S : 0|1@1+ (1,0) [0|0] \"\" X\n");
    const std::string trace = folder.write("t.log", "(1.0) can0 002#\n");
    const std::string drawn = "\r[                                        ] 0%"
                              "\r[====================                    ] 50%"
                              "\r[========================================] 100%"
                              "\r\033[K";
    const std::vector<std::string> arguments = {"decode", "--dbc", dbc, trace, trace};
    EXPECT_NE(runIn(folder, arguments, /*interactive=*/true).messages.find(drawn), std::string::npos);
    EXPECT_EQ(runIn(folder, arguments).messages.find('\r'), std::string::npos);
    std::vector<std::string> quiet = arguments;
    quiet.emplace_back("-q");
    EXPECT_EQ(runIn(folder, quiet, /*interactive=*/true).messages, "");
}

} // namespace
} // namespace rksignal
