/// \file
/// UTF-8 is recognised byte by byte, everything else converted.
#include "dbc/TextEncoding.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

struct Utf8Row {
    const char* name;
    std::string_view text;
    std::optional<std::size_t> invalid;
};

class Utf8Check : public testing::TestWithParam<Utf8Row> {};

TEST_P(Utf8Check, FindsTheFirstInvalidByte) {
    EXPECT_EQ(findInvalidUtf8(GetParam().text), GetParam().invalid);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Utf8Check,
    testing::Values(Utf8Row{"Empty", "", {}}, Utf8Row{"Ascii", "abc", {}},
                    Utf8Row{"AllLengths",
                            "\xC2\x80 \xDF\xBF \xE0\xA0\x80 \xEF\xBF\xBF \xF0\x90\x80\x80 \xF4\x8F\xBF\xBF",
                            {}},
                    Utf8Row{"Latin1", "a\xB0", 1}, Utf8Row{"CutOff", "ab\xE2\x82", 2},
                    Utf8Row{"OverlongTwo", "\xC1\xBF", 0}, Utf8Row{"OverlongThree", "\xE0\x9F\xBF", 0},
                    Utf8Row{"OverlongFour", "\xF0\x8F\xBF\xBF", 0}, Utf8Row{"Surrogate", "x\xED\xA0\x80", 1},
                    Utf8Row{"BehindTheLast", "\xF4\x90\x80\x80", 0},
                    Utf8Row{"FiveBytes", "\xF8\x88\x80\x80\x80", 0},
                    Utf8Row{"BadThirdByte", "\xE2\x82\x28", 0}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Windows1252, EveryKindOfByte) {
    EXPECT_EQ(windows1252ToUtf8("a\x7F"), "a\x7F");
    EXPECT_EQ(windows1252ToUtf8("\x80\x99\x9F"),
              "\xE2\x82\xAC\xE2\x84\xA2\xC5\xB8");                // euro, trade mark, Y with dots
    EXPECT_EQ(windows1252ToUtf8("\x81\x9D"), "\xC2\x81\xC2\x9D"); // not assigned
    EXPECT_EQ(windows1252ToUtf8("\xA0\xB0\xFF"), "\xC2\xA0\xC2\xB0\xC3\xBF");
}

TEST(Windows1252, ResultIsAlwaysUtf8) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    EXPECT_EQ(findInvalidUtf8(windows1252ToUtf8(all)), std::nullopt);
}

} // namespace
} // namespace rksignal
