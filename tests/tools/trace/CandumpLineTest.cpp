#include "trace/CandumpLine.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

namespace rksignal {
namespace {

/// Everything that was read, e.g. `data can1 5 ns std 123 [2] 11 22`; what is 0 or unknown is left out.
std::string describe(const CandumpLine& line) {
    constexpr const char* kinds[] = {"data", "remote", "error", "xl", "drop count"};
    constexpr const char* formats[] = {"std", "ext", "fd std", "fd ext"};
    std::ostringstream out;
    out << kinds[static_cast<int>(line.kind)];
    if (line.kind == CandumpLine::Kind::DropCount) {
        out << ' ' << line.dropped;
        return out.str();
    }
    out << ' ' << line.interfaceName << ' ' << line.frame.timestamp << " ns";
    if (line.kind == CandumpLine::Kind::Xl) {
        return out.str();
    }
    out << ' ' << formats[line.frame.frameFormat] << ' ' << std::hex << line.frame.canId << " [" << std::dec
        << int{line.frame.length} << ']' << std::hex << std::setfill('0');
    for (int i = 0; line.kind != CandumpLine::Kind::Remote && i < line.frame.length; ++i) {
        out << ' ' << std::setw(2) << int{line.frame.payload[static_cast<std::size_t>(i)]};
    }
    out << (line.fdFlags != 0 ? " flags " + std::to_string(line.fdFlags) : "")
        << (line.lengthCode != 0 ? " code " + std::to_string(line.lengthCode) : "")
        << (line.direction == CandumpLine::Direction::Sent ? " sent" : "")
        << (line.direction == CandumpLine::Direction::Received ? " received" : "");
    return out.str();
}

struct Row {
    const char* name;
    std::string text;
    std::string expected; ///< as described, or the reason why not
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.text;
}

class CandumpLineForms : public testing::TestWithParam<Row> {};

TEST_P(CandumpLineForms, Read) {
    CandumpLine line;
    const char* const reason = parseCandumpLine(GetParam().text, line);
    EXPECT_EQ(reason != nullptr ? reason : describe(line), GetParam().expected);
}

std::string nameOf(const testing::TestParamInfo<Row>& info) {
    return info.param.name;
}

std::string repeated(const char* text, int times) {
    std::string result;
    while (times-- > 0) {
        result += text;
    }
    return result;
}

INSTANTIATE_TEST_SUITE_P(
    CandumpLine, CandumpLineForms,
    testing::Values(
        Row{"Extended", "(1626905042.645596) can1 0CF00400#507D8DD11200F48E",
            "data can1 1626905042645596000 ns ext cf00400 [8] 50 7d 8d d1 12 00 f4 8e"},
        Row{"Standard", "(0000000166.000000) vcan0 21A#FE36", "data vcan0 166000000000 ns std 21a [2] fe 36"},
        Row{"NoData", "(1.5) can0 7FF#", "data can0 1500000000 ns std 7ff [0]"},
        Row{"LowerCase", "(1.5) can0 1fffffff#abcdef", "data can0 1500000000 ns ext 1fffffff [3] ab cd ef"},
        Row{"ShortExtended", "(1.5) can0 00000001#00", "data can0 1500000000 ns ext 1 [1] 00"},
        Row{"Nanoseconds", "(1626905042.645596123) can1 123#00",
            "data can1 1626905042645596123 ns std 123 [1] 00"},
        Row{"LargestTime", "(18446744072.999999999) can1 123#00",
            "data can1 18446744072999999999 ns std 123 [1] 00"},
        Row{"PaddedName", "(1.000000)  can0 123#00", "data can0 1000000000 ns std 123 [1] 00"},
        Row{"NameWithoutDigits", "(1.000000) slcan-left 123#00",
            "data slcan-left 1000000000 ns std 123 [1] 00"},
        Row{"Sent", "(1.000000) can0 123#00 T", "data can0 1000000000 ns std 123 [1] 00 sent"},
        Row{"Received", "(1.000000) can0 123##100 R",
            "data can0 1000000000 ns fd std 123 [1] 00 flags 1 received"},
        Row{"TrailingBlank", "(1.000000) can0 123#00 ", "data can0 1000000000 ns std 123 [1] 00"},
        Row{"Remote", "(1.000000) can0 123#R", "remote can0 1000000000 ns std 123 [0]"},
        Row{"RemoteWithLength", "(1.000000) can0 12345678#R8 T",
            "remote can0 1000000000 ns ext 12345678 [8] sent"},
        Row{"RemoteWithCode", "(1.000000) can0 123#R8_E", "remote can0 1000000000 ns std 123 [8] code 14"},
        Row{"LengthCode", "(1.000000) can0 123#1122334455667788_9 R",
            "data can0 1000000000 ns std 123 [8] 11 22 33 44 55 66 77 88 code 9 received"},
        Row{"Fd", "(1.000000) can0 123##0", "data can0 1000000000 ns fd std 123 [0]"},
        Row{"FdFlagsAndData", "(1.000000) can0 12345678##511223344556677889900AABB",
            "data can0 1000000000 ns fd ext 12345678 [12] 11 22 33 44 55 66 77 88 99 00 aa bb flags 5"},
        Row{"FdFull", "(1.000000) can0 123##F" + repeated("5A", 64),
            "data can0 1000000000 ns fd std 123 [64]" + repeated(" 5a", 64) + " flags 15"},
        Row{"Error", "(1.000000) can0 20000004#0004000000000000",
            "error can0 1000000000 ns ext 20000004 [8] 00 04 00 00 00 00 00 00"},
        Row{"Xl", "(1.000000) can0 00123#81:00:12345678#11223344", "xl can0 1000000000 ns"},
        Row{"DropCount", "DROPCOUNT: dropped 3 CAN frames on 'can1' socket (total drops 8)", "drop count 3"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Damaged, CandumpLineForms,
    testing::Values(
        Row{"Empty", "", "no time stamp in parentheses"},
        Row{"OtherText", "can0  123   [2]  11 22", "no time stamp in parentheses"},
        Row{"DropCountCut", "DROPCOUNT: dropped ", "DROPCOUNT line without a number"},
        Row{"CutInTime", "(1626905042.6455", "time stamp is not SECONDS.FRACTION with 1 to 9 decimals"},
        Row{"NoFraction", "(1626905042) can1 123#00",
            "time stamp is not SECONDS.FRACTION with 1 to 9 decimals"},
        Row{"EmptyFraction", "(1.) can1 123#00", "time stamp is not SECONDS.FRACTION with 1 to 9 decimals"},
        Row{"TenDecimals", "(1.0000000001) can1 123#00",
            "time stamp is not SECONDS.FRACTION with 1 to 9 decimals"},
        Row{"NegativeTime", "(-1.000000) can1 123#00",
            "time stamp is not SECONDS.FRACTION with 1 to 9 decimals"},
        Row{"TimeBeyondNanoseconds", "(18446744073.000000) can1 123#00",
            "time stamp is beyond 64 bits of nanoseconds"},
        Row{"NoBlank", "(1.0)can1 123#00", "no interface name behind the time stamp"},
        Row{"NoName", "(1.0) ", "no interface name behind the time stamp"},
        Row{"NameTooLong", "(1.0) sixteencharacter 123#00", "interface name is not one that Linux allows"},
        Row{"NameWithControl", "(1.0) can\x1b[0 123#00", "interface name is not one that Linux allows"},
        Row{"NameWithColon", "(1.0) can0:1 123#00", "interface name is not one that Linux allows"},
        Row{"NoFrame", "(1.0) can0", "no frame behind the interface name"},
        Row{"NothingBehindName", "(1.0) can0 ", "identifier is not 3 or 8 hexadecimal digits"},
        Row{"FourDigits", "(1.0) can0 1234#00", "identifier is not 3 or 8 hexadecimal digits"},
        Row{"FiveDigitsNotXl", "(1.0) can0 12345#00", "identifier is not 3 or 8 hexadecimal digits"},
        Row{"NineDigits", "(1.0) can0 123456789#00", "identifier is not 3 or 8 hexadecimal digits"},
        Row{"BadDigit", "(1.0) can0 12G#00", "identifier is not 3 or 8 hexadecimal digits"},
        Row{"CutBehindIdentifier", "(1.0) can0 123", "no '#' behind the identifier"},
        Row{"StandardTooLarge", "(1.0) can0 800#00", "standard identifier is above 7FF"},
        Row{"ExtendedTooLarge", "(1.0) can0 40000000#00", "extended identifier is above 1FFFFFFF"},
        Row{"OddDigits", "(1.0) can0 123#112", "odd number of data digits"},
        Row{"BadData", "(1.0) can0 123#11G2", "data is not hexadecimal"},
        Row{"Separators", "(1.0) can0 123#11.22", "data is not hexadecimal"},
        Row{"NineBytes", "(1.0) can0 123#112233445566778899", "more than 8 data bytes in a classic frame"},
        Row{"SixtyFiveBytes", "(1.0) can0 123##0" + repeated("00", 65),
            "more than 64 data bytes in a CAN FD frame"},
        Row{"FdWithoutFlags", "(1.0) can0 123##", "flags of a CAN FD frame are not a hexadecimal digit"},
        Row{"FdError", "(1.0) can0 20000004##000", "data is not hexadecimal"},
        Row{"RemoteTooLong", "(1.0) can0 123#R9", "length of a remote frame is not 0 to 8"},
        Row{"RemoteWithData", "(1.0) can0 123#R11", "unexpected text behind the frame"},
        Row{"CodeCut", "(1.0) can0 123#1122334455667788_", "length code behind '_' is not 9 to F"},
        Row{"CodeOfShortFrame", "(1.0) can0 123#11_9",
            "length code behind '_' in a frame that has not 8 bytes"},
        Row{"CodeOfFd", "(1.0) can0 123##01122334455667788_9", "unexpected text behind the frame"},
        Row{"OtherDirection", "(1.0) can0 123#00 X", "unexpected text behind the frame"},
        Row{"NulByte", std::string("(1.0) can0 123#00\0", 18), "data is not hexadecimal"}),
    nameOf);

TEST(CandumpLine, OneRecordForAllLinesKeepsNothingFromTheLineBefore) {
    CandumpLine line;
    ASSERT_EQ(parseCandumpLine("(1.5) can0 12345678##5112233 T", line), nullptr);
    ASSERT_EQ(parseCandumpLine("(2.5) can1 123#1122334455667788_9", line), nullptr);
    ASSERT_EQ(parseCandumpLine("(3.5) can2 123#R", line), nullptr);
    ASSERT_EQ(parseCandumpLine("(4.5) can3 124#AA", line), nullptr);
    EXPECT_EQ(describe(line), "data can3 4500000000 ns std 124 [1] aa");
}

/// Whatever a line is cut to, the parser stays inside it: the sanitizers watch the heap copy.
TEST(CandumpLine, EveryPrefixIsReadWithinItsBytes) {
    const std::string whole = "(1626905042.645596) can1 0CF00400##5507D8DD11200F48E_9 T";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const std::vector<char> copy(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        CandumpLine line;
        parseCandumpLine({copy.data(), copy.size()}, line);
        EXPECT_LE(line.frame.length, 64);
    }
}

} // namespace
} // namespace rksignal
