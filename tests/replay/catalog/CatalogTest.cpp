/// \file
/// Which signals of a frame get a value, and what is said about definitions that are added.
#include "catalog/Catalog.h"
#include "replay/CandumpFrame.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <regex>
#include <sstream>
#include <sys/shm.h>
#include <thread>
#include <unistd.h>

namespace rksignal {
namespace {

/// Decodes the frames of identifier 1 on channel 0, `#0102` or, for CAN FD, `##0102`, whose times count from
/// 1, by every definition of the catalog. \return `time:signal=raw ` in the order of decoding, `?` for a
/// frame that is not one of the definitions
std::string decoded(Catalog& catalog, const std::string& frames) {
    std::istringstream texts(frames);
    std::ostringstream out;
    std::vector<unsigned long> ids;
    std::map<unsigned long, std::uint64_t> times;
    std::uint64_t time = 0;
    for (std::string text; texts >> text;) {
        const std::string data = text.starts_with("##") ? "##0" + text.substr(2) : text;
        const CANExtTraceMessage frame = frameOf("001" + data, ++time);
        for (const auto decoders : catalog.decodersOf(0, 1, false)) {
            for (MessageDecoder* const decoder : decoders) {
                out << (decoder->decode(frame, ids) ? "" : "? ");
                for (const unsigned long id : ids) {
                    const BaseSignal& signal = *catalog.signals()[catalog.indexOf(id)];
                    out << time << ':' << signal.def.signal << '='
                        << static_cast<std::int64_t>(signal.slot->raw) << ' ';
                    times[id] = time;
                }
            }
        }
        for (const auto& signal : catalog.signals()) { // what a frame does not write keeps its time
            EXPECT_EQ(signal->slot->timestamp,
                      times.contains(signal->id) ? times[signal->id] : signalSlot_t::unwrittenTimestamp);
        }
    }
    return out.str();
}

std::string remarksOf(const Catalog& catalog) {
    std::ostringstream out;
    for (const Remark& remark : catalog.remarks()) {
        out << remark << '\n';
    }
    return out.str();
}

TEST(Catalog, OnlyWhatAFrameHoldsIsWritten) {
    const struct {
        const char* name;
        std::string body, frames, expected;
        std::uint64_t shortFrames = 0, untouched = 0;
    } rows[] = {
        {"one level", "8\n SG_ P : 56|8@1+\n SG_ M M : 0|8@1+\n SG_ Zero m0 : 8|8@1+\n SG_ One m1 : 23|16@0-",
         "#000506FFFF000009 #01050AFFFE000008 #0205060000000007 #0105 #010506 #01 #",
         "1:P=9 1:M=0 1:Zero=5 2:P=8 2:M=1 2:One=2815 3:P=7 3:M=2 4:M=1 5:M=1 6:M=1 ", 4, 8},
        {"ranges",
         "3\n SG_ M M : 0|8@1+\n SG_ Low m0 : 8|8@1+\n SG_ Mixed m5 : 16|8@1+\n"
         "SG_MUL_VAL_ 1 Low M 0-3;\nSG_MUL_VAL_ 1 Mixed M 3-4, 200-18446744073709551615;",
         "#000102 #030102 #040102 #050102 #FF0102 #C70102",
         "1:M=0 1:Low=1 2:M=3 2:Low=1 2:Mixed=2 3:M=4 3:Mixed=2 4:M=5 5:M=255 5:Mixed=2 6:M=199 "},
        {"nested",
         "3\n SG_ M M : 0|4@1+\n SG_ N m1M : 4|4@1+\n SG_ S m2 : 8|8@1+\n SG_ T m0 : 8|8@1+\n SG_ P : "
         "16|8@1+\nSG_MUL_VAL_ 1 N M 1-1;\nSG_MUL_VAL_ 1 S N 2-2;",
         "#210506 #110506 #200506", "1:M=1 1:N=2 1:S=5 1:P=6 2:M=1 2:N=1 2:P=6 3:M=0 3:T=5 3:P=6 "},
        {"independent, the first with a sign",
         "3\n SG_ M M : 0|4@1-\n SG_ N M : 4|4@1+\n SG_ S m15 : 8|8@1+\n SG_ T m1 : 16|8@1+\nSG_MUL_VAL_ 1 T "
         "N 1-1;",
         "#1F0506 #0F0506 #100506 #000506",
         "1:M=-1 1:S=5 1:N=1 1:T=6 2:M=-1 2:S=5 2:N=0 3:M=0 3:N=1 3:T=6 4:M=0 4:N=0 "},
        {"CAN FD, in classic frames too, 16 bits",
         "64\n SG_ M M : 0|16@1+\n SG_ Near m65535 : 16|8@1+\n SG_ Far m1 : 488|24@1+\n SG_ P : 24|8@1+\n"
         " SG_ Last m1 : 503|16@0+",
         "##FFFF0607" + std::string(120, '0') + " ##01000607" + std::string(114, '0') +
             "030201 ##01000607 #FFFF",
         "1:M=65535 1:Near=6 1:P=7 2:M=1 2:Far=66051 2:Last=513 2:P=7 3:M=1 3:P=7 4:M=65535 ", 2, 4},
        {"multiplexer behind its signals", "8\n SG_ M M : 24|8@1+\n SG_ S m0 : 7|16@0+\n SG_ T : 12|8@1+",
         "#0506 #050607 #05060700 ##0506070008090A0B",
         "2:T=112 3:M=0 3:S=1286 3:T=112 4:M=0 4:S=1286 4:T=112 ", 3, 3},
    };
    for (const auto& [name, body, frames, expected, shortFrames, untouched] : rows) {
        Catalog catalog;
        catalog.addDbcText("BO_ 1 A: " +
                               std::regex_replace(body, std::regex("(@[01][+-])"), "$1 (1,0) [0|0] \"\""),
                           "t.dbc");
        EXPECT_EQ(decoded(catalog, frames), expected) << name;
        EXPECT_EQ(catalog.decoders()[0]->statistics().shortFrames, shortFrames) << name;
        EXPECT_EQ(catalog.decoders()[0]->statistics().untouched, untouched) << name;
    }
}

/// The second PDU has a multiplexer; PDUs in classic frames are none.
TEST(Catalog, PdusAreFoundInCanFdFrames) {
    Catalog catalog;
    catalog.addJsonText(R"({"can": [
        {"instance": "A", "msgId": 1, "canFD": true, "pduId": "0xA", "bits": 8},
        {"instance": "M", "msgId": 1, "canFD": true, "pduId": "0xB", "bits": 8, "multiplexer": 1},
        {"instance": "S", "msgId": 1, "canFD": true, "pduId": "0xB", "bits": 16, "startbit": 8, "endian": "little",
         "multiplexed": true, "mux": 3},
        {"instance": "Frame", "msgId": 1, "canFD": true, "bits": 8}]})",
                        "t.json");
    EXPECT_EQ(decoded(catalog, "##00000A0111 ##0000AA0000000B0303010200000A0177 ##00000B020301 "
                               "#00000A0111"),
              "1:Frame=0 1:A=17 ? 2:Frame=0 2:A=119 2:M=3 2:S=513 3:Frame=0 ? 3:M=3 4:Frame=0 ? ? ");

    Catalog longHeaders;
    longHeaders.addJsonText(R"({"can": [{"instance": "B", "msgId": 1, "canFD": true, "pduId": "0xB0000001",
        "pduHeader": "long", "bits": 8}]})",
                            "t.json");
    EXPECT_EQ(decoded(longHeaders, "##0000000A0000000111B00000010000000122 ##B0000001FFFFFFFF33 ##B0000001"),
              "1:B=34 2:B=51 ? ");
}

TEST(Catalog, RemarksSayWhatIsNotDecodedAndWhatGotAnotherName) {
    const std::string a = "BO_ 1 A: 8\n SG_ S : 0|8@1+ (1,0) [0|0] \"\"\n";
    const std::string wide =
        "BO_ 2 B: 8\n SG_ M M : 1|64@1+ (1,0) [0|0] \"\"\n SG_ S m1 : 0|8@1+ (1,0) [0|0] \"\"\n";
    const std::string other = "BO_ 1 A: 8\n SG_ S : 0|9@1+ (1,0) [0|0] \"\"\n";
    Catalog catalog;
    catalog.addDbcText(a, "a");
    catalog.addDbcText(a, "same");
    catalog.addDbcText(other, "other");
    catalog.addDbcText(a + wide, "bound", 3);
    catalog.addDbcText("BO_ 1 C: 8", "third");
    catalog.addJsonText(R"({"can": [{"instance": "A.S", "msgId": 5, "bits": 8},
        {"instance": "X", "msgId": 5, "bits": 8, "multiplexed": true, "mux": 1}],
        "lin": [{"instance": "A.S#2", "msgId": 5, "bits": 8}]})",
                        "j");
    EXPECT_EQ(remarksOf(catalog), R"(same:1: message A is already defined exactly so
other:1: message A has the identifier of A, defined otherwise; frames are decoded by both
other:1: 1 of its instance names were taken, so A.S became A.S#2
bound:4: signal B.M is not decoded: it touches more than 8 bytes
bound:5: signal B.S is not decoded: it depends on a multiplexer that is dropped
bound:1: 1 of its instance names were taken, so A.S became A.S@3
third:1: message C has the identifier of A and 1 more, defined otherwise; frames are decoded by all
j#/can/0: signal A.S is not decoded: its name is taken
j#/can/1: signal X is not decoded: it depends on a multiplexer that is dropped
j#/lin/0: signal A.S#2 is not decoded: its name is taken
)");
    EXPECT_EQ(catalog.remarks().count(Severity::Error), 2U);
    ASSERT_EQ(catalog.signals().size(), 3U);
    EXPECT_EQ(catalog.origin(2).message->channel, 3);
    EXPECT_EQ(catalog.origin(2).definition().place, "bound:2");
    EXPECT_EQ(catalog.signals()[2]->def.instance, "A.S@3");
}

/// Each of these took minutes or gigabytes when it was quadratic.
TEST(Catalog, GrowsLinearly) {
    Catalog names;
    std::string dbc;
    for (int i = 0; i < 20'000; ++i) {
        dbc += "BO_ " + std::to_string(0x80000000U + static_cast<unsigned>(i)) +
               " A: 8\n SG_ S : 0|8@1+ (1,0) [0|0] \"\"\n";
    }
    names.addDbcText(dbc, "names");
    EXPECT_EQ(names.signals().back()->def.instance, "A.S#20000");

    Catalog messages;
    std::string json = R"({"can": [)";
    for (int i = 0; i < 20'000; ++i) {
        const std::string number = std::to_string(i);
        json += (i == 0 ? "" : ",") + (R"({"instance": "S)" + number +
                                       R"(", "msgId": 1, "bits": 8, "message": "M)" + number + R"("})");
    }
    messages.addJsonText(json + "]}", "messages");
    EXPECT_EQ(messages.decoders().size(), 20'000U);
    EXPECT_EQ(messages.remarks().count(Severity::Note), 19'999U);
    EXPECT_EQ(messages.remarks().kept().size(), 1'001U) << "the last says how many more there are";

    std::string chain = "BO_ 1 A: 8\n SG_ S0 M : 0|8@1+ (1,0) [0|0] \"\"\n", links;
    for (int i = 1; i < 20'000; ++i) {
        const std::string number = std::to_string(i);
        chain += " SG_ S" + number + " m0M : 0|8@1+ (1,0) [0|0] \"\"\n";
        links += "SG_MUL_VAL_ 1 S" + number + " S" + std::to_string(i - 1) + " 0-0;\n";
    }
    Catalog chained;
    chained.addDbcText(chain + links, "chain");
    std::vector<unsigned long> ids;
    chained.decoders()[0]->decode(frameOf("001#00", 1), ids);
    EXPECT_EQ(ids.size(), 20'000U);
}

/// Of one process, each used by a thread of its own.
TEST(Catalog, TwoDoNotKnowOfEachOther) {
    const auto use = [](const char* sign, std::string& result) {
        for (int i = 0; i < 20; ++i) {
            Catalog catalog;
            catalog.addDbcText(std::string("BO_ 1 A: 8\n SG_ S : 0|8@1") + sign + " (1,0) [0|0] \"\"\n", "t");
            result = decoded(catalog, "#FF #01");
        }
    };
    std::string plain, withSign;
    Catalog other;
    other.addDbcText("BO_ 1 A: 8\n SG_ S : 8|8@1+ (1,0) [0|0] \"\"\n", "t");
    std::thread first(use, "+", std::ref(plain));
    use("-", withSign);
    first.join();
    EXPECT_EQ(plain, "1:S=255 2:S=1 ");
    EXPECT_EQ(withSign, "1:S=-1 2:S=1 ");
    EXPECT_EQ(decoded(other, "#FF02"), "1:S=2 ");
}

/// What one catalog decodes another one reads, as in two processes; a further sender's signals, too.
TEST(Catalog, SharedValuesAreThoseOfAllCatalogs) {
    const std::string name = "Shared" + std::to_string(getpid());
    const std::string text = "BA_ \"ProtocolType\" \"J1939\";\nBO_ 2364540158 " + name +
                             ": 8 X\n SG_ M M : 0|8@1+ (1,0) [0|0] \"\"\n"
                             " SG_ One m1 : 8|8@1+ (1,0) [0|0] \"\"\n SG_ Two m2 : 8|8@1+ (1,0) [0|0] \"\"\n";
    struct DetachOnly {
        DetachOnly() { BaseSignal::detachOnly = true; } // the test removes what it made
        ~DetachOnly() { BaseSignal::detachOnly = false; }
    } const detach;
    Catalog reader(SignalPlace::Shared);
    Catalog writer(SignalPlace::Shared);
    std::vector<unsigned long> ids;
    for (Catalog* const catalog : {&reader, &writer}) {
        catalog->addDbcText(text, "t");
        catalog->addSources(name + ".One@SA21");
    }
    std::uint64_t time = 0;
    for (const char* const frame : {"0CF00421#0107", "0CF00400#0208"}) {
        const CANExtTraceMessage received = frameOf(frame, ++time);
        writer.groupDecodersOf(0, received.canId)[1].front()->decode(received, ids);
    }
    std::ostringstream values;
    for (const auto& signal : reader.signals()) {
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (signal->read(raw, timestamp)) {
            values << signal->def.instance.substr(name.size()) << '=' << raw << '@' << timestamp << ' ';
        }
        EXPECT_NE(signal->shmId, -1);
        shmctl(signal->shmId, IPC_RMID, nullptr);
        std::ostringstream claim;
        claim << "/tmp/.rksignal-key-" << std::hex << signal->key;
        std::filesystem::remove(claim.str());
        std::filesystem::remove("/tmp/" + signal->def.instance);
    }
    EXPECT_EQ(values.str(), ".M=2@2 .Two=8@2 .M@SA21=1@1 .One@SA21=7@1 ");
}

} // namespace
} // namespace rksignal
