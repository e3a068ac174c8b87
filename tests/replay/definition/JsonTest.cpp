/// \file
/// Definition files: what they define, what is said about wrong ones, and that the schema agrees.
#include "catalog/Catalog.h"
#include "definition/json/DefinitionText.h"
#include "definition/json/JsonDefinitions.h"
#include "replay/definition/ShownMessages.h"
#include "support/CapturedOutput.h"
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <tuple>

namespace rksignal {
namespace {

const std::filesystem::path project = PROJECT_FOLDER;

/// The example of the manual.
std::string example() {
    const std::string manual = contentOf(project / "docs/rksignal.md");
    const std::size_t start = manual.find("```json\n") + 8;
    return manual.substr(start, manual.find("```", start) - start);
}

struct WrongDocument {
    const char* name;
    const char* text;
    const char* messages; ///< without the file name in front of each
    bool schemaAccepts = false;
};

const std::vector<WrongDocument> wrongDocuments = {
    {"not an object", "[]", "#: expected an object, found an array"},
    {"unknown kind", R"({"cans": [], "$schema": 1})",
     R"(#/$schema: expected a text, found 1
#: expected a known member, found "cans"; close are can)"},
    {"a later version", R"({"version": 3, "later": 1})",
     "#/version: expected a version up to 2, found 3, which a later program reads"},
    {"not an array", R"({"lin": {}})", "#/lin: expected an array, found an object"},
    {"not a definition", R"({"can": [null]})", "#/can/0: expected an object, found null"},
    {"members missing", R"({"can": [{"endian": "little"}]})",
     R"(#/can/0: expected a member "instance", found none
#/can/0: expected a member "bits", found none
#/can/0: expected a member "msgId", found none)"},
    {"unknown member", R"({"lin": [{"instance": "L", "bits": 8, "msgId": 1, "startBit/": 0}]})",
     R"(#/lin/0: expected a known member, found "startBit/"; close are startbit)"},
    {"wrong types", R"({"can": [{"instance": 5, "unit": 1, "scale": "2", "extended": 1, "bits": "8",
                                 "msgId": true, "valueDescriptions": [], "endian": "middle"}]})",
     R"(#/can/0/instance: expected a name without control characters, found 5
#/can/0/unit: expected a text, found 1
#/can/0/bits: expected an integer from 1 to 64, found "8"
#/can/0/scale: expected a number, found "2"
#/can/0/endian: expected "little" or "big", found "middle"
#/can/0/valueDescriptions: expected an object with raw values and their texts, found an array
#/can/0/msgId: expected an identifier from 0 to 536870911 or "0x0" to "0x1FFFFFFF", found true
#/can/0/extended: expected true or false, found 1)"},
    {"out of range", R"({"can": [{"instance": "A", "bits": 65, "startbit": 14280, "channel": -1,
                                  "tslId": 1.5, "pduId": "0x100000000", "msgId": 536870912}],
                         "lin": [{"instance": "L", "bits": 0, "msgId": 63}]})",
     R"(#/can/0/channel: expected an integer from 0 to 255, found -1
#/can/0/startbit: expected an integer from 0 to 14279, found 14280
#/can/0/bits: expected an integer from 1 to 64, found 65
#/can/0/tslId: expected an integer from 0 to 255, found 1.5
#/can/0/msgId: expected an identifier from 0 to 536870911 or "0x0" to "0x1FFFFFFF", found 536870912
#/can/0/pduId: expected an identifier from 0 to 4294967295 or "0x0" to "0xFFFFFFFF", found "0x100000000"
#/lin/0/bits: expected an integer from 1 to 64, found 0)"},
    {"parameter groups", R"({"messages": [{"msgId": 1, "extended": true, "length": 65}],
        "can": [{"instance": "A", "bits": 8, "msgId": 1, "j1939": true},
                {"instance": "B", "bits": 8, "msgId": 1, "j1939": true, "extended": true, "canFD": true},
                {"instance": "C", "bits": 8, "msgId": 1, "canFD": true, "startbit": 512}]})",
     R"(#/messages/0: expected a length of at most 64, but for a parameter group of J1939, found 65
#/can/0: expected extended to be true of a parameter group of J1939
#/can/1: expected canFD or j1939, found both
#/can/2: expected a startbit of at most 511 in a CAN FD frame, found 512)",
     true},
    {"messages of other buses", R"({"messages": [{"kind": "lin", "msgId": 1, "length": 9},
        {"kind": "ethernet", "msgId": 1}, {"kind": "flexray"}, {"kind": "gps", "msgId": 1}]})",
     R"(#/messages/0/length: expected an integer from 0 to 8, found 9
#/messages/1: expected a known member, found "msgId"
#/messages/2: expected a member "msgId", found none
#/messages/3/kind: expected "can", found "gps")"},
    {"headers of PDUs", R"({"messages": [{"msgId": 1, "pduHeader": "long"}],
        "can": [{"instance": "A", "bits": 8, "msgId": 1, "canFD": true, "pduId": 16777216}]})",
     R"(#/messages/0: expected pduHeader of a PDU only
#/can/0: expected a pduId of at most 24 bits behind a short header, found 16777216)",
     true},
    {"positions",
     R"({"flexray": [{"instance": "A", "bits": 1, "startbit": 0}, {"instance": "B", "bits": 1, "positions": []},
        {"instance": "C", "bits": 1, "positions": [{"type": "static", "slot": 2048, "repetition": 0}, {"slots": 1}]}]})",
     R"(#/flexray/0: expected a member "positions", found none
#/flexray/0: expected a known member, found "startbit"
#/flexray/1/positions: expected an array of at least one object, found an array
#/flexray/2/positions/0/slot: expected an integer from 1 to 2047, found 2048
#/flexray/2/positions/0/repetition: expected an integer from 1 to 64, found 0
#/flexray/2/positions/1: expected a member "type", found none
#/flexray/2/positions/1: expected a member "slot", found none
#/flexray/2/positions/1: expected a known member, found "slots"; close are slot)"},
    {"addresses", R"({"ethernet": [{"instance": "A", "bits": 8, "positions": [{"ethSignalType": "SOMEIP",
        "sourceMac": "02:00:00:00:00:0g", "destinationMac": "2:0:0:0:0:1", "sourceIp": "10.0.0.256", "destinationIp": 1}]}]})",
     R"(#/ethernet/0/positions/0/ethSignalType: expected "DEFAULT", "IPDU", "SPDU" or "SOME/IP", found "SOMEIP"
#/ethernet/0/positions/0/sourceMac: expected a MAC address as "02:00:00:00:00:01", found "02:00:00:00:00:0g"
#/ethernet/0/positions/0/destinationMac: expected a MAC address as "02:00:00:00:00:01", found "2:0:0:0:0:1"
#/ethernet/0/positions/0/sourceIp: expected an IPv4 address as "10.0.0.1", found "10.0.0.256"
#/ethernet/0/positions/0/destinationIp: expected an IPv4 address as "10.0.0.1", found 1)"},
    {"positions against each other",
     R"({"flexray": [{"instance": "A", "bits": 1, "positions": [{"slot": 1, "type": "static"}, {"slot": 2, "type": "static"}]},
        {"instance": "B", "bits": 64, "positions": [{"slot": 1, "type": "static"}, {"slot": 1, "type": "static", "startBit": 1}]}]})",
     R"(#/flexray/0: expected the slot and type of the first position at each, found slot 2
#/flexray/1: expected a field that touches at most 8 bytes, found 64 bits from startbit 1)",
     true},
    {"identifier text", R"({"lin": [{"instance": "L", "bits": 1, "msgId": "0X1"}]})",
     R"(#/lin/0/msgId: expected an identifier from 0 to 63 or "0x0" to "0x3F", found "0X1")"},
    {"names", R"({"digital": [{"instance": "", "bits": 1}, {"instance": "A\u0007", "bits": 1}]})",
     R"(#/digital/0/instance: expected a name without control characters, found ""
#/digital/1/instance: expected a name without control characters, found "A\u0007")"},
    {"not predefined", R"({"status": [{"instance": "Logger.status"}], "keyboard": [{"instance": "RC.TRG"}]})",
     R"(#/status/0/instance: expected "Logger.ExtMemory", "Logger.IntMemory", "Logger.Start", "Logger.Status" or "Logger.Timer", found "Logger.status")"},
    {"value texts",
     R"({"analog": [{"instance": "A", "bits": 8, "valueDescriptions": {"0x1": "a", "2": 3}}]})",
     R"(#/analog/0/valueDescriptions/0x1: expected a raw value in decimal digits, found "0x1"
#/analog/0/valueDescriptions/2: expected a text, found 3)"},
    {"raw value given twice",
     R"({"analog": [{"instance": "A", "bits": 8, "valueDescriptions":
        {"-1": "a", "18446744073709551615": "b", "18446744073709551616": "c"}}]})",
     R"(#/analog/0/valueDescriptions/18446744073709551615: expected a raw value once, found it again
#/analog/0/valueDescriptions/18446744073709551616: expected a raw value in decimal digits, found "18446744073709551616")",
     true},
    {"multiplexers", R"({"can": [
        {"instance": "A", "msgId": 1, "bits": 8, "multiplexer": 1, "multiplexed": true, "multiplexedBy": "B"},
        {"instance": "B", "msgId": 1, "bits": 8, "multiplexer": 1, "multiplexed": true, "multiplexedBy": "A"},
        {"instance": "C", "msgId": 1, "bits": 8, "multiplexed": true, "multiplexedBy": "A"},
        {"instance": "D", "msgId": 2, "bits": 8, "multiplexed": true, "multiplexedBy": "A"},
        {"instance": "E", "msgId": 1, "bits": 8, "multiplexed": true, "multiplexedBy": "C"}]})",
     R"(#/can/3/multiplexedBy: expected the instance of a multiplexer of the same message, found "A"
#/can/4/multiplexedBy: expected the instance of a multiplexer of the same message, found "C"
#/can/0/multiplexedBy: expected a chain of multiplexers that ends, found a cycle)",
     true},
    {"multiplexer values", R"({"can": [{"instance": "A", "msgId": 1, "bits": 8, "multiplexed": true,
        "muxValues": [1, [3, 2], [1, 2, 3], "4", -1]}, {"instance": "B", "msgId": 1, "bits": 8, "muxValues": []}]})",
     R"(#/can/0/muxValues/1: expected a raw value, or an array of the first and the last one, found an array
#/can/0/muxValues/2: expected a raw value, or an array of the first and the last one, found an array
#/can/0/muxValues/3: expected a raw value, or an array of the first and the last one, found "4"
#/can/0/muxValues/4: expected a raw value, or an array of the first and the last one, found -1
#/can/1/muxValues: expected an array of at least one range, found an array)"},
    {"name given twice", R"({"lin": [{"instance": "A", "bits": 1, "msgId": 1}],
                             "digital": [{"instance": "B", "bits": 1}, {"instance": "A", "bits": 1}]})",
     "#/digital/1/instance: expected a name of its own, found that of #/lin/0", true},
    {"member given twice", R"({"digital": [{"instance": "A", "bits": 1},
        {"instance": "B", "bits": 1, "bits": 2, "valueDescriptions": {"1": "a", "1": "b"}}]})",
     R"(#/digital/1/bits: expected a member name once, found it again
#/digital/1/valueDescriptions/1: expected a member name once, found it again)",
     true},
    {"outside the frame", R"({"can": [{"instance": "A", "msgId": 1, "bits": 8, "startbit": 57},
        {"instance": "B", "msgId": 1, "bits": 64, "startbit": 1, "canFD": true},
        {"instance": "C", "msgId": 1, "bits": 8, "startbit": 56}],
        "lin": [{"instance": "D", "msgId": 1, "bits": 9, "startbit": 63, "endian": "big"}]})",
     R"(#/can/0: expected a field within 8 bytes, found 8 bits from startbit 57
#/can/1: expected a field that touches at most 8 bytes, found 64 bits from startbit 1
#/lin/0: expected a field within 8 bytes, found 9 bits from startbit 63)",
     true},
    {"fields against each other", R"({"can": [{"instance": "A", "msgId": 2048, "bits": 8},
        {"instance": "B", "msgId": 1, "bits": 8, "pduId": 1},
        {"instance": "C", "msgId": 1, "bits": 8, "mux": 3},
        {"instance": "D", "msgId": 1, "bits": 16, "type": "float"},
        {"instance": "E", "msgId": 1, "bits": 32, "type": "double"},
        {"instance": "F", "msgId": 1, "bits": 8, "muxValues": [1]},
        {"instance": "G", "msgId": 1, "bits": 8, "multiplexed": true, "mux": 1, "muxValues": [1]}],
        "messages": [{"msgId": 2048}, {"msgId": 1, "channel": 1}, {"msgId": 1, "message": "A"},
        {"msgId": 1, "channel": 1, "length": 8}],
        "gps": [{"instance": "GPS.Speed", "type": "unsigned"}]})",
     R"(#/messages/0: expected an 11-bit msgId unless extended is true, found 2048
#/messages/3: expected a message of its own, found that of #/messages/1
#/can/0: expected an 11-bit msgId unless extended is true, found 2048
#/can/1: expected pduId where canFD is true only, found 1
#/can/2: expected mux of a multiplexed signal only, found 3
#/can/3: expected 32 bits of a float, found 16
#/can/4: expected 64 bits of a double, found 32
#/can/5: expected multiplexedBy and muxValues of a multiplexed signal only
#/can/6: expected mux or muxValues, found both
#/gps/0: expected type double of GPS.Speed, found another)",
     true},
};

std::string messagesOf(const std::string& text) {
    try {
        parseJsonDefinitions(text, "");
    } catch (const RemarkError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(DefinitionFile, SaysWhatIsWrongWhere) {
    for (const WrongDocument& document : wrongDocuments) {
        EXPECT_EQ(messagesOf(document.text), document.messages) << document.name;
    }
}

TEST(DefinitionFile, SaysWhereTextIsNotJson) {
    EXPECT_EQ(messagesOf("{\n  \"can\": [1, ]"), ":2:14: syntax error while parsing value - unexpected ']'; "
                                                 "expected '[', '{', or a literal");
    EXPECT_EQ(messagesOf("{\"scale\": 1e999}"), ":1:15: number overflow parsing '1e999'");
}

/// Each place is as long as the nesting is deep.
TEST(DefinitionFile, DeepNestingTakesLinearTime) {
    constexpr std::size_t depth = 100'000;
    std::string text, end;
    for (std::size_t i = 0; i < depth; ++i) {
        text += R"({"a":1,"a":)";
        end += '}';
    }
    const std::string messages = messagesOf(text + "1" + end);
    EXPECT_TRUE(messages.ends_with(": " + std::to_string(depth - 19) + " more errors")) << messages.size();
}

TEST(DefinitionFile, ShowsTwentyFindings) {
    nlohmann::json wrong;
    wrong["lin"] = std::vector<int>(23, 7);
    const std::string messages = messagesOf(wrong.dump());
    EXPECT_EQ(std::count(messages.begin(), messages.end(), '\n'), 20);
    EXPECT_TRUE(messages.ends_with("#/lin/19: expected an object, found 7\n: 3 more errors")) << messages;
}

/// Every member of every kind, at an end of its range or with a text that needs care.
constexpr const char* everyMember = R"({
"version": 2,
"messages": [{"msgId": "0x1FFFFFFF", "extended": true, "canFD": true, "pduId": "0xFFFFFFFF", "pduHeader": "long",
              "channel": 255, "message": "m", "length": 64, "sender": "e", "cycleTime": 2.5, "comment": "c"},
             {"msgId": "0x7FE"},
             {"kind": "lin", "msgId": "0x3F", "message": "lm", "length": 8, "sender": "n", "cycleTime": 10}],
"can": [{"instance": "C", "signal": "s", "reference": 4294967295, "channel": 255, "unit": "°C ⏻ 😀",
         "type": "signed", "startbit": 511, "bits": 12, "scale": 0.30000000000000004, "offset": -1e-300,
         "endian": "big", "minimum": -3.5, "maximum": 7, "multiplexed": true, "multiplexer": 7, "mux": 65535,
         "valueDescriptions": {"7": "seven", "-9223372036854775808": "least", "-1": "@"},
         "initial": 18446744073709551615, "invalid": 0, "udn": "u", "comment": "\"\\/\n\t\u0001", "receivers": ["r", "s"], "tslId": 9, "msgId": "0x1FFFFFFF", "extended": true, "canFD": true,
         "pduId": "0xFFFFFFFF", "pduHeader": "long", "message": "m", "sender": "e"},
        {"instance": "Any channel", "bits": 1, "msgId": "0x7FF"},
        {"instance": "M", "bits": 8, "multiplexer": 1, "msgId": "0x7FF"},
        {"instance": "N", "bits": 8, "multiplexed": true, "multiplexer": 1, "mux": 3, "msgId": "0x7FF"},
        {"instance": "V", "bits": 8, "multiplexed": true, "msgId": "0x7FF", "multiplexedBy": "N",
         "muxValues": [70000, [0, 18446744073709551615]]},
        {"instance": "Channel 0", "channel": 0, "bits": 1, "msgId": "0x0"}],
"lin": [{"instance": "L", "type": "double", "bits": 64, "scale": 1.7976931348623157e+308, "msgId": "0x3F",
         "message": "lm"}],
"flexray": [{"instance": "F", "type": "float", "bits": 32,
             "positions": [{"startBit": 1992, "type": "static", "slot": 2047, "baseCycle": 63,
                            "repetition": 64, "updateBit": 2031, "pduId": "0xFFFFFF"},
                           {"type": "static", "slot": 2047}]},
            {"instance": "G", "channel": 0, "bits": 1, "positions": [{"type": "dynamic", "slot": 1}]}],
"ethernet": [{"instance": "E", "bits": 1,
              "positions": [{"ethSignalType": "IPDU", "startBit": 65535, "sourceMac": "02:00:00:00:00:01",
                             "destinationMac": "0A:00:00:00:00:FF", "sourceIp": "10.0.0.1",
                             "destinationIp": "255.1.2.3", "sourcePort": 65535, "destinationPort": 1,
                             "ipProtocol": 255, "vlan": true, "vlanId": 4095, "pduId": "0xFFFFFFFF",
                             "messageId": "0xFFFFFFFE", "serviceId": "0xFFFF", "methodEventId": "0x1"},
                            {"ethSignalType": "SPDU"}, {"ethSignalType": "SOME/IP"}]}],
"digital": [{"instance": "D", "channel": 8, "bits": 1}],
"analog": [{"instance": "A", "bits": 1, "offset": -40}],
"keyboard": [{"instance": "RC.TRG"}],
"status": [{"instance": "Logger.Status"}],
"gps": [{"instance": "GPS.Speed"}, {"instance": "GPS.Date"}]
})";

TEST(DefinitionFile, HoldsEveryMember) {
    const std::vector<MessageDefinition> read = parseJsonDefinitions(everyMember, "x.json").messages;
    std::ostringstream out;
    for (const MessageDefinition& message : read) {
        for (const SignalDefinition& signal : message.signals) {
            const bool anyChannel = message.kind <= SignalKind::Ethernet && !message.channel;
            out << signal.place << (anyChannel ? ": any, " : ": ");
            std::visit([&out](const auto& record) { out << record << '\n'; }, signal.record);
        }
    }
    const std::map<std::string, std::string> defaults = {
        {",unit=,type=unsigned,startbit=0,bits=1,scale=1,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0",
         "..."},
        {",startBit=0,sourceMac=00:00:00:00:00:00,destinationMac=00:00:00:00:00:00,sourceIp=0.0.0.0,"
         "destinationIp=0.0.0.0,sourcePort=0,destinationPort=0,ipProtocol=0,vlan=false,vlanId=0,pduId=0,"
         "messageId=0,serviceId=0,methodEventId=0",
         "..."},
        {",startByte=0,numBytes=0", ""}, // derived
        {",cycle=" + std::string(63, ','), ""},
    };
    EXPECT_EQ(
        filled(out.str(), defaults),
        R"(x.json#/can/0: instance=C,signal=s,channel=255,unit=°C ⏻ 😀,type=signed,startbit=511,bits=12,scale=0.3,offset=-1e-300,endian=BIG,multiplexed=yes,mux=65535,tslId=9,udn=u
value description table
7: seven
9223372036854775808: least
18446744073709551615: @
,msgId=536870911,extended=yes,canFD=yes,message=m,sender=e,pduId=4294967295
x.json#/lin/0: any, instance=L,signal=L,channel=0,unit=,type=double,startbit=0,bits=64,scale=1.79769e+308,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0,msgId=63
x.json#/can/1: any, instance=Any channel,signal=Any channel,channel=0...,msgId=2047,extended=no,canFD=no,message=,sender=,pduId=none
x.json#/can/2: any, instance=M,signal=M,channel=0,unit=,type=unsigned,startbit=0,bits=8,scale=1,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0,msgId=2047,extended=no,canFD=no,message=,sender=,pduId=none
x.json#/can/3: any, instance=N,signal=N,channel=0,unit=,type=unsigned,startbit=0,bits=8,scale=1,offset=0,endian=LITTLE,multiplexed=yes,mux=3,tslId=0,msgId=2047,extended=no,canFD=no,message=,sender=,pduId=none
x.json#/can/4: any, instance=V,signal=V,channel=0,unit=,type=unsigned,startbit=0,bits=8,scale=1,offset=0,endian=LITTLE,multiplexed=yes,mux=65535,tslId=0,msgId=2047,extended=no,canFD=no,message=,sender=,pduId=none
x.json#/can/5: instance=Channel 0,signal=Channel 0,channel=0...,msgId=0,extended=no,canFD=no,message=,sender=,pduId=none
x.json#/flexray/0: any, instance=F,signal=F,channel=0,unit=,type=float,startbit=0,bits=32,scale=1,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0[startBit=1992,type=static,slot=2047,baseCycle=63,repetition=64,updateBit=2031,pduId=16777215][startBit=0,type=static,slot=2047,baseCycle=0,repetition=1,updateBit=none,pduId=none]
x.json#/flexray/1: instance=G,signal=G,channel=0...[startBit=0,type=dynamic,slot=1,baseCycle=0,repetition=1,updateBit=none,pduId=none]
x.json#/ethernet/0: any, instance=E,signal=E,channel=0...[ethSignalType=IPDU,startBit=65535,sourceMac=02:00:00:00:00:01,destinationMac=0a:00:00:00:00:ff,sourceIp=10.0.0.1,destinationIp=255.1.2.3,sourcePort=65535,destinationPort=1,ipProtocol=255,vlan=true,vlanId=4095,pduId=4294967295,messageId=4294967294,serviceId=65535,methodEventId=1][ethSignalType=SPDU...][ethSignalType=SOME/IP...]
x.json#/digital/0: instance=D,signal=D,channel=8...
x.json#/analog/0: instance=A,signal=A,channel=0,unit=,type=unsigned,startbit=0,bits=1,scale=1,offset=-40,endian=LITTLE,multiplexed=no,mux=0,tslId=0
x.json#/keyboard/0: instance=RC.TRG,signal=RC.TRG,channel=0,unit=,type=unsigned,startbit=0,bits=32,scale=1,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0
x.json#/status/0: instance=Logger.Status,signal=Logger.Status,channel=0,unit=,type=unsigned,startbit=0,bits=32,scale=1,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0
x.json#/gps/0: instance=GPS.Speed,signal=GPS.Speed,channel=0,unit=,type=double,startbit=0,bits=64,scale=1,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0
x.json#/gps/1: instance=GPS.Date,signal=GPS.Date,channel=0,unit=,type=unsigned,startbit=0,bits=32,scale=1,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0
)");
    const SignalDefinition& signal = read[0].signals.front();
    const canSignalDef_t& can = signal.can();
    EXPECT_EQ(std::tuple(can.scale, can.offset, can.reference, can.multiplexer, can.comment),
              std::tuple(0.1 + 0.2, -1e-300, 4294967295U, 7, "\"\\/\n\t\x01"))
        << "as it is not printed";
    EXPECT_EQ(std::tuple(signal.minimum, signal.maximum, signal.receivers, signal.initial, signal.invalid),
              std::tuple(-3.5, 7.0, std::vector<std::string>{"r", "s"}, ~std::uint64_t{0}, std::uint64_t{0}));
    const std::vector<SignalDefinition>& multiplexed = read[3].signals;
    EXPECT_EQ(multiplexed[2].multiplexing, (Multiplexing{1, {{3, 3}}}));
    EXPECT_EQ(multiplexed[3].multiplexing, (Multiplexing{2, {{70000, 70000}, {0, ~std::uint64_t{0}}}}));
    EXPECT_EQ(definitionText(read), nlohmann::ordered_json::parse(everyMember).dump(2) + '\n');
}

TEST(DefinitionFile, OfVersion1HasChannel0WhereItNamesNone) {
    const std::string signals = R"("lin": [{"instance": "L", "bits": 1, "msgId": 1}],
        "can": [{"instance": "C", "bits": 1, "msgId": 1}]})";
    for (const auto& [head, channel] : {std::pair{"{", std::optional<std::uint8_t>(0)},
                                        std::pair{R"({"version": 1,)", std::optional<std::uint8_t>(0)},
                                        std::pair{R"({"version": 2,)", std::optional<std::uint8_t>()}}) {
        const auto messages = parseJsonDefinitions(head + signals, "x.json").messages;
        EXPECT_EQ(messages[0].channel, std::nullopt) << head;
        EXPECT_EQ(messages[1].channel, channel) << head;
    }
}

/// What a DBC file says, written as JSON and read again. Only the places and the names of instances differ.
TEST(DefinitionFile, HoldsAllThatADbcFileSays) {
    Catalog catalog;
    catalog.addDbcText(R"(BO_ 416 Engine: 8 ECM
 SG_ Speed : 7|16@0+ (0.25,0) [0|16383.75] "rpm" Dash,Log
BO_ 2566851296 Status: 8 ECM
 SG_ Page M : 0|8@1+ (1,0) [0|0] ""
 SG_ Code m1 : 8|8@1+ (1,0) [0|0] ""
 SG_ Inner m3M : 8|8@1+ (1,0) [0|0] ""
 SG_ Deep m7 : 16|8@1+ (1,0) [0|0] ""
 SG_ Late m70000 : 24|8@1+ (1,0) [0|0] ""
 SG_ Other M : 32|8@1+ (1,0) [0|0] ""
 SG_ Second m0 : 40|8@1+ (1,0) [0|0] ""
BO_ 417 Engine: 12 ECM
 SG_ Speed : 0|32@1- (1,0) [0|0] ""
BO_ 418 Empty: 8 ECM
CM_ BO_ 416 "what the engine does";
VAL_ 417 Speed -1 "none" ;
SIG_VALTYPE_ 417 Speed : 1;
SG_MUL_VAL_ 2566851296 Code Page 1-2, 9-9;
SG_MUL_VAL_ 2566851296 Deep Inner 7-7;
SG_MUL_VAL_ 2566851296 Second Other 0-0;
BA_ "GenMsgCycleTime" BO_ 416 20;
)",
                       "t.dbc", 9);
    const std::vector<MessageDefinition> dbc = catalog.decodedMessages();
    const std::string expected = shown(dbc);
    EXPECT_NE(expected.find(" Speed as Engine.Speed@9 : 0|32@1 float"), std::string::npos) << expected;
    EXPECT_NE(expected.find(" Code < Page 1-2 9-9 : 8|8@1+"), std::string::npos);
    EXPECT_EQ(shown(parseJsonDefinitions(definitionText(dbc), "t.json").messages), expected);
}

TEST(DefinitionSchema, AgreesWithTheReader) {
    const TemporaryFolder folder;
    std::string files, expected;
    const auto add = [&](const std::string& name, const std::string& text, bool accepted) {
        folder.write(name, text);
        files += " '" + name + "'";
        expected += name + (accepted ? " valid\n" : " invalid\n");
    };
    add("example of the manual", example(), true);
    EXPECT_EQ(messagesOf(example()), "accepted");
    add("signals of the demo", contentOf(project / "examples/drive/logger.json"), true);
    add("every member", everyMember, true);
    for (const WrongDocument& document : wrongDocuments) {
        add(document.name, document.text, document.schemaAccepts);
    }
    folder.write("schema.json", definitionSchema());
    EXPECT_TRUE(definitionSchema() == contentOf(project / "docs/signals.schema.json"))
        << "write it anew with: rksignal convert --schema > docs/signals.schema.json";
    const ProgramResult result = folder.run(
        "python3 '" + (project / "tests/replay/definition/validate.py").string() + "' schema.json" + files);
    if (result.messages.find("No module named 'jsonschema'") != std::string::npos) {
        GTEST_SKIP() << "the Debian package python3-jsonschema is not installed";
    }
    EXPECT_EQ(result.output, expected) << result.messages;
}

} // namespace
} // namespace rksignal
