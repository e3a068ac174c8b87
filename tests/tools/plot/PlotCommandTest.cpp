/// \file
/// `rksignal plot` on small traces.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>
#include <pugixml.hpp>
#include <set>

namespace rksignal {
namespace {

struct PlotCommand : testing::Test {
    PlotCommand() {
        folder.write("a.dbc", "BO_ 1 Motor: 1 X\n SG_ Speed : 0|8@1+ (1,0) [0|0] \"rpm\" X\n"
                              "BO_ 2 Never: 1 X\n SG_ Seen : 0|8@1+ (1,0) [0|0] \"rpm\" X\n");
        folder.write("t.log", "(1.0) can0 001#05\n(2.0) can0 001#FA\n");
    }

    /// The elements of a picture and its texts, of which none may have become anything else.
    std::set<std::string> elements;
    std::string texts;
    void read(const pugi::xml_node& node) {
        for (const pugi::xml_node& child : node) {
            if (child.type() == pugi::node_element) {
                elements.insert(child.name());
            }
            if (std::string(child.name()) == "text") {
                texts += std::string(child.text().get()) + "\n";
            }
            read(child);
        }
    }

    TemporaryFolder folder;
};

TEST_F(PlotCommand, ShowsASpikeAmongAMillionValues) {
    std::string trace;
    for (int i = 0; i <= 1'000'000; ++i) {
        const std::string number = std::to_string(1'000'000 + i);
        trace += "(" + number.substr(0, 4) + "." + number.substr(4) + ") can0 001#" +
                 (i == 500'000 ? "C8\n" : "00\n");
    }
    folder.write("long.log", trace);
    const ProgramResult run = folder.run("rksignal plot -q --dbc a.dbc Motor.Speed long.log -o -");
    EXPECT_EQ(run.messages, "");
    // from x = 44 to 980; the panel ends at y = 160, and a 27th of its height of 112 is room below 0 and
    // above 200
    const std::string line = "<path class=\"line c0\" d=\"m44 155.9h468v-103.8 103.8h468\"/>";
    EXPECT_NE(run.output.find(line), std::string::npos) << run.output;
}

TEST_F(PlotCommand, NamesStayText) {
    folder.write("evil.json",
                 R"({"can": [{"instance": "<script>x</script>", "msgId": 1, "bits": 8, "unit": "\"&'"},
        {"instance": "a\u202Eb\uFFFF", "msgId": 1, "bits": 1,
         "valueDescriptions": {"0": "</text><script>", "1": "\u001b[31m]]>"}},
        {"instance": "Plain", "msgId": 1, "bits": 1}]})");
    const ProgramResult run = folder.run("rksignal plot -q --signals evil.json --when 'Plain < 3 && 1 > 0' "
                                         "'<*' 'a*' t.log -o x.svg --width 400; "
                                         "rksignal plot -q --signals evil.json '*' t.log");
    EXPECT_EQ(run.messages, "");
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(folder.read("x.svg").c_str())) << folder.read("x.svg");
    read(document);
    EXPECT_EQ(elements, (std::set<std::string>{"svg", "title", "desc", "style", "rect", "path", "text"}));
    const std::string panels =
        "t.log\nPlain < 3 && 1 > 0\n1×\n0\n100\n200\n<script>x</script>\n5 to 250 \"&'\n"
        "\\x1B[31m]]>\na\\xE2\\x80\\xAEb\uFFFD\n…\n</text><script>\n0.0\n";
    EXPECT_EQ(texts.substr(0, panels.size()), panels);
    EXPECT_EQ(run.output.find_first_of("\x07\x1b"), std::string::npos) << run.output;
}

TEST_F(PlotCommand, MakesPngAndPdfFiles) {
    const std::string plot = "rksignal plot -q --dbc a.dbc t.log Motor.Speed ";
    EXPECT_EQ(folder.run(plot + "--width 640 --height 300 -o a.png").messages, "");
    // the chunk IHDR of PNG begins with the width and the height
    const std::string image = folder.read("a.png").substr(0, 24);
    EXPECT_EQ(image, std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\x02\x80\0\0\x01\x2c", 24));
    EXPECT_EQ(folder.run(plot + "-o a.pdf").messages, "");
    const std::string document = folder.read("a.pdf");
    EXPECT_EQ(document.substr(0, 5), "%PDF-");
    EXPECT_NE(document.find("/MediaBox [ 0 0 842.25 595.5 ]"), std::string::npos) << "A4";
}

TEST_F(PlotCommand, SaysWhatIsWrong) {
    const struct {
        const char* arguments;
        const char* expected;
    } rows[] = {
        {"Motor.Sped t.log", "Motor.Sped matches no signal; close are Motor.Speed"},
        {"Motor.Speed u.log", "there is no trace: none of the arguments is a file; u.log is not there"},
        {"Never.Seen t.log", "there is nothing to draw: none of the signals has a value"},
        {"t.log -o t.txt", "-o t.txt: the name does not end in .svg, .png or .pdf; --format says what it is"},
        {"t.log -o t.log --format svg", "the output would overwrite t.log, which is read"},
        {"t.log --width 5", "--width 5: not from 24 to 1000 cells"},
        {"t.log --theme dark", "--theme is for pictures; a terminal has colours of its own"},
    };
    for (const auto& [arguments, expected] : rows) {
        const ProgramResult run = folder.run("rksignal plot -q --dbc a.dbc " + std::string(arguments));
        EXPECT_EQ(run.messages, "rksignal: " + std::string(expected) + "\n");
        EXPECT_EQ(run.status, 2) << arguments;
    }
    EXPECT_EQ(folder.run("rksignal plot --dbc a.dbc t.log Motor.Speed Never.Seen --width 40").output,
              R"(t.log
Motor.Speed                  5 … 250 rpm
   │                               ⢀⣀⠤⠤⠒
200┤                         ⣀⡠⠤⠒⠒⠉⠁
   │                  ⣀⡠⠤⠔⠒⠉⠉
100┤           ⣀⣀⠤⠔⠒⠊⠉
   │    ⢀⣀⠤⠤⠒⠊⠉
  0┤⠤⠒⠒⠉⠁
   └┴─────────────────┴────────────────┴
   0.0               0.5             1.0
time in s since 1970-01-01 00:00:01.000…
)");
}

} // namespace
} // namespace rksignal
