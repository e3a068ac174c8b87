/// \file
/// Calls of `rksignal` that cannot be served: one message, status 2, no output.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

struct Row {
    const char* name;
    std::vector<std::string> arguments; ///< `@name` stands for a file in the folder of the test
    std::string messages;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

class DecodeUsage : public testing::TestWithParam<Row> {};

TEST_P(DecodeUsage, IsRefused) {
    const TemporaryFolder folder;
    folder.write(
        "a.dbc",
        "BO_ 1 Motor: 8 X\n SG_ Speed : 0|8@1+ (1,0) [0|0] \"\" X\n"
        " SG_ Temperature : 8|8@1+ (1,0) [0|0] \"\" X\n"
        "BO_ 2 Body: 8 X\n SG_ Speed : 0|8@1+ (1,0) [0|0] \"\" X\n SG_ Door : 8|8@1+ (1,0) [0|0] \"\" X\n");
    folder.write("empty.dbc", "VERSION \"\"\n");
    folder.write("t.log", "(1.0) can0 001#0102\n");
    std::vector<std::string> arguments;
    for (const std::string& argument : GetParam().arguments) {
        const std::size_t at = argument.find('@');
        arguments.push_back(
            at != argument.npos ? argument.substr(0, at) + folder.path(argument.substr(at + 1)) : argument);
    }
    const ProgramResult result = runIn(folder, arguments);
    EXPECT_EQ(result.status, Unusable);
    EXPECT_EQ(result.messages, GetParam().messages);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(folder.read("t.log"), "(1.0) can0 001#0102\n") << "the trace is untouched";
}

constexpr const char* help = "Run with --help for more information.\n";

INSTANTIATE_TEST_SUITE_P(
    Decode, DecodeUsage,
    testing::Values(
        Row{"NoCommand", {}, std::string("A subcommand is required\n") + help},
        Row{"UnknownCommand", {"encode"}, std::string("A subcommand is required\n") + help},
        Row{"NoDefinitions", {"decode", "@t.log"}, std::string("--dbc is required\n") + help},
        Row{"NoTrace", {"decode", "--dbc", "@a.dbc"}, std::string("TRACE is required\n") + help},
        Row{"UnknownFormat",
            {"decode", "--dbc", "@a.dbc", "@t.log", "--format", "xml"},
            std::string("--format: xml not in {csv,jsonl}\n") + help},
        Row{"ChangedAndLast",
            {"decode", "--dbc", "@a.dbc", "@t.log", "--changed", "--last"},
            std::string("--last excludes --changed\n") + help},
        Row{"AbsentTrace",
            {"decode", "--dbc", "@a.dbc", "@absent.log"},
            "rksignal: cannot open absent.log: No such file or directory\n"},
        Row{"TraceIsAFolder", {"decode", "--dbc", "@a.dbc", "@"}, "rksignal: cannot open : Is a directory\n"},
        Row{"AbsentDefinitions",
            {"decode", "--dbc", "@absent.dbc", "@t.log"},
            "rksignal: absent.dbc: No such file or directory\n"},
        Row{"EmptyDefinitions",
            {"decode", "--dbc", "@empty.dbc", "@t.log"},
            "rksignal: no usable definition in empty.dbc\n"},
        Row{"SeveralEmptyDefinitions",
            {"decode", "--dbc", "@empty.dbc", "--dbc", "@empty.dbc", "@t.log"},
            "rksignal: no usable definition in empty.dbc and the others\n"},
        Row{"ChannelTooLarge",
            {"decode", "--dbc", "256=a.dbc", "@t.log"},
            "rksignal: 256=a.dbc: the channel is not a number from 0 to 255\n"},
        Row{"NoChannelBeforeEquals",
            {"decode", "--dbc", "=a.dbc", "@t.log"},
            "rksignal: =a.dbc: no channel before '='\n"},
        Row{"ChannelWithoutNumber",
            {"decode", "--dbc", "@a.dbc", "@t.log", "--channel", "can0"},
            "rksignal: --channel can0: not of the form NAME=N\n"},
        Row{"ChannelNotANumber",
            {"decode", "--dbc", "@a.dbc", "@t.log", "--channel", "can0=1x"},
            "rksignal: --channel can0=1x: the channel is not a number from 0 to 255\n"},
        Row{"ChannelTwice",
            {"decode", "--dbc", "@a.dbc", "@t.log", "--channel", "can0=1", "--channel", "can0=2"},
            "rksignal: --channel can0=2: the interface has a channel already\n"},
        Row{"SignalsByAbbreviation",
            {"decode", "--dbc", "@a.dbc", "@t.log", "--signals", "Motor.Temp"},
            "rksignal: --signals Motor.Temp matches no signal; close are Motor.Temperature, Motor.Speed, "
            "Body.Door\n"},
        Row{"SignalsInOtherCase",
            {"decode", "--dbc", "@a.dbc", "@t.log", "--signals", "motor.*"},
            "rksignal: --signals motor.* matches no signal; close are Motor.Speed, Motor.Temperature, "
            "Body.Door\n"},
        Row{"OutputOverTrace",
            {"decode", "--dbc", "@a.dbc", "@t.log", "-o", "@t.log"},
            "rksignal: the output would overwrite the trace t.log\n"},
        Row{"OutputNowhere",
            {"decode", "--dbc", "@a.dbc", "@t.log", "-o", "@no/out"},
            "rksignal: cannot write no/out: No such file or directory\n"}),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace rksignal
