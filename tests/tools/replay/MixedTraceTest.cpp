/// \file
/// Traces of all formats, with signals of all kinds, through the program.
#include "support/EthernetFrame.h"
#include "tools/ProgramRun.h"
#include "tools/RecordFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <regex>

namespace rksignal {
namespace {

constexpr const char* definitions = R"({
"can": [{"instance": "Motor.Speed", "channel": 1, "msgId": "0x100", "bits": 16, "unit": "rpm"},
        {"instance": "Motor.Load", "msgId": 257, "bits": 8},
        {"instance": "Pdu.Value", "msgId": "0x200", "canFD": true, "pduId": 7, "bits": 8}],
"lin": [{"instance": "Seat.One", "msgId": 60, "channel": 1, "bits": 8},
        {"instance": "Seat.Two", "msgId": 60, "channel": 1, "tslId": 2, "startbit": 8, "bits": 8},
        {"instance": "Seat.Three", "msgId": 61, "channel": 1, "tslId": 2, "bits": 8}],
"digital": [{"instance": "Door", "channel": 8, "tslId": 1, "bits": 1}],
"analog": [{"instance": "Battery", "channel": 3, "type": "double", "bits": 64, "unit": "V"}],
"keyboard": [{"instance": "RC.TRG"}],
"status": [{"instance": "Logger.Status"}, {"instance": "Logger.IntMemory"}],
"gps": [{"instance": "GPS.Status"}, {"instance": "GPS.Latitude"}, {"instance": "GPS.Time"}]
})";

std::string sentence(const std::string& content) {
    unsigned sum = 0;
    for (const char character : content) {
        sum ^= static_cast<unsigned char>(character);
    }
    std::ostringstream text;
    text << '$' << content << '*' << std::hex << std::uppercase << std::setfill('0') << std::setw(2) << sum;
    return text.str();
}

constexpr std::uint64_t second = 1'000'000'000;

/// A message of each kind, a second apart, and some that nobody asked for.
std::string drive() {
    RecordFile file;
    file.add(canFrame(1 * second, 1, 0, 0x100, {0x10, 0x27}))
        .add(canFrame(1 * second, 0, 0, 0x100, {0x10, 0x27}))
        .add(canFrame(2 * second, 5, 2, 0x101, {9}))
        .add(canFrame(3 * second, 5, 2, 0x200, {0, 0, 7, 1, 42}))
        .add(LINTraceMessage{4 * second, {1, 2}, 1, 0x3C})
        .add(LINTraceMessage{4 * second, {1, 2}, 0, 0x3C})
        .add(LINTraceMessage{4 * second, {1, 2}, 1, 0x3B})
        .add(LINTraceMessage{4 * second, {3}, 1, 0x3D})
        .add(GpioTraceMessage{5 * second, {{8, 1, 1}}})
        .add(GpioTraceMessage{5 * second, {{7, 1, 1}}})
        .add(GpioTraceMessage{5 * second, {{9, 1, 1}}})
        .add(AnalogTraceMessage{6 * second, {{3, 1234, -2}}})
        .add(AnalogTraceMessage{6 * second, {{4, 1, 1}}})
        .add(KeyboardMessage{7 * second, 16, 1})
        .add(KeyboardMessage{7 * second, 15, 1})
        .add(SystemMessage(8 * second, 16, "3"))
        .add(SystemUsageMessage(9 * second, 40, 255, 255))
        .add(GPSTraceMessage{10 * second, sentence("GPRMC,093005,A,4807.5,N,01134.5,E,30,0,150726,,")})
        .add(GPSTraceMessage{11 * second, sentence("GPRMC,093006,V,,,,,,,150726,,")});
    return file.bytes();
}

struct MixedTrace : testing::Test {
    MixedTrace() {
        folder.write("all.json", definitions);
        folder.write("drive.rktrace", drive());
    }
    TemporaryFolder folder;
};

TEST_F(MixedTrace, EveryKindOfRecordIsDecoded) {
    const ProgramResult result = folder.run("rksignal decode --signals all.json drive.rktrace");
    EXPECT_EQ(result.output, valueHeader + R"(1.000000,1,can,Motor.Speed,10000,rpm,10000,
2.000000,5,can,Motor.Load,9,,9,
3.000000,5,can,Pdu.Value,42,,42,
4.000000,1,lin,Seat.One,1,,1,
4.000000,1,lin,Seat.Two,2,,2,
4.000000,1,lin,Seat.Three,3,,3,
5.000000,,digital,Door,1,,1,
6.000000,,analog,Battery,12.34,V,0x4028ae147ae147ae,
7.000000,,keyboard,RC.TRG,1,,1,
8.000000,,status,Logger.Status,3,,3,Warning
9.000000,,status,Logger.IntMemory,40,%,40,
10.000000,,gps,GPS.Latitude,48.125,,0x4048100000000000,"48°07'30""N"
10.000000,,gps,GPS.Status,1,,1,Active
10.000000,,gps,GPS.Time,93005,UTC,93005,09:30:05
11.000000,,gps,GPS.Status,0,,0,Void
)");
    EXPECT_EQ(result.messages, R"(19 messages read: 12 decoded, 7 unknown, 0 remote, 0 error
  can: 3 decoded, 1 unknown
  lin: 2 decoded, 2 unknown
  digital: 1 decoded, 2 unknown
  analog: 1 decoded, 1 unknown
  keyboard: 1 decoded, 1 unknown
  status: 2 decoded, 0 unknown
  gps: 2 decoded, 0 unknown
19 raw records, 6 of them dropped before they were decoded
unknown: channel 0 100 (1)
unknown lin: channel 0 3C (1), channel 1 3B (1)
unknown digital: 7 (1), 9 (1)
unknown analog: 4 (1)
unknown keyboard: 15 (1)
)");
    EXPECT_EQ(folder.run("rksignal decode -q --signals all.json --last --only 'GPS.*' drive.rktrace").output,
              "instance    value  unit  raw  text  channel  bus       time  count\n"
              "GPS.Status      0          0  Void           gps  11.000000      2\n");
}

TEST_F(MixedTrace, DamageCostsOnlyWhatItHits) {
    std::string bytes = drive();
    bytes[40] ^= 1; // in the first record
    folder.write("damaged.rktrace", bytes.substr(0, bytes.size() - 1));
    const ProgramResult result =
        folder.run("rksignal decode --signals all.json --only 'Motor.*' damaged.rktrace");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, valueHeader + "2.000000,5,can,Motor.Load,9,,9,\n");
    EXPECT_NE(result.messages.find("17 messages read"), std::string::npos) << result.messages;
    EXPECT_NE(result.messages.find("bytes damaged from offset 8\n"), std::string::npos) << result.messages;
}

TEST_F(MixedTrace, ConditionsFireFromEveryKindAndLoseWhatIsVoid) {
    const std::string command = "rksignal trigger -q --signals all.json drive.rktrace ";
    EXPECT_EQ(folder
                  .run(command + "--when 'key=RC.TRG == pressed' --when 'state=Logger.Status == warning' "
                                 "--when 'seat=Seat.Two == 2' --when 'north=GPS.Latitude > 48'")
                  .output,
              "time,channel,bus,condition,signals\n"
              "4.000000,1,lin,seat,Seat.Two=2 (0)\n"
              "7.000000,,keyboard,key,RC.TRG=1 (0)\n"
              "8.000000,,status,state,Logger.Status=3 (0)\n"
              "10.000000,,gps,north,GPS.Latitude=48.125 (0)\n");
    EXPECT_EQ(folder.run(command + "--when 'n=GPS.Latitude > 48' --at 11 --timeout 5 --explain").output,
              R"(10.000000 n fires, gps
GPS.Latitude > 48: true
  GPS.Latitude: 48.125 (48°07'30"N)

11.000000 n
GPS.Latitude > 48: unknown
  GPS.Latitude: unknown (no fix)

)");
}

/// The same definitions with a channel leave the frames of others alone.
TEST_F(MixedTrace, DefinitionsWithoutAChannelAreForFramesOfAll) {
    const std::string buses = R"(
"lin": [{"instance": "L", @ "msgId": 1, "bits": 8}],
"flexray": [{"instance": "F", @ "bits": 8, "positions": [{"type": "static", "slot": 7}]}],
"ethernet": [{"instance": "E", @ "bits": 8, "positions": [{"destinationPort": 2000}]}]})";
    folder.write("any.json", R"({"version": 2,)" + std::regex_replace(buses, std::regex("@"), ""));
    folder.write("old.json", "{" + std::regex_replace(buses, std::regex("@"), ""));
    folder.write("bound.json", "{" + std::regex_replace(buses, std::regex("@"), R"("channel": 5,)"));
    RecordFile file;
    for (const std::uint8_t channel : {std::uint8_t{0}, std::uint8_t{5}, std::uint8_t{255}}) {
        const std::uint64_t time = (std::uint64_t{channel} + 1) * second;
        file.add(LINTraceMessage{time, {1}, channel, 1})
            .add(FlexRayExtTraceMessage{time, FlexRayExtTraceMessage::Static, channel, {2, 2}, 7, 0, {2, 2}})
            .add(MIITraceMessage{time, FrameText{}.with({3}), channel});
    }
    folder.write("all.rktrace", file.bytes());
    const std::string of0 = "1,0,lin,L,1,,1,|1,0,flexray,F,2,,2,|1,0,ethernet,E,3,,3,|";
    const std::string of5 = "6,5,lin,L,1,,1,|6,5,flexray,F,2,,2,|6,5,ethernet,E,3,,3,|";
    const std::string of255 = "256,255,lin,L,1,,1,|256,255,flexray,F,2,,2,|256,255,ethernet,E,3,,3,|";
    for (const auto& [arguments, expected] :
         {std::pair{"any.json", of0 + of5 + of255}, std::pair{"any.json --strict", of0 + of5 + of255},
          std::pair{"5=any.json", of5}, std::pair{"old.json", of0}, std::pair{"bound.json", of5}}) {
        const std::string command = std::string("rksignal decode -q all.rktrace --definitions ") + arguments;
        EXPECT_EQ(folder.run(command + " | tail -n +2 | sed s/.000000// | tr '\\n' '|'").output, expected)
            << arguments;
    }
    EXPECT_EQ(
        folder.run("rksignal trigger -q --signals any.json all.rktrace --edge --when 'x=L + F + E == 6'")
            .output,
        "time,channel,bus,condition,signals\n1.000000,0,ethernet,x,E=3 (0); F=2 (0); L=1 (0)\n");
    EXPECT_EQ(folder.run("rksignal decode all.rktrace --dbc 5=bound.json").messages,
              "rksignal: bound.json#/lin/0: names its channel itself, so that bound.json cannot be bound to "
              "channel 5\n");
}

/// Merged by time, equal times in the order of the arguments, each trace in its own order.
TEST_F(MixedTrace, TracesAreMerged) {
    folder.write("a.log", "(1.0) can0 101#01\n(3.0) can0 101#02\n(2.0) can0 101#03\n(4.0) can0 101#04\n");
    folder.write("b.log", "(2.5) can1 101#05\n(3.0) can1 101#06\n(5.0) can1 101#07\n");
    const std::pair<const char*, const char*> rows[] = {
        {"a.log b.log", "1 5 2 3 6 4 7"},
        {"b.log a.log", "1 5 6 2 3 4 7"},
        {"a.log b.log --shift b.log=-1.500000001", "5 1 6 2 3 7 4"},
        {"b.log a.log --shift a.log=10", "5 6 7 1 2 3 4"},
        {"a.log b.log --shift b.log=-3", "5 6 1 7 2 3 4"},
    };
    for (const auto& [arguments, expected] : rows) {
        const std::string values = std::string(arguments) + " | tail -n +2 | cut -d, -f5 | paste -sd ' '";
        EXPECT_EQ(folder.run("rksignal decode -q --signals all.json " + values).output,
                  std::string(expected) + "\n");
    }
    EXPECT_EQ(folder.run("rksignal decode --signals all.json a.log --shift c.log=1").messages,
              "rksignal: --shift c.log=1: c.log is none of the traces\n");
}

TEST_F(MixedTrace, SentencesOfOneTimeAreAMessage) {
    const std::string gga = ",4808.235,N,01134.5,E,1,05,1.5,500,M,,M,,";
    folder.write("gps.json", R"({"gps": [{"instance": "GPS.Status"}, {"instance": "GPS.Satellites"}]})");
    folder.write("gps.txt", sentence("GPGGA,235958" + gga) + "\r\n" + // no date yet
                                sentence("GPRMC,235959.50,A,4808.2,N,01134.5,E,0,0,311225,,") + "\r\n" +
                                sentence("GPGSV,1,1,00") + "\r\n" + sentence("GPGGA,235959.50" + gga) +
                                "\r\n" + sentence("GPGGA,000000" + gga) + "\r\n# remark\r\n" +
                                "$GPRMC,000001,A,4808.2,N,01134.5,E,0,0,010126,,*00\r\n" +
                                sentence("GPRMC,000002,V,,,,,,,010126,,") + "\r\nnonsense\r\n" +
                                "$GPRMC,000003,A,4808.2,N,01134.5,E,0,0,010126,,"); // cut, and no checksum
    const ProgramResult result = folder.run("rksignal decode --signals gps.json --gps gps.txt");
    EXPECT_EQ(result.output, valueHeader + "1767225599.500000,,gps,GPS.Status,1,,1,Active\n"
                                           "1767225599.500000,,gps,GPS.Satellites,5,,5,\n"
                                           "1767225600.000000,,gps,GPS.Satellites,5,,5,\n"
                                           "1767225602.000000,,gps,GPS.Status,0,,0,Void\n");
    EXPECT_EQ(result.messages, R"(4 messages read: 3 decoded, 0 unknown, 0 remote, 0 error, 1 of other kinds
  gps: 3 decoded, 0 unknown
3 malformed lines:
  gps.txt:7: not a whole sentence of NMEA 0183 with the right checksum
  gps.txt:9: not a whole sentence of NMEA 0183 with the right checksum
  gps.txt:10: not a whole sentence of NMEA 0183 with the right checksum
)");
    EXPECT_EQ(folder.run("rksignal decode -q --signals gps.json - < gps.txt").output, result.output);
}

} // namespace
} // namespace rksignal
