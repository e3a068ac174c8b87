/// \file
/// What `rksignal convert` writes, says and refuses.
#include "support/CapturedOutput.h"
#include "text/NumberText.h"
#include "tools/ProgramRun.h"
#include "tools/RecordFile.h"

#include <gtest/gtest.h>

#include <numeric>

namespace rksignal {
namespace {

TEST(ConvertDbc, NamesWhatNoFrameCanCarry) {
    const TemporaryFolder folder;
    folder.write("a.dbc", R"(BO_ 1 A: 8 X
 SG_ Page M : 0|8@1+ (1,0) [0|9] "" Y
 SG_ Wide m2M : 60|8@1+ (1,0) [0|0] ""
 SG_ Deep m7 : 16|8@1+ (1,0) [0|0] ""
SG_MUL_VAL_ 1 Deep Wide 7-7;
)");
    const ProgramResult result = folder.run("rksignal convert --channel body=9 body=a.dbc a.json");
    EXPECT_EQ(result.messages,
              R"(a.dbc:3: signal A.Wide is not decoded: it reaches beyond the 8 bytes of a classic frame
a.dbc:4: signal A.Deep is not decoded: it depends on a multiplexer that is dropped
signals converted: 1
values lost: signals not converted (2)
)");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(nlohmann::json::parse(folder.read("a.json")), R"({"version": 2,
        "messages": [{"msgId": "0x1", "channel": 9, "message": "A", "length": 8, "sender": "X"}],
        "can": [{"instance": "A.Page", "signal": "Page", "channel": 9, "bits": 8, "maximum": 9, "multiplexer": 1,
                 "receivers": ["Y"], "msgId": "0x1", "message": "A", "sender": "X"}]})"_json);
}

/// Names that are no identifiers, are taken or too long; nodes; texts with quotes; values by the raw word of
/// a float; multiplexers below others. What the format does not hold is said.
TEST(ConvertDbc, WritesWhatItReads) {
    const TemporaryFolder folder;
    folder.write("a.json", R"({"version": 2, "messages": [
        {"msgId": "0x1", "message": "Motor \"1\"", "length": 8, "sender": "Gate Way", "cycleTime": 2.5, "comment": "a\nb"},
        {"msgId": "0x18FEF100", "extended": true, "j1939": true, "message": "CCVS", "length": 8},
        {"msgId": "0x2", "canFD": true, "channel": 3, "message": "CCVS", "length": 8},
        {"kind": "lin", "msgId": 1}],
      "can": [
        {"instance": "M", "msgId": "0x1", "message": "Motor \"1\"", "bits": 8, "multiplexer": 1, "unit": "°C", "initial": 3},
        {"instance": "SG_", "msgId": "0x1", "message": "Motor \"1\"", "bits": 8, "startbit": 15, "endian": "big",
         "type": "signed", "multiplexer": 1, "multiplexed": true, "muxValues": [1, [4, 5]], "receivers": ["A", "B"],
         "valueDescriptions": {"-1": "none"}},
        {"instance": "aVeryLongNameOfASignalThatHasMoreThan32", "msgId": "0x1", "message": "Motor \"1\"", "bits": 32,
         "startbit": 16, "type": "float", "scale": 0.1, "minimum": -1, "maximum": 1e10, "multiplexed": true, "mux": 7,
         "multiplexedBy": "SG_", "comment": "say \"x\"", "valueDescriptions": {"1065353216": "one", "1": "tiny"}}]})");
    const ProgramResult result = folder.run("rksignal convert a.json a.dbc");
    EXPECT_EQ(result.messages,
              "signals converted: 3\n"
              "not held by the output: channels of messages (1), initial values (1), messages of LIN (1), "
              "texts of values that are no whole numbers (1)\n");
    const std::string text = folder.read("a.dbc");
    const auto without = [&text](const std::string& start, const std::string& end) {
        return text.substr(text.find(start), text.find(end) - text.find(start)) +
               text.substr(text.find("BA_ \""));
    };
    EXPECT_EQ(without("BU_:", "BA_DEF_ BU_"), R"(BU_: Gate_Way A B

BO_ 1 Motor__1_: 8 Gate_Way
 SG_ M M : 0|8@1+ (1,0) [0|0] ")"
                                              "\xB0"
                                              R"(C" Vector__XXX
 SG_ _SG_ m1M : 15|8@0- (1,0) [0|0] "" A,B
 SG_ aVeryLongNameOfASignalThatHasMor m7 : 16|32@1- (0.1,0) [-1|10000000000] "" Vector__XXX

BO_ 2566844672 CCVS: 8 Vector__XXX

BO_ 2 CCVS_2: 8 Vector__XXX

CM_ BO_ 1 "a
b";
CM_ SG_ 1 aVeryLongNameOfASignalThatHasMor "say \"x\"";
BA_ "SystemNodeLongSymbol" BU_ Gate_Way "Gate Way";
BA_ "GenMsgCycleTime" BO_ 1 2.5;
BA_ "SystemMessageLongSymbol" BO_ 1 "Motor \"1\"";
BA_ "SystemSignalLongSymbol" SG_ 1 _SG_ "SG_";
BA_ "SystemSignalLongSymbol" SG_ 1 aVeryLongNameOfASignalThatHasMor "aVeryLongNameOfASignalThatHasMoreThan32";
BA_ "VFrameFormat" BO_ 2566844672 3;
BA_ "VFrameFormat" BO_ 2 14;
BA_ "SystemMessageLongSymbol" BO_ 2 "CCVS";
VAL_ 1 _SG_ -1 "none" ;
VAL_ 1 aVeryLongNameOfASignalThatHasMor 1 "one" ;
SIG_VALTYPE_ 1 aVeryLongNameOfASignalThatHasMor : 1;
SG_MUL_VAL_ 1 _SG_ M 1-1, 4-5;
SG_MUL_VAL_ 1 aVeryLongNameOfASignalThatHasMor _SG_ 7-7;
)");
}

TEST(Convert, RefusesWithoutTouchingTheOutput) {
    const TemporaryFolder folder;
    folder.write("a.dbc", "BO_ 1 A: 8 X\n");
    folder.write("a.log", "(1.000000) can0 123#11\n");
    folder.write("bad.dbc", "BO_ x A: 8 X\n");
    folder.write("old.json", "old");
    std::filesystem::create_symlink("a.log", folder.path("link.log"));
    const std::pair<const char*, const char*> rows[] = {
        {"a.dbc a.rktrace",
         "cannot convert a.dbc to a.rktrace: definitions become a .json or a .dbc, a trace becomes a "
         ".rktrace, .log, .asc, .blf or .pcapng"},
        {"a.log link.log", "the output would overwrite a.log, which is read"},
        {"a.log old.json", "a.log is a candump log, not a file of definitions"},
        {"a.dbc a.dbc", "the output would overwrite a.dbc, which is read"},
        {"--cluster A a.dbc old.json", "no file of definitions has a cluster A, nor any other"},
        {"none.dbc old.json", "cannot open none.dbc: No such file or directory"},
        {"can0=a.dbc none/a.json", "cannot write none/a.json: No such file or directory"},
        {"a.dbc", "convert needs an INPUT and an OUTPUT"},
    };
    for (const auto& [arguments, message] : rows) {
        const ProgramResult result = folder.run(std::string("rksignal convert ") + arguments);
        EXPECT_EQ(result.messages, "rksignal: " + std::string(message) + "\n");
        EXPECT_EQ(result.status, 2) << arguments;
    }
    EXPECT_EQ(folder.read("old.json"), "old");
    EXPECT_EQ(folder.read("a.log"), "(1.000000) can0 123#11\n");
    EXPECT_EQ(folder.run("ls -A | grep part").output, "");
    EXPECT_EQ(folder.run("rksignal convert bad.dbc old.json").status, 1);
    EXPECT_EQ(folder.read("old.json"), "old");
}

TEST(ConvertTrace, SaysWhatRecordsDoNotHold) {
    const TemporaryFolder folder;
    const std::map<std::string, std::string> marks = {{"FULL", std::string(126, 'F') + "05"}};
    folder.write("a.log", filled(R"((1.500000) can1 123#1122 T
(1.500001) vcan2 00000123#1122334455667788_9
(1.500001002) can1 123##5AA
(1.600000) can255 1FFFFFFF##0FULL
(2.000000) can1 123#R8
(2.000000) can1 20000004#0004
(2.000000) can1 00123#81:00:12345678#11
(3.000000) can1 7FF#
nonsense
DROPCOUNT: dropped 3 CAN frames on 'can1' socket (total drops 3)
)",
                                 marks));
    const ProgramResult result = folder.run("rksignal convert a.log a.rktrace");
    EXPECT_EQ(result.messages, R"(messages converted: 5
not held by the output: remote frames (1), error frames (1), CAN XL frames (1)
lost by the recorder: frames (3)
not understood: lines (1)
  a.log:9: no time stamp in parentheses
)");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(folder.run("rksignal convert -q - b.log < a.rktrace").status, 0);
    EXPECT_EQ(folder.read("b.log"), filled(R"((1.500000) can1 123#1122
(1.500001) can2 00000123#1122334455667788
(1.500001002) can1 123##0AA
(1.600000) can255 1FFFFFFF##0FULL
(3.000000) can1 7FF#
)",
                                           marks));
}

TEST(ConvertTrace, SaysWhatCandumpLogsDoNotHold) {
    const TemporaryFolder folder;
    folder.write("a.rktrace",
                 RecordFile()
                     .add(CANExtTraceMessage{.timestamp = 1, .length = 9, .canId = 1})
                     .add(canFrame(1, 0, 0, 0x800, {}))
                     .add(canFrame(2, 255, CANExtTraceMessage::FdExtended, 0x1FFFFFFF, {0xAB, 0, 1}))
                     .add(LINTraceMessage())
                     .add(LINTraceMessage())
                     .add(GPSTraceMessage())
                     .add(KeyboardMessage())
                     .bytes());
    EXPECT_EQ(
        folder.run("rksignal convert a.rktrace a.log; rksignal convert -q a.rktrace b.rktrace").messages,
        "messages converted: 1\nnot held by the output: LIN frames (2), GPS messages (1), "
        "inputs, keys and status of the logger (1), malformed frames (2)\n");
    EXPECT_EQ(folder.read("a.log"), "(0.000000002) can255 1FFFFFFF##0AB0001\n");
    EXPECT_EQ(folder.read("b.rktrace"), folder.read("a.rktrace"));
}

/// The lines are those that python-can reads back as the same frames.
TEST(ConvertTrace, AscLogsHoldCanAndLin) {
    const TemporaryFolder folder;
    folder.write("a.rktrace", RecordFile()
                                  .add(canFrame(1'700'000'000'250'500'000, 2, CANExtTraceMessage::Extended,
                                                0x18FEF100, {0xAB, 1}))
                                  .add(canFrame(1'700'000'001'250'000'001, 1, CANExtTraceMessage::FdStandard,
                                                7, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}))
                                  .add(LINTraceMessage{1'600'000'000'000'000'000, {0xFE}, 3, 0xC1})
                                  .bytes());
    EXPECT_EQ(folder.run("rksignal convert a.rktrace a.asc").status, 0);
    EXPECT_EQ(folder.read("a.asc"), R"(date Tue Nov 14 22:13:20.250 2023
base hex  timestamps absolute
internal events logged
Begin Triggerblock Tue Nov 14 22:13:20.250 2023
   0.000500 2  18fef100x   Rx   d 2 AB 01
   1.000000001 CANFD   1 Rx   7   0 0 9 12 01 02 03 04 05 06 07 08 09 0A 0B 0C 0 0 1000 0 0 0 0 0
End TriggerBlock
Begin Triggerblock Sun Sep 13 12:26:40.000 2020
   0.000000 L3 01 Rx 1 FE
End TriggerBlock
)");
}

TEST(ConvertTrace, BlfFilesAndCapturesHoldFramesOfAllBuses) {
    const TemporaryFolder folder;
    RecordFile records;
    for (std::uint8_t i = 0; i < 250; ++i) { // more than one container
        std::vector<std::uint8_t> data(i % 9 == 8 && i % 4 > 1 ? 64 : i % 9);
        std::iota(data.begin(), data.end(), i);
        records.add(canFrame(1'700'000'000'123'456'789U + i, i, i % 4U, 0x700U + i, data));
        records.add(LINTraceMessage{1'700'000'000'223'456'789, {i, 2}, 3, 60});
        records.add(
            FlexRayExtTraceMessage{1'700'000'000'323'456'789, 0, 4, {i, 1, 2, 3}, 2047, 63, {i, 1, 2, 3}});
        records.add(
            MIITraceMessage{1'700'000'000'423'456'789, std::vector<std::uint8_t>(std::size_t{i} * 9, i), 5});
    }
    records.add(MIITraceMessage{.timestamp = 1'700'000'000'123'000'000, .frame = {1, 2, 3}, .channel = 6});
    folder.write("a.rktrace", records.bytes());
    for (const std::string output : {"a.blf", "a.pcapng"}) {
        const std::string there = "rksignal convert a.rktrace " + output;
        EXPECT_EQ(folder.run(there + " && rksignal convert " + output + " b.rktrace").messages,
                  "messages converted: 1001\nmessages converted: 1001\n");
        EXPECT_EQ(folder.read("b.rktrace"), records.bytes()) << output;
    }
    folder.write("b.log", "(2.5) can0 123#11\n(1.5) can0 123#R\n(2.4) can0 123#22\n");
    EXPECT_EQ(
        folder.run("rksignal convert b.log b.blf; rksignal convert -q b.blf c.log").messages,
        "messages converted: 2\nnot held by the output: remote frames (1), times before that of the first "
        "message (1)\n");
    EXPECT_EQ(folder.read("c.log"), "(2.500000) can0 123#11\n(2.500000) can0 123#22\n");
}

TEST(ConvertTrace, CutsOutWhatIsChosen) {
    const TemporaryFolder folder;
    folder.write("a.log",
                 "(10.0) can0 1CECFF00#200B0002FFE3FE00\n" // the announcement of a group in two packets
                 "(10.1) can0 100#0102\n(10.2) can0 101#03\n(10.3) can1 00000100#04\n"
                 "(10.4) can0 1CEBFF00#0101020304050607\n(10.5) can0 1CEBFF00#0208090A0BFFFFFF\n"
                 "(10.6) can0 1CEBFF17#0101020304050607\n(11.0) can0 100#05\n");
    folder.write("b.rktrace", RecordFile()
                                  .add(LINTraceMessage{20'000'000'000, {1}, 0, 0xC1})
                                  .add(LINTraceMessage{20'100'000'000, {1}, 0, 0x42})
                                  .add(GpioTraceMessage{20'200'000'000, {{7, 1, 1}, {8, 0, 1}}})
                                  .add(GPSTraceMessage{20'300'000'000, "$"})
                                  .bytes());
    folder.write("d.json", R"({"can": [
{"instance": "Group.Last", "msgId": "0x18FEE300", "extended": true, "j1939": true, "startbit": 80, "bits": 8},
{"instance": "Engine.Speed", "message": "Engine", "msgId": "0x100", "startbit": 0, "bits": 8}],
"lin": [{"instance": "Seat.Heating", "msgId": 2, "bits": 1}, {"instance": "Window.Up", "msgId": 1, "bits": 1}]})");
    const struct {
        const char* arguments;
        const char* times; ///< of the messages that are left
    } rows[] = {
        {"a.log --ids 100,101", "10.100000 10.200000 11.000000 "},
        {"a.log --ids 00000100 --ids 1CEC0000-1CECFFFF", "10.000000 10.300000 "},
        {"a.log --ids can --from +0.3 --for 200ms", "10.300000 10.400000 10.500000 "},
        {"a.log --only Engine --definitions d.json --ids 101", "10.100000 10.200000 11.000000 "},
        {"a.log --only 'Group.*' --definitions d.json", "10.000000 10.400000 10.500000 "},
        {"b.rktrace --ids lin:2-3F,digital:8", "20.100000 20.200000 "},
        {"b.rktrace --ids gps --only 'S*.Heating' --definitions d.json", "20.100000 20.300000 "},
    };
    for (const auto& [arguments, times] : rows) {
        folder.run(std::string("rksignal convert -q ") + arguments + " cut.rktrace");
        std::istringstream file(folder.read("cut.rktrace"));
        TraceRecordReader reader(file);
        std::string left;
        while (reader.next()) {
            left += timeText(recordTimestamp(reader.record())) + ' ';
        }
        EXPECT_EQ(left, times) << arguments;
    }
    EXPECT_EQ(folder.run("rksignal convert a.log cut.log --ids 100 --to 10.5").messages,
              "messages converted: 1\nmessages left out by --ids and --only: 5\noutside the window of time: "
              "2 messages\n");
    for (const char* const ids : {"1-FFF", "2FFFFFFF", "x", "lan:1", "flexray:A", "", "1,,2", "20-10"}) {
        EXPECT_EQ(folder.run("rksignal convert a.log cut.log --ids '" + std::string(ids) + "'").status, 2)
            << ids;
    }
}

} // namespace
} // namespace rksignal
