// The generator of the demo's drive: the form of its log, and that it is the same everywhere.

#include "Command.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <regex>
#include <sstream>

namespace {

std::string makeDrive(const std::string& options) {
    return runCommand(std::string(MAKE_DRIVE " 2>/dev/null ") + options).output;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(MakeDrive, WritesCandumpLinesInOrderOfTime) {
    const std::regex form(R"(\((\d{10}\.\d{6})\) can[01] ([0-9A-F]{3}|[0-9A-F]{8})#)"
                          R"((([0-9A-F]{2}){0,8}|#1([0-9A-F]{2}){8}|#1([0-9A-F]{2}){64}|R3))");
    std::string before = "1700000000.000000";
    const auto lines = linesOf(makeDrive("--seconds 25"));
    EXPECT_GT(lines.size(), 10000U);
    for (const std::string& line : lines) {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(line, match, form)) << line;
        ASSERT_LE(before, match[1].str());
        before = match[1];
    }
    EXPECT_EQ(before.substr(0, 10), "1700000024");
}

TEST(MakeDrive, SendsFramesOfEveryKind) {
    const std::string log = makeDrive("--seconds 25");
    const std::pair<const char*, const char*> kinds[] = {
        {"classic", " can0 0C9#"},
        {"extended", " can0 18FEEE00#"},
        {"CAN FD", " can1 2A0##1"},
        {"CAN FD, extended", " can1 18FF0B10##1"},
        {"remote", " can0 3EA#R3"},
        {"error", " can1 20000088#0000040000000000"},
        {"without definition", " can1 555#"},
    };
    for (const auto& [name, text] : kinds) {
        EXPECT_THAT(log, testing::HasSubstr(text)) << name;
    }
}

/// FNV-1a, 64 bits.
std::uint64_t digest(const std::string& text) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char character : text) {
        hash = (hash ^ static_cast<std::uint8_t>(character)) * 0x100000001B3;
    }
    return hash;
}

/// Whatever the compiler, its options and the machine. A change of the model changes the number.
TEST(MakeDrive, IsTheSameEverywhere) {
    EXPECT_EQ(digest(makeDrive("--seconds 310")), 15304155334799030295U);
    EXPECT_NE(makeDrive("--seconds 10 --seed 2"), makeDrive("--seconds 10"));
}

TEST(MakeDrive, LongerDriveBeginsLikeAShorterOne) {
    EXPECT_THAT(makeDrive("--hours 0.01"), testing::StartsWith(makeDrive("--seconds 20")));
}

TEST(MakeDrive, LoadMultipliesTheFrames) {
    const auto once = linesOf(makeDrive("--seconds 20 --start 1"));
    const auto tenfold = linesOf(makeDrive("--seconds 20 --start 1 --load 10"));
    EXPECT_NEAR(static_cast<double>(tenfold.size()), 10 * static_cast<double>(once.size()), 100);
    EXPECT_THAT(once.front(), testing::StartsWith("(0000000001.000"));
    EXPECT_THAT(tenfold.back(), testing::StartsWith("(0000000020.99"));
}

TEST(MakeDrive, RefusesWhatItCannotDo) {
    const std::pair<const char*, const char*> cases[] = {
        {"--output /nowhere/drive.log",
         "make_drive: cannot write /nowhere/drive.log: No such file or directory\n"},
        {"--output /dev/full", "make_drive: cannot write /dev/full: No space left on device\n"},
        {"--load 0", "--load: Value 0 not in range 1 to 100\nRun with --help for more information.\n"},
    };
    for (const auto& [options, message] : cases) {
        const CommandResult result = runCommand(std::string(MAKE_DRIVE " 2>&1 --seconds 1 ") + options);
        EXPECT_EQ(result.output, message) << options;
        EXPECT_EQ(result.status, 2) << options;
    }
}

} // namespace
