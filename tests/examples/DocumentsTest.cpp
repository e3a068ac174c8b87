// What the README and the documents show must be real: the example compiles and prints what it says, files,
// options and presets exist.

#include "Command.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path project = PROJECT_FOLDER;

std::string contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The README, the change log and everything in docs/.
std::vector<fs::path> documents() {
    std::vector<fs::path> paths{project / "README.md", project / "CHANGELOG.md"};
    for (const auto& entry : fs::directory_iterator(project / "docs")) {
        if (entry.path().extension() == ".md") {
            paths.push_back(entry.path());
        }
    }
    return paths;
}

/// What the first group of `pattern` matches in `text`.
std::set<std::string> matches(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        found.insert(match->str(1));
    }
    return found;
}

/// The content of the first block of `document` that is fenced as `language`.
std::string firstBlock(const std::string& document, const std::string& language) {
    const std::string fence = "```" + language + "\n";
    const std::size_t start = document.find(fence) + fence.size();
    return document.substr(start, document.find("```", start) - start);
}

TEST(Readme, ShowsTheFirstExampleAndItsOutput) {
    const std::string readme = contentOf(project / "README.md");
    EXPECT_EQ(firstBlock(readme, "cpp"), contentOf(project / "examples/first_signal.cpp"));
    const CommandResult result = runCommand(FIRST_SIGNAL);
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(readme.find("```text\n" + result.output + "```"), std::string::npos) << result.output;
}

TEST(Readme, ShowsWhatTheProgramPrints) {
    const std::string readme = contentOf(project / "README.md");
    const std::string shown = readme.substr(readme.find("```sh\nbuild/release/bin/rksignal decode"));
    std::string command = firstBlock(shown, "sh");
    const auto replace = [&command](const std::string& from, const std::string& to) {
        ASSERT_NE(command.find(from), std::string::npos) << command;
        command.replace(command.find(from), from.size(), to);
    };
    replace("build/release/bin/rksignal", RKSIGNAL_PROGRAM);
    replace("build/release/examples/drive/drive.log", "--quiet -");
    const CommandResult result =
        runCommand("cd '" + project.string() + "' && " MAKE_DRIVE " 2>/dev/null | " + command);
    EXPECT_EQ(result.output, firstBlock(shown, "text"));
    EXPECT_EQ(result.status, 0);
}

TEST(Documents, LinksLeadToFiles) {
    for (const fs::path& document : documents()) {
        for (const std::string& link : matches(contentOf(document), R"(\]\(([^)#:]+)(?:#[^)]*)?\))")) {
            EXPECT_TRUE(fs::exists(document.parent_path() / link)) << document << ": " << link;
        }
    }
}

TEST(Documents, FilesThatTheyNameExist) {
    for (const fs::path& document : documents()) {
        const std::string text = contentOf(document);
        for (
            const std::string& path : matches(
                text,
                R"((?:^|[^\w/.-])((?:src|platform|tools|tests|bench|examples|docs|scripts|cmake)/[\w./-]*\w))")) {
            EXPECT_TRUE(fs::exists(project / path)) << document << ": " << path;
        }
        for (const std::string& header :
             matches(text, R"((?:^|[^\w/.-])((?:signal|bus|rktrace|rkutil)/\w+\.h))")) {
            EXPECT_TRUE(fs::exists(project / "src" / header) || fs::exists(project / "platform" / header))
                << document << ": " << header;
        }
    }
}

TEST(Documents, BuildOptionsAndPresetsExist) {
    const std::string build =
        contentOf(project / "CMakeLists.txt") + contentOf(project / "examples/CMakeLists.txt");
    const std::string presets = contentOf(project / "CMakePresets.json");
    for (const fs::path& document : documents()) {
        const std::string text = contentOf(document);
        for (const std::string& option : matches(text, R"(-D((?:RKSIGNAL|EXAMPLES|BUILD)_\w+))")) {
            EXPECT_NE(build.find(option), std::string::npos) << document << ": " << option;
        }
        for (const std::string& option : matches(text, R"(\| `((?:RKSIGNAL|BUILD)_\w+)`)")) {
            EXPECT_NE(build.find(option), std::string::npos) << document << ": " << option;
        }
        for (const std::string& preset : matches(text, R"(--preset[ =](\w+))")) {
            EXPECT_NE(presets.find("\"" + preset + "\""), std::string::npos) << document << ": " << preset;
        }
    }
}

TEST(Documents, OptionsOfThePrograms) {
    const std::pair<const char*, std::string> programs[] = {
        {R"((rksignal decode [^`]*))", runCommand(RKSIGNAL_PROGRAM " decode --help").output},
        {R"((make_drive [^`]*))", runCommand(MAKE_DRIVE " --help").output},
    };
    for (const auto& [command, help] : programs) {
        for (const fs::path& document : documents()) {
            const std::string text = std::regex_replace(contentOf(document), std::regex(R"(\\\n)"), " ");
            std::istringstream lines(text);
            for (std::string line; std::getline(lines, line);) {
                for (const std::string& use : matches(line, command)) {
                    for (const std::string& option : matches(use, R"((?: )(--?[a-z][a-z-]*))")) {
                        EXPECT_NE(help.find(option), std::string::npos) << document << ": " << line;
                    }
                }
            }
        }
    }
}

} // namespace
