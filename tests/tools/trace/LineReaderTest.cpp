#include "trace/LineReader.h"

#include "tools/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <system_error>

namespace rksignal {
namespace {

using testing::ElementsAre;

/// The lines of a file with this content; an overlong one ends in `...`.
std::vector<std::string> linesOf(const std::string& content) {
    const TemporaryFolder folder;
    const InputFile file(folder.write("text", content));
    LineReader reader(file);
    std::vector<std::string> lines;
    std::string_view line;
    while (reader.next(line)) {
        lines.push_back(std::string(line) + (reader.tooLong() ? "..." : ""));
        EXPECT_EQ(reader.lineNumber(), lines.size());
    }
    EXPECT_EQ(reader.position(), content.size());
    EXPECT_FALSE(reader.next(line)) << "the end is the end";
    return lines;
}

TEST(LineReader, LineEnds) {
    EXPECT_THAT(linesOf(""), ElementsAre());
    EXPECT_THAT(linesOf("\n"), ElementsAre(""));
    EXPECT_THAT(linesOf("a\nb\n"), ElementsAre("a", "b"));
    EXPECT_THAT(linesOf("a\nlast"), ElementsAre("a", "last"));
    EXPECT_THAT(linesOf("a\r\n\r\nb\r\n"), ElementsAre("a", "", "b"));
    EXPECT_THAT(linesOf("a\r"), ElementsAre("a"));
    EXPECT_THAT(linesOf("a\rb\n"), ElementsAre("a\rb"));
}

TEST(LineReader, LongLines) {
    const std::string longest(LineReader::maxLength, 'x');
    const std::string huge(1'000'000, 'y');
    const std::string hugeShown = huge.substr(0, LineReader::maxLength) + "...";
    EXPECT_THAT(linesOf(longest + "\nb\n"), ElementsAre(longest, "b"));
    EXPECT_THAT(linesOf(longest + "\r\nb\n"), ElementsAre(longest, "b"));
    EXPECT_THAT(linesOf(longest + "x\nb\n"), ElementsAre(longest + "...", "b"));
    EXPECT_THAT(linesOf("a\n" + huge + "\nb"), ElementsAre("a", hugeShown, "b"));
    EXPECT_THAT(linesOf(huge), ElementsAre(hugeShown));
    EXPECT_THAT(linesOf(huge + "\n" + huge + "\n"), ElementsAre(hugeShown, hugeShown));
}

TEST(LineReader, LinesAcrossBlocksStayWhole) {
    std::string content;
    std::vector<std::string> expected;
    for (std::size_t i = 0; i < 20'000; ++i) {
        expected.push_back(std::to_string(i) + std::string(i % 101, '.'));
        content += expected.back() + (i % 2 != 0 ? "\n" : "\r\n");
    }
    EXPECT_EQ(linesOf(content), expected);
}

TEST(LineReader, FilesThatCannotBeReadAreNamed) {
    const TemporaryFolder folder;
    EXPECT_THROW(
        {
            try {
                InputFile("/nowhere/drive.log");
            } catch (const std::system_error& error) {
                EXPECT_STREQ(error.what(), "cannot open /nowhere/drive.log: No such file or directory");
                throw;
            }
        },
        std::system_error);
    EXPECT_THROW(InputFile(folder.path("")), std::system_error);
}

} // namespace
} // namespace rksignal
