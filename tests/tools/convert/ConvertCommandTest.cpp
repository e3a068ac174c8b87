/// \file
/// What `rksignal convert` writes, says and refuses.
#include "definitions/DefinitionFile.h"
#include "rktrace/TraceRecord.h"
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <random>

namespace rksignal {
namespace {

constexpr const char* definitions = R"(BO_ 416 Engine: 8 ECM
 SG_ Speed : 7|16@0+ (0.25,0) [0|16383.75] "rpm" Dash
 SG_ Torque : 16|8@1- (1,-40) [0|0] "Nm" Vector__XXX
BO_ 2566851296 Status: 8 ECM
 SG_ Page M : 0|8@1+ (1,0) [0|0] ""
 SG_ Code m1 : 8|8@1+ (1,0) [0|0] ""
 SG_ Wide m2 : 60|8@1+ (1,0) [0|0] ""
 SG_ Inner m3M : 8|8@1+ (1,0) [0|0] ""
 SG_ Deep m7 : 16|8@1+ (1,0) [0|0] ""
 SG_ Late m70000 : 24|8@1+ (1,0) [0|0] ""
BO_ 417 Engine: 8 ECM
 SG_ Speed : 0|32@1- (1,0) [0|0] ""
BO_ 418 Empty: 8 ECM
CM_ BO_ 416 "what the engine does";
VAL_ 416 Torque -1 "none" ;
SIG_VALTYPE_ 417 Speed : 1;
SG_MUL_VAL_ 2566851296 Code Page 1-2, 9-9;
SG_MUL_VAL_ 2566851296 Deep Inner 7-7;
)";

TEST(ConvertDbc, KeepsWhatDefinitionsHoldAndNamesTheRest) {
    const TemporaryFolder folder;
    folder.write("a.dbc", definitions);
    const ProgramResult result = folder.run("rksignal convert a.dbc a.json");
    EXPECT_EQ(result.messages,
              R"(a.dbc:7: signal Wide of message Status reaches to byte 9 of a message of 8 bytes; kept
a.dbc:6: signal Status.Code is converted for the value 1 of Page, not for all of 1-2, 9
a.dbc:7: signal Status.Wide is not converted: it reaches beyond the 8 bytes of a classic frame
a.dbc:9: signal Status.Deep is not converted: it depends on Inner, which is not the first multiplexer of the message
a.dbc:10: signal Status.Late is not converted: it is present for multiplexer values above 65535
6 signals converted
values lost: 3 signals not converted, 1 signals present for fewer multiplexer values
lost without an effect on values: 3 lengths of messages, 1 messages without signals, 1 comments of messages, 1 ranges of signals, 1 receivers of signals
)");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(nlohmann::json::parse(folder.read("a.json")), R"({"can": [
        {"instance": "Engine.Speed", "signal": "Speed", "unit": "rpm", "startbit": 7, "bits": 16, "scale": 0.25,
         "endian": "big", "msgId": "0x1A0", "message": "Engine", "sender": "ECM"},
        {"instance": "Engine.Torque", "signal": "Torque", "unit": "Nm", "type": "signed", "startbit": 16, "bits": 8,
         "offset": -40, "valueDescriptions": {"-1": "none"}, "msgId": "0x1A0", "message": "Engine", "sender": "ECM"},
        {"instance": "Status.Page", "signal": "Page", "bits": 8, "multiplexer": 1, "msgId": "0x18FF0AE0",
         "extended": true, "message": "Status", "sender": "ECM"},
        {"instance": "Status.Code", "signal": "Code", "startbit": 8, "bits": 8, "multiplexed": true, "mux": 1,
         "msgId": "0x18FF0AE0", "extended": true, "message": "Status", "sender": "ECM"},
        {"instance": "Status.Inner", "signal": "Inner", "startbit": 8, "bits": 8, "multiplexed": true, "mux": 3,
         "msgId": "0x18FF0AE0", "extended": true, "message": "Status", "sender": "ECM"},
        {"instance": "Engine.Speed#2", "signal": "Speed", "type": "float", "bits": 32, "msgId": "0x1A1",
         "message": "Engine", "sender": "ECM"}]})"_json);
    EXPECT_EQ(parseSignalDefinitions(folder.read("a.json"), "").can.size(), 6U);
}

TEST(ConvertDbc, BindsToChannels) {
    const TemporaryFolder folder;
    folder.write("a.dbc", "BO_ 1 A: 8 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"\"\n");
    EXPECT_EQ(folder
                  .run("rksignal convert -q 3=a.dbc 3.json && rksignal convert -q vcan7=a.dbc 7.json && "
                       "rksignal convert -q --channel body=9 body=a.dbc 9.json")
                  .messages,
              "");
    for (const int channel : {3, 7, 9}) {
        const auto document = nlohmann::json::parse(folder.read(std::to_string(channel) + ".json"));
        EXPECT_EQ(document["can"][0]["channel"], channel);
    }
}

TEST(Convert, RefusesWithoutTouchingTheOutput) {
    const TemporaryFolder folder;
    folder.write("a.dbc", "BO_ 1 A: 8 X\n");
    folder.write("a.log", "(1.000000) can0 123#11\n");
    folder.write("bad.dbc", "BO_ x A: 8 X\n");
    folder.write("old.json", "old");
    std::filesystem::create_symlink("a.log", folder.path("link.log"));
    const std::pair<const char*, const char*> rows[] = {
        {"a.dbc a.rktrace", "cannot convert a.dbc to a.rktrace: a .dbc becomes a .json, a trace becomes a "
                            ".rktrace or a .log"},
        {"a.log old.json", "cannot convert a.log to old.json: a .dbc becomes a .json, a trace becomes a "
                           ".rktrace or a .log"},
        {"a.log link.log", "the output would overwrite a.log"},
        {"none.dbc old.json", "none.dbc: No such file or directory"},
        {"can0=a.dbc none/a.json", "cannot write none/a.json.part: No such file or directory"},
        {"a.log none/a.rktrace", "cannot write none/a.rktrace.part: No such file or directory"},
        {"300=a.dbc old.json", "300=a.dbc: the channel is not a number from 0 to 255"},
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
    EXPECT_EQ(folder.read("old.json"), "{}\n");
}

TEST(ConvertTrace, SaysWhatRecordsDoNotHold) {
    const TemporaryFolder folder;
    folder.write("a.log", "(1.500000) can1 123#1122 T\n(1.500001) vcan2 00000123#1122334455667788_9\n"
                          "(1.500001002) can1 123##5AA\n(2.000000) can1 123#R8\n"
                          "(2.000000) can1 20000004#0004\n(2.000000) can1 00123#81:00:12345678#11\n"
                          "(3.000000) can1 7FF#\nnonsense\n"
                          "DROPCOUNT: dropped 3 CAN frames on 'can1' socket (total drops 3)\n");
    const ProgramResult result = folder.run("rksignal convert a.log a.rktrace");
    EXPECT_EQ(result.messages, "4 messages converted\n"
                               "not held by the output: 1 remote frames, 1 error frames, 1 CAN XL frames\n"
                               "lost by the recorder: 3 frames\nnot understood: 1 lines\n"
                               "  a.log:8: no time stamp in parentheses\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(folder.run("rksignal convert -q a.rktrace b.log").status, 0);
    EXPECT_EQ(folder.read("b.log"), "(1.500000) can1 123#1122\n(1.500001) can2 00000123#1122334455667788\n"
                                    "(1.500001002) can1 123##0AA\n(3.000000) can1 7FF#\n");
}

TEST(ConvertTrace, SaysWhatCandumpLogsDoNotHold) {
    const TemporaryFolder folder;
    {
        std::ofstream file(folder.path("a.rktrace"), std::ios::binary);
        TraceRecordWriter writer(file);
        std::vector<std::uint8_t> record;
        const auto write = [&](const auto& message) {
            encodeRecord(message, record);
            writer.write(record);
        };
        write(CANExtTraceMessage{.timestamp = 1, .length = 9, .canId = 1});
        write(CANExtTraceMessage{.timestamp = 1, .canId = 0x800});
        write(CANExtTraceMessage{.timestamp = 2,
                                 .channel = 255,
                                 .frameFormat = CANExtTraceMessage::FdExtended,
                                 .length = 3,
                                 .canId = 0x1FFFFFFF,
                                 .payload = {0xAB, 0, 1}});
        write(LINTraceMessage());
        write(LINTraceMessage());
        write(GPSTraceMessage());
        write(KeyboardMessage());
    }
    EXPECT_EQ(
        folder.run("rksignal convert a.rktrace a.log; rksignal convert -q a.rktrace b.rktrace").messages,
        "1 messages converted\nnot held by the output: 2 LIN frames, 1 GPS messages, "
        "1 records that are not CAN frames, 2 malformed CAN frames\n");
    EXPECT_EQ(folder.read("a.log"), "(0.000000002) can255 1FFFFFFF##0AB0001\n");
    EXPECT_EQ(folder.read("b.rktrace"), folder.read("a.rktrace"));
}

TEST(ConvertTrace, KeepsDataFramesBothWays) {
    const TemporaryFolder folder;
    std::mt19937 random(7);
    const auto below = [&random](unsigned limit) { return random() % limit; };
    std::ostringstream log;
    log << std::uppercase << std::setfill('0');
    for (int i = 0; i < 2000; ++i) {
        const bool extended = below(2) == 0;
        const bool fd = below(2) == 0;
        log << std::dec << '(' << 1700000000 + i << '.' << std::setw(6) << below(1000000) << ") can"
            << below(256) << ' ' << std::hex << std::setw(extended ? 8 : 3)
            << below(extended ? 0x20000000 : 0x800) << (fd ? "##0" : "#");
        for (auto length = below(fd ? 65 : 9); length > 0; --length) {
            log << std::setw(2) << below(256);
        }
        log << '\n';
    }
    folder.write("a.log", log.str());
    EXPECT_EQ(
        folder.run("rksignal convert a.log a.rktrace && rksignal convert -q - b.log < a.rktrace").messages,
        "2000 messages converted\n");
    EXPECT_EQ(folder.read("b.log"), log.str());
}

} // namespace
} // namespace rksignal
