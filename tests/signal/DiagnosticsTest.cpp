// Message lines: who receives them, and what a client's locale does to them.

#include "bus/CANSignal.h"
#include "bus/FlexRaySignal.h"
#include "input/GPSSignal.h"
#include "rkutil/LogUtil.h"
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <gmock/gmock.h>

#include <bit>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

class Diagnostics : public SignalTest {
  protected:
    ~Diagnostics() override { LogUtil::setReceiver({}); }

    void receive() {
        LogUtil::setReceiver(
            [this](LogLevel level, std::string_view text) { lines.emplace_back(level, text); });
    }

    CapturedOutput output;
    std::vector<std::pair<LogLevel, std::string>> lines;
};

TEST_F(Diagnostics, AReceiverGetsWholeLinesInsteadOfTheStreams) {
    receive();
    const BaseSignal shared(byteDefinition("no/file"), true);
    const BaseSignal first(byteDefinition("twice")), second(byteDefinition("twice"));
    CANSignal earlier(byteDefinition<canSignalDef_t>("earlier"));
    resetSwitches();
    const CANSignal later(byteDefinition<canSignalDef_t>("later"));
    EXPECT_THAT(
        lines,
        ElementsAre(Pair(LogLevel::Error,
                         "BaseSignal::createSharedMemory() no/file: Missing File (/tmp/no/file)"
                         ": No such file or directory"),
                    Pair(LogLevel::Error, "BaseSignal::BaseSignal() twice already exists"),
                    Pair(LogLevel::Error, "CANSignal::CANSignal() gpId 0x8000000000000000 already exists")));
    EXPECT_EQ(output.take(), "");
    LogUtil::setReceiver({});
    const BaseSignal third(byteDefinition("twice"));
    EXPECT_EQ(output.take(), "[ERROR] BaseSignal::BaseSignal() twice already exists\n");
    EXPECT_EQ(lines.size(), 3U);
}

TEST_F(Diagnostics, AReceiverGetsDumpsAsOneText) {
    auto definition = byteDefinition<flexRaySignalDef_t>("S");
    definition.positions = {flexRayPosition_t{.type = true, .slot = 10}};
    receive();
    const FlexRaySignal signal(definition);
    std::vector<std::uint8_t> bytes(18, 0xAB);
    BaseSignal::debug = 1;
    decodedIds<FlexRaySignal>(FlexRayExtTraceMessage{.data = bytes, .slot = 10, .payload = bytes});
    BaseSignal::debug = 0;
    EXPECT_THAT(lines, Contains(Pair(LogLevel::Debug, "FlexRaySignal::decodeMessage() Signal = S")));
    EXPECT_THAT(lines,
                Contains(Pair(LogLevel::Debug, "ab ab ab ab ab ab ab ab ab ab ab ab ab ab ab ab\nab ab")));
    EXPECT_EQ(output.take(), "");
}

TEST_F(Diagnostics, NumbersFollowNoLocale) {
    const auto said = [this] {
        output.take();
        lines.clear();
        resetSwitches();
        BaseSignal::debug = 1;
        auto definition = byteDefinition<canSignalDef_t>("S");
        definition.multiplexed = true;
        definition.mux = 12345;
        definition.scale = 0.5;
        const CANSignal signal(definition);
        std::string text = output.take();
        for (const auto& [level, line] : lines)
            text += line + '\n';
        return text;
    };
    const std::string expected = said();
    EXPECT_THAT(expected, HasSubstr("mux = 12345"));
    const std::locale local(std::locale::classic(), new LocalNumbers);
    const std::locale former = std::locale::global(local);
    std::cout.imbue(local);
    EXPECT_EQ(said(), expected);
    EXPECT_EQ(std::cout.getloc(), local);
    receive();
    EXPECT_THAT(said(),
                HasSubstr("created (multiplexed, mux = 12345) instance=S,signal=Signal,shmem=false,"));
    auto latitude = byteDefinition<inputSignalDef_t>("GPS.Latitude");
    BaseSignal::debug = 0;
    EXPECT_EQ(GPSSignal(latitude).getValueDescription(std::bit_cast<unsigned long>(1234.5)), "1234°30'00\"N");
    std::locale::global(former);
}

} // namespace
