/// \file
/// What the program says about itself: first steps, help, manual page, completions.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

TEST(Program, HelpOfEveryCommandEndsWithAnExample) {
    const TemporaryFolder folder;
    const ProgramResult result =
        folder.run("for command in $(rksignal --completion bash | sed -n \"s/^    ,\\*).*-W '\\([^-]*\\) "
                   "-.*/\\1/p\"); do "
                   "rksignal $command --help | grep -A9 '^Examples*:' | grep -q \"^  rksignal $command \" && "
                   "echo $command; done");
    EXPECT_EQ(result.output.substr(0, 12), "info\ndecode\n");
    const ProgramResult names =
        folder.run("rksignal --help | sed -n '/^Subcommands/,$ s/^  \\([a-z]*\\) .*/\\1/p'");
    EXPECT_EQ(result.output, names.output);
    EXPECT_EQ(folder.run("rksignal").messages.find("rksignal works with recorded bus traffic"), 0U);
}

TEST(Program, BashCompletesCommandsOptionsValuesAndFiles) {
    const TemporaryFolder folder;
    folder.write("drive.log", "");
    const char* const cases[][2] = {
        {"deco", "decode"},         {"decode --chan", "--channel --changed"}, {"list -q --format j", "json"},
        {"decode driv", ""}, // what `complete -o default` leaves to the shell: names of files
        {"--comp", "--completion"},
    };
    for (const auto& [words, replies] : cases) {
        const ProgramResult result = folder.run(
            "rksignal --completion bash > c; bash -c 'set -eu; source ./c; complete -p rksignal | grep -q "
            "\"o default\"; COMP_WORDS=(rksignal " +
            std::string(words) +
            "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _rksignal; echo ${COMPREPLY[*]}'");
        EXPECT_EQ(result.output, std::string(replies) + "\n") << words << result.messages;
    }
}

TEST(Program, ManualAndCompletionsAreWellFormed) {
    const TemporaryFolder folder;
    const ProgramResult result =
        folder.run("rksignal --man > rksignal.1\n"
                   "! command -v man || MANWIDTH=80 man --warnings=w -E UTF-8 -l rksignal.1 > text\n"
                   "! command -v man || grep -q -e '--completion bash|zsh|fish' text\n"
                   "! command -v mandoc || mandoc -Tlint -W error rksignal.1\n"
                   "for shell in bash zsh fish; do rksignal --completion $shell > $shell.txt; "
                   "! command -v $shell || $shell -n $shell.txt; done");
    EXPECT_EQ(result.messages, "");
}

} // namespace
} // namespace rksignal
