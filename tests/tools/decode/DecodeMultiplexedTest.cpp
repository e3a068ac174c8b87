/// \file
/// Which signals of multiplexed and of short frames get a value.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <regex>

namespace rksignal {
namespace {

/// Decodes frames of identifier 1, one a second, by message A, for which the library finds the signals where
/// it can, and by message B, which is the same and therefore decoded signal by signal. Both must give the
/// same, and what a frame does not write must keep its last value and time. \param body length, name and
/// layout of each signal up to its sign, statements \return `second:signal=raw ... ` of message A, then what
/// is missing by the summary
std::string decodeTwice(const std::string& body, const std::string& frames) {
    const TemporaryFolder folder;
    const std::string signals = std::regex_replace(body, std::regex("(@[01][+-])"), "$1 (1,0) [0|0] \"\"");
    folder.write("a.dbc", "BO_ 1 A: " + signals);
    folder.write("b.dbc", "BO_ 1 B: " + signals);
    folder.write("frames", frames);
    const ProgramResult result =
        folder.run(R"(tr ' ' '\n' < frames | awk '{print "(" NR ".0) can0 001" $1}' > t.log
        decode() { rksignal decode --dbc a.dbc --dbc b.dbc --format csv t.log "$@" | tail -n +2; }
        values() { sed -nE "s/^([0-9]+).*,can,$1\.([^,]*),.*,,([^,]*),$/\1:\2=\3/p" rows | sort; }
        decode > rows
        tac rows | sort -t, -k4,4 -s -u > last
        decode --last -q | sed -E 's/,[0-9]+$//' | sort -t, -k4,4 | diff last -
        values B > b
        values A | tee a | tr '\n' ' '
        diff a b)");
    std::smatch missing;
    std::regex_search(result.messages, missing, std::regex("  A: (.*) missing"));
    return missing.empty() ? result.output : result.output + missing.str(1);
}

TEST(DecodeMultiplexed, OnlyWhatTheFrameHoldsIsWritten) {
    const struct {
        const char* name;
        std::string body, frames, expected;
    } rows[] = {
        {"one level", "8\n SG_ P : 56|8@1+\n SG_ M M : 0|8@1+\n SG_ Zero m0 : 8|8@1+\n SG_ One m1 : 23|16@0-",
         "#000506FFFF000009 #01050AFFFE000008 #0205060000000007 #0105 #010506 #01 #",
         "1:M=0 1:P=9 1:Zero=5 2:M=1 2:One=2815 2:P=8 3:M=2 3:P=7 4:M=1 5:M=1 6:M=1 4 of 7 frames, 8 values"},
        {"ranges",
         "3\n SG_ M M : 0|8@1+\n SG_ Low m0 : 8|8@1+\n SG_ Mixed m5 : 16|8@1+\n"
         "SG_MUL_VAL_ 1 Low M 0-3;\nSG_MUL_VAL_ 1 Mixed M 3-4, 200-18446744073709551615;",
         "#000102 #030102 #040102 #050102 #FF0102 #C70102",
         "1:Low=1 1:M=0 2:Low=1 2:M=3 2:Mixed=2 3:M=4 3:Mixed=2 4:M=5 5:M=255 5:Mixed=2 6:M=199 "},
        {"nested",
         "3\n SG_ M M : 0|4@1+\n SG_ N m1M : 4|4@1+\n SG_ S m2 : 8|8@1+\n SG_ T m0 : 8|8@1+\n SG_ P : "
         "16|8@1+\n"
         "SG_MUL_VAL_ 1 N M 1-1;\nSG_MUL_VAL_ 1 S N 2-2;",
         "#210506 #110506 #200506", "1:M=1 1:N=2 1:P=6 1:S=5 2:M=1 2:N=1 2:P=6 3:M=0 3:P=6 3:T=5 "},
        {"independent, the first with a sign",
         "3\n SG_ M M : 0|4@1-\n SG_ N M : 4|4@1+\n SG_ S m15 : 8|8@1+\n SG_ T m1 : 16|8@1+\nSG_MUL_VAL_ 1 T "
         "N 1-1;",
         "#1F0506 #0F0506 #100506 #000506",
         "1:M=-1 1:N=1 1:S=5 1:T=6 2:M=-1 2:N=0 2:S=5 3:M=0 3:N=1 3:T=6 4:M=0 4:N=0 "},
        {"CAN FD, in classic frames too, 16 bits",
         "64\n SG_ M M : 0|16@1+\n SG_ Near m65535 : 16|8@1+\n SG_ Far m1 : 488|24@1+\n SG_ P : 24|8@1+",
         "##1FFFF0607" + std::string(120, '0') + " ##101000607" + std::string(114, '0') +
             "030201 ##101000607 #FFFF",
         "1:M=65535 1:Near=6 1:P=7 2:Far=66051 2:M=1 2:P=7 3:M=1 3:P=7 4:M=65535 2 of 4 frames, 3 values"},
        {"multiplexer behind its signals", "8\n SG_ M M : 24|8@1+\n SG_ S m0 : 7|16@0+\n SG_ T : 12|8@1+",
         "#0506 #050607 #05060700 ##10506070008090A0B",
         "2:T=112 3:M=0 3:S=1286 3:T=112 4:M=0 4:S=1286 4:T=112 3 of 4 frames, 3 values"},
    };
    for (const auto& [name, body, frames, expected] : rows) {
        EXPECT_EQ(decodeTwice(body, frames), expected) << name;
    }
}

} // namespace
} // namespace rksignal
