#include "output/RowSink.h"

#include "value/Replay.h"

#include <gtest/gtest.h>

#include <random>
#include <sys/mman.h>
#include <unistd.h>

namespace rksignal {
namespace {

constexpr const char* rowDefinitions = R"(BO_ 1 A: 8
 SG_ Flag : 0|1@1+ (1,0) [0|0] ""
 SG_ Gear : 8|4@1- (1,0) [0|0] "a,b"
 SG_ Speed : 16|16@1+ (0.1,-40) [0|0] "km/h"
 SG_ Wide : 32|32@1- (0.00390625,0) [0|0] "m"
BO_ 2 B: 8
 SG_ Single : 0|32@1- (1,0) [0|0] ""
 SG_ Count : 32|32@1+ (1e-3,0) [0|0] ""
VAL_ 1 Gear 0 "zero ""quoted""" 3 "three" ;
SIG_VALTYPE_ 2 Single : 1;
)";

/// Writes each row the plain way.
class PlainRows : public ValueSink {
  public:
    PlainRows(const Catalog& catalog, const RowSyntax& syntax, OutputBuffer& out)
        : catalog(catalog), format(syntax, out, {}) {
        out.append(syntax.header);
        for (const auto& signal : catalog.signals()) {
            cells.emplace_back(*signal, syntax);
        }
    }
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override {
        format.setMessage(message);
        for (const unsigned long id : ids) {
            BaseSignal& signal = *catalog.signals()[catalog.indexOf(id)];
            format.write(cells[catalog.indexOf(id)], signal.def.type, ValueSample::of(signal));
        }
    }

  private:
    const Catalog& catalog;
    RowFormat format;
    std::vector<SignalCells> cells;
};

std::string textIn(int file) {
    std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    close(file);
    return text;
}

/// The rows of random frames, some values of which come again and again.
template <class Rows>
std::string rowsOf(const RowSyntax& syntax) {
    Catalog catalog;
    catalog.addDbcText(rowDefinitions, "a.dbc");
    const int file = memfd_create("rows", MFD_CLOEXEC);
    {
        OutputBuffer out(file);
        Rows rows = [&] {
            if constexpr (std::is_same_v<Rows, RowSink>) {
                return RowSink(catalog, syntax, out, {std::vector<bool>(catalog.signals().size(), true)});
            } else {
                return Rows(catalog, syntax, out);
            }
        }();
        Replay replay(catalog, rows);
        std::mt19937_64 random(1);
        for (std::uint64_t i = 0; i < 30'000; ++i) {
            CANExtTraceMessage frame;
            frame.timestamp = i * 1'000'001;
            frame.channel = static_cast<std::uint8_t>(random() % 2);
            frame.canId = static_cast<std::uint32_t>(1 + random() % 2);
            frame.length = static_cast<std::uint8_t>(random() % 16 == 0 ? 5 : 8);
            const std::uint64_t mask = random() % 2 == 0 ? 0x000000FF'01FF'0FFFU : ~std::uint64_t{0};
            const std::uint64_t bytes = random() & mask;
            std::memcpy(frame.payload.data(), &bytes, sizeof bytes);
            replay.receive(frame);
        }
    }
    return textIn(file);
}

TEST(RowSink, WritesWhatThePlainWayWrites) {
    for (const RowSyntax* const syntax : {&csvSyntax, &jsonSyntax}) {
        const std::string expected = rowsOf<PlainRows>(*syntax);
        EXPECT_GT(expected.size(), std::size_t{2'000'000});
        EXPECT_TRUE(rowsOf<RowSink>(*syntax) == expected); // too long to be shown
    }
}

} // namespace
} // namespace rksignal
