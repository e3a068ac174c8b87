// What the README and the documents show must be real: the example compiles and prints what it says, files,
// options and presets exist.

#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

namespace {

namespace fs = std::filesystem;

const fs::path project = PROJECT_FOLDER;
const fs::path programs = fs::path(MAKE_DRIVE).parent_path();

using rksignal::contentOf;

std::string outputOf(const std::string& command) {
    return rksignal::TemporaryFolder().run(command).output;
}

/// What the first group of `pattern` matches in `text`.
std::set<std::string> matches(const std::string& text, const std::string& pattern) {
    const std::regex regex(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        found.insert(match->str(1));
    }
    return found;
}

/// The content of the first block of `document` that is fenced as `language`.
std::string firstBlock(const std::string& document, const std::string& language) {
    const std::size_t start = document.find("```" + language + "\n") + language.size() + 4;
    return document.substr(start, document.find("```", start) - start);
}

TEST(Readme, ShowsWhatTheProgramsPrint) {
    const std::string readme = contentOf(project / "README.md");
    EXPECT_EQ(firstBlock(readme, "cpp"), contentOf(project / "examples/first_signal.cpp"));
    EXPECT_EQ(firstBlock(readme, "text"), outputOf(FIRST_SIGNAL));
    const std::regex block("```sh\n(build/release/bin/rksignal[^`]*)```\n\n```text\n([^`]*)```");
    const std::regex trace("build/release/examples/drive/drive\\.(log|rktrace)");
    int commands = 0;
    for (std::sregex_iterator shown(readme.begin(), readme.end(), block), end; shown != end;
         ++shown, ++commands) {
        std::string command =
            std::regex_replace(shown->str(1), std::regex("build/release/bin/rksignal"), RKSIGNAL_PROGRAM);
        std::smatch match;
        ASSERT_TRUE(std::regex_search(command, match, trace)) << command;
        const std::string output = match.str(1) == "log" ? " --output - " : " --records - ";
        command = std::regex_replace(command, trace, "--quiet -");
        const std::string printed =
            outputOf("cd '" + project.string() + "' && " MAKE_DRIVE + output + "| " + command);
        EXPECT_EQ(shown->str(2), std::regex_replace(printed, std::regex("\n\n$"), "\n"));
    }
    EXPECT_EQ(commands, 3);
}

/// Its blocks run one after the other; what a block prints is shown behind it, or it prints nothing.
TEST(Guide, ShowsWhatTheProgramsPrint) {
    const rksignal::TemporaryFolder folder;
    const std::string guide =
        std::regex_replace(contentOf(project / "docs/guide.md"), std::regex("\\.\\./\\.\\./examples"),
                           (project / "examples").string());
    const std::regex block("```sh\n([^`]*)```\n(?:\n```text\n([^`]*)```)?");
    int blocks = 0;
    for (std::sregex_iterator match(guide.begin(), guide.end(), block), end; match != end;
         ++match, ++blocks) {
        const auto result = folder.run("make_drive() { " MAKE_DRIVE " \"$@\"; }\n" + match->str(1));
        const std::string printed = std::regex_replace(result.output, std::regex("\n\n$"), "\n");
        EXPECT_EQ(printed, match->str(2)) << match->str(1) << result.messages;
        EXPECT_EQ(result.status, 0) << match->str(1) << result.messages;
    }
    EXPECT_EQ(blocks, 8);
}

TEST(Documents, NameOnlyWhatExists) {
    const std::string build = contentOf(project / "CMakeLists.txt") +
                              contentOf(project / "examples/CMakeLists.txt") +
                              contentOf(project / "CMakePresets.json");
    std::vector<fs::path> documents{project / "README.md", project / "CHANGELOG.md"};
    std::copy_if(fs::directory_iterator(project / "docs"), {}, std::back_inserter(documents),
                 [](const fs::path& path) { return path.extension() == ".md"; });
    for (const fs::path& document : documents) {
        SCOPED_TRACE(document);
        const std::string text = std::regex_replace(contentOf(document), std::regex(R"(\\\n)"), " ");
        for (const std::string& link : matches(text, R"(\]\(([^)#:]+)(?:#[^)]*)?\))")) {
            EXPECT_TRUE(fs::exists(document.parent_path() / link)) << link;
        }
        const char* const paths =
            R"([^\w/.-]((?:src|platform|tools|tests|bench|fuzz|examples|docs|scripts|cmake)/[\w./-]*\w|)"
            R"((?:signal|bus|input|expression|event|rktrace|rkutil)/\w+\.h))";
        for (const std::string& path : matches(text, paths)) {
            EXPECT_TRUE(fs::exists(project / path) || fs::exists(project / "src" / path) ||
                        fs::exists(project / "platform" / path))
                << path;
        }
        for (const std::string& option : matches(text, R"((?:-D|\| `)((?:RKSIGNAL|EXAMPLES|BUILD)_\w+))")) {
            EXPECT_NE(build.find(option), std::string::npos) << option;
        }
        for (const std::string& preset : matches(text, R"(--preset[ =](\w+))")) {
            EXPECT_NE(build.find("\"" + preset + "\""), std::string::npos) << preset;
        }
        for (const char* program : {"rksignal decode", "rksignal trigger", "rksignal events",
                                    "rksignal check", "rksignal convert", "rksignal list", "rksignal explain",
                                    "rksignal export", "rksignal plot", "rksignal report", "make_drive"}) {
            const std::string help = outputOf((programs / program).string() + " --help");
            for (const std::string& use : matches(text, "(" + std::string(program) + " [^`\n]*)")) {
                for (const std::string& option : matches(use, R"( (--?[a-z][a-z-]*))")) {
                    EXPECT_NE(help.find(option), std::string::npos) << use;
                }
            }
        }
    }
}

} // namespace
