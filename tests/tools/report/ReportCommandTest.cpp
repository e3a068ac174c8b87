/// \file
/// The page that `rksignal report` writes, as whoever looks into the file finds it. The data themselves:
/// tests/replay/page.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

class ReportCommand : public testing::Test {
  protected:
    ReportCommand() {
        folder.write("a.dbc", R"(BO_ 256 M: 3 X
 SG_ Speed : 0|16@1+ (0.5,0) [0|0] "km/h" X
 SG_ Wish : 16|8@1+ (1,0) [0|0] "km/h" X
)");
        folder.write("t.log", "(10.000000) can0 100#000000\n(10.100000) can0 100#C80032\n"
                              "(10.200000) can0 100#640033\n");
    }
    ProgramResult run(const std::string& options) const { return folder.run("rksignal report " + options); }

    nlohmann::json header(const std::string& name) const {
        const std::string page = folder.read(name);
        const std::string begin = "id=\"drive\">";
        const std::size_t from = page.find(begin) + begin.size();
        return nlohmann::json::parse(page.substr(from, page.find("</script>", from) - from));
    }

    TemporaryFolder folder;
};

TEST_F(ReportCommand, WritesThePageOfADrive) {
    const ProgramResult first =
        run("--dbc a.dbc t.log -o p.html --when 'fast = M.Speed > 40' --title '<Drive>' --from +0.05s");
    EXPECT_EQ(first.messages, "p.html: 2 messages, 2 of 2 signals with values, 1 firing, 0 findings; " +
                                  std::to_string((folder.read("p.html").size() + 500) / 1000) +
                                  " kB\noutside the window of time: 1 messages\n");
    EXPECT_EQ(first.status, 0);
    const nlohmann::json drive = header("p.html");
    EXPECT_EQ(drive["title"], "<Drive>");
    EXPECT_EQ(drive["start"], "1970-01-01T00:00:10.100000Z");
    EXPECT_EQ(drive["conditions"][0]["firings"][0]["at"], 0);
    EXPECT_EQ(drive["signals"][0]["panel"], 0);
    run("--dbc a.dbc t.log -o q.html --when 'fast = M.Speed > 40' --title '<Drive>' --from +0.05s");
    EXPECT_EQ(folder.read("q.html"), folder.read("p.html"));
}

TEST_F(ReportCommand, ShowsWhatIsAskedForFirst) {
    const std::pair<const char*, std::vector<int>> cases[] = {
        {"--only '*.Wish' --only 'M.*'", {1, 0}},
        {"--only 'M.*'", {0, 1}},
        {"--only 'M.*' --together", {0, 0}},
    };
    for (const auto& [options, panels] : cases) {
        run("--dbc a.dbc t.log -q -o p.html " + std::string(options));
        const nlohmann::json signals = header("p.html")["signals"];
        EXPECT_EQ((std::vector<int>{signals[0]["panel"], signals[1]["panel"]}), panels) << options;
    }
}

TEST_F(ReportCommand, TellsOfDamageAndOfMessagesWithoutDefinitions) {
    folder.write("bad.log", "(10.000000) can0 100#000000\nnonsense\n");
    EXPECT_EQ(run("bad.log -o p.html -q").status, 1);
    const nlohmann::json drive = header("p.html");
    EXPECT_EQ(drive["remarks"][1], "  bad.log:2: no time stamp in parentheses");
    EXPECT_EQ(drive["messages"][0]["decoded"], false);
}

TEST_F(ReportCommand, WritesNothingWhenItIsCalledWrongly) {
    const std::pair<const char*, const char*> cases[] = {
        {"t.log -o a.dbc", "rksignal: -o a.dbc: the page is written in HTML: its name ends in .html\n"},
        {"--dbc a.dbc t.log", "--output is required\nRun with --help for more information.\n"},
        {"--dbc a.dbc t.log -o p.html --only X", "rksignal: --only X matches no signal\n"},
        {"--dbc a.dbc t.log -o p.html --max-size 400kB",
         "rksignal: --max-size: a page takes at least 1 MB\n"},
        {"--dbc a.dbc t.html -o t.html", "rksignal: the output would overwrite t.html, which is read\n"},
    };
    folder.write("t.html", folder.read("t.log"));
    for (const auto& [options, message] : cases) {
        const ProgramResult result = run(options);
        EXPECT_EQ(result.status, 2) << options;
        EXPECT_EQ(result.messages, message);
    }
    EXPECT_EQ(folder.run("ls").output, "a.dbc\nt.html\nt.log\n");
    EXPECT_EQ(folder.read("t.html"), folder.read("t.log"));
}

} // namespace
} // namespace rksignal
