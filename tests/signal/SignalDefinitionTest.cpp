/// \file
/// Text forms of value types and definition records.
#include "support/SignalTest.h"

#include <sstream>

namespace {

TEST(SignalValueType, TextForm) {
    std::ostringstream out;
    for (const std::uint32_t type : {0U, 1U, 2U, 3U, 4U, 0xFFFFFFFFU})
        out << signalValue_t{type} << ';';
    EXPECT_EQ(out.str(), "unsigned;signed;float;double;;;");
}

TEST(SignalDefinition, TextForm) {
    const baseSignalDef_t full = fullDefinition("Motor.Speed");
    baseSignalDef_t plain = byteDefinition("I", ""), named = full, described = plain;
    named.valueDescriptions.clear();
    described.type = signalValue_t{9};
    described.scale = 1234567.89;
    described.offset = 1e-7;
    described.valueDescriptions = {{0, "off"}};
    const std::string line = "instance=Motor.Speed,signal=Speed,channel=65,unit=1/min °,type=signed,"
                             "startbit=65535,bits=64,scale=0.1,offset=-40,endian=BIG,multiplexed=yes,"
                             "mux=1000,tslId=200,udn=n_mot";
    const struct {
        const char* name;
        const baseSignalDef_t& definition;
        std::string text;
    } rows[] = {
        {"everything", full, line + "\nvalue description table\n2: \n10: ten\n18446744073709551615: all\n"},
        {"no value descriptions", named, line},
        {"no user-defined name either", plain,
         "instance=I,signal=,channel=0,unit=,type=unsigned,startbit=0,bits=8,scale=1,offset=0,endian=LITTLE,"
         "multiplexed=no,mux=0,tslId=0"},
        {"unknown type, default floating format", described,
         "instance=I,signal=,channel=0,unit=,type=,startbit=0,bits=8,scale=1.23457e+06,offset=1e-07,"
         "endian=LITTLE,multiplexed=no,mux=0,tslId=0\nvalue description table\n0: off\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::ostringstream out;
        out << std::hex << row.definition << 255;
        EXPECT_EQ(out.str(), row.text + "255") << "the stream is set to decimal";
    }
}

} // namespace
