#include "trace/log/CandumpLine.h"
#include "trace/log/CandumpShape.h"
#include "trace/log/HexDigits.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <iterator>
#include <memory>
#include <random>
#include <sstream>

namespace rksignal {
namespace {

/// `data can1 5 std 123 [2] 1122 0 0` with flags and length code at the end.
std::string show(const CandumpLine& line) {
    constexpr const char* kinds[] = {"data ", "remote ", "error ", "xl ", "drop count "};
    constexpr const char* formats[] = {" std ", " ext ", " fd std ", " fd ext "};
    constexpr const char* directions[] = {"", " received", " sent"};
    std::ostringstream out;
    out << kinds[static_cast<int>(line.kind)];
    if (line.kind == CandumpLine::Kind::DropCount || line.kind == CandumpLine::Kind::Xl) {
        out << (line.kind == CandumpLine::Kind::Xl ? line.frame.timestamp : line.dropped);
        return out.str();
    }
    out << line.interfaceName << ' ' << line.frame.timestamp << formats[line.frame.frameFormat] << std::hex
        << line.frame.canId << " [" << std::dec << int{line.frame.length} << "] " << std::hex
        << std::setfill('0');
    for (std::size_t i = 0; line.kind != CandumpLine::Kind::Remote && i < line.frame.length; ++i) {
        out << std::setw(2) << int{line.frame.payload[i]};
    }
    out << ' ' << int{line.fdFlags} << ' ' << int{line.lengthCode}
        << directions[static_cast<int>(line.direction)];
    return out.str();
}

/// That, or the reason why it is not read.
std::string read(const std::string& text, CandumpLine& line) {
    const char* const reason = parseCandumpLine(text, line);
    return reason != nullptr ? reason : show(line);
}

/// One record serves all lines.
TEST(CandumpLine, IsReadOrRefusedWithAReason) {
    const std::string full(128, '5');
    const char* const badTime = "time stamp is not SECONDS.FRACTION with 1 to 9 decimals";
    const char* const badId = "identifier is not 3 or 8 hexadecimal digits";
    const std::pair<std::string, std::string> rows[] = {
        {"(1626905042.645596) can1 0CF00400#50 T",
         "data can1 1626905042645596000 ext cf00400 [1] 50 0 0 sent"},
        {"(18446744072.999999999)  left 7FF# ", "data left 18446744072999999999 std 7ff [0]  0 0"},
        {"(1.5) can0 1fffffff#1122334455667788_9",
         "data can0 1500000000 ext 1fffffff [8] 1122334455667788 0 9"},
        {"(1.5) can0 12345678##5abcdef R", "data can0 1500000000 fd ext 12345678 [3] abcdef 5 0 received"},
        {"(1.5) can0 123#R", "remote can0 1500000000 std 123 [0]  0 0"},
        {"(1.5) can0 12345678#R8_E T", "remote can0 1500000000 ext 12345678 [8]  0 e sent"},
        {"(1.5) can0 20000004#0004", "error can0 1500000000 ext 20000004 [2] 0004 0 0"},
        {"(1.5) can0 123##0" + full, "data can0 1500000000 fd std 123 [64] " + full + " 0 0"},
        {"(1.5) can0 00123#81:00:12345678#11223344", "xl 1500000000"},
        {"DROPCOUNT: dropped 3 CAN frames on 'can1' socket (total drops 8)", "drop count 3"},
        {"DROPCOUNT: dropped ", "DROPCOUNT line without a number"},
        {"can0  123   [2]  11 22", "no time stamp in parentheses"},
        {"(1626905042) can1 123#00", badTime},
        {"(1.0000000001) can1 123#00", badTime},
        {"(18446744073.000000) can1 123#00", "time stamp is beyond 64 bits of nanoseconds"},
        {"(1.0)can1 123#00", "no interface name behind the time stamp"},
        {"(1.0) sixteencharacter 123#00", "interface name is not one that Linux allows"},
        {"(1.0) can0", "no frame behind the interface name"},
        {"(1.0) can0 123456789#00", badId},
        {"(1.0) can0 12G#00", badId},
        {"(1.0) can0 123", "no '#' behind the identifier"},
        {"(1.0) can0 800#00", "standard identifier is above 7FF"},
        {"(1.0) can0 40000000#00", "extended identifier is above 1FFFFFFF"},
        {"(1.0) can0 123#112", "odd number of data digits"},
        {std::string("(1.0) can0 123#00\0", 18), "data is not hexadecimal"},
        {"(1.0) can0 123#112233445566778899", "more than 8 data bytes in a classic frame"},
        {"(1.0) can0 123##0" + full + "00", "more than 64 data bytes in a CAN FD frame"},
        {"(1.0) can0 123##", "flags of a CAN FD frame are not a hexadecimal digit"},
        {"(1.0) can0 123#R9", "length of a remote frame is not 0 to 8"},
        {"(1.0) can0 123#R11", "unexpected text behind the frame"},
        {"(1.0) can0 123##01122334455667788_9", "unexpected text behind the frame"},
        {"(1.0) can0 123#1122334455667788_", "length code behind '_' is not 9 to F"},
        {"(1.0) can0 123#11_9", "length code behind '_' in a frame that has not 8 bytes"},
    };
    CandumpLine line;
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(read(text, line), expected) << text;
    }
}

TEST(HexDigits, AreTheSameAtOnceAsOneByOne) {
    constexpr std::string_view letters = "0189afAFgG@`/:";
    std::mt19937 random(1);
    for (int i = 0; i < 10'000; ++i) {
        std::string text(HexDigits::most, '0');
        for (char& letter : text) {
            letter = letters[random() % (i % 2 == 0 ? 8 : letters.size())];
        }
        const HexDigits expected = hexDigitsOneByOne(text.data());
        const HexDigits digits = hexDigits(text.data());
        ASSERT_EQ(digits.count, expected.count) << text;
        for (unsigned byte = 0; byte < digits.count / 2; ++byte) {
            ASSERT_EQ(digits.bytes >> 8 * byte & 0xFF, expected.bytes >> 8 * byte & 0xFF) << text;
        }
    }
}

/// What the shape reads at once is what the plain way reads; all whole lines of the usual form are among it.
TEST(CandumpShape, ReadsWhatThePlainWayReads) {
    const std::string lines[] = {"(1626905042.645596) can1 0CF00400#507D8DD11200F48E",
                                 "(1626905042.000001) vcan12 7FF#",
                                 "(7.999999) x 1FFFFFFF#aB",
                                 "(0001626905042.645596) can1 123#11",
                                 "(1626905042.645596) an-8-char 123#11223344",
                                 "(1626905042.645596) can1 123##51122",
                                 "(1626905042.645597) can1 123##0" + std::string(128, '5'),
                                 "(1626905042.6) can1 123#R8"};
    constexpr std::string_view letters = "0189afAFgG#.() :_R\x7f\xff";
    std::mt19937 random(1);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    CandumpShape shape;
    CandumpLine plain;
    CANExtTraceMessage fast;
    int whole = 0;
    for (int i = 0; i < 300'000; ++i) {
        std::string line = lines[below(std::size(lines))];
        const std::size_t changes = below(3);
        for (std::size_t change = 0; change < changes; ++change) {
            line[below(line.size())] = letters[below(letters.size())];
        }
        line.resize(line.size() - (changes == 0 ? 0 : below(4)));
        const std::string lineEnd = below(4) == 0 ? "\r\n" : "\n";
        const std::string following = line + lineEnd + std::string(CandumpShape::reach, '1');
        const std::unique_ptr<char[]> exact(
            new char[CandumpShape::reach]); // so that no byte more can be read
        following.copy(exact.get(), CandumpShape::reach);
        const std::size_t size = shape.read(exact.get(), fast);
        const std::string expected = read(line, plain);
        if (size > 0) {
            ASSERT_TRUE(expected.starts_with("data ")) << line;
            ASSERT_EQ(size, line.size() + lineEnd.size()) << line;
            ASSERT_EQ(fast.channel, plain.interfaceName.size()) << line;
            plain.frame = fast;
            ASSERT_EQ(show(plain), expected) << line;
            whole += changes == 0 ? 1 : 0;
        } else if (parseCandumpLine(line, plain) == nullptr) {
            shape.learn(line, plain, static_cast<std::uint8_t>(plain.interfaceName.size()));
        }
    }
    EXPECT_GT(whole, 10'000);
}

} // namespace
} // namespace rksignal
