/// \file
/// Curves of replayed messages: gaps, senders, memory, and the choice of what to show.
#include "curve/SignalChoice.h"
#include "replay/CandumpFrame.h"
#include "value/Replay.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace rksignal {
namespace {

constexpr std::uint64_t millisecond = 1'000'000;

/// The points of a signal, `MILLISECONDS:VALUE`, `-` for a break; rounded, as medians are.
std::string pointsOf(const Catalog& catalog, const CurveRecorder& curves, const std::string& instance) {
    for (const std::size_t signal : curves.signals()) {
        if (catalog.signals()[signal]->def.instance == instance) {
            std::ostringstream out;
            for (const CurvePoint& point : curves.curve(signal).points()) {
                out << (out.tellp() > 0 ? " " : "") << (point.time + millisecond / 2) / millisecond << ':';
                std::isnan(point.value) ? out << '-' : out << point.value;
            }
            return out.str();
        }
    }
    return "not recorded";
}

/// Frames by time in milliseconds.
using Frames = std::multimap<std::uint64_t, std::string>;

void addEvery(Frames& frames, std::uint64_t step, std::uint64_t from, std::uint64_t to,
              const std::string& frame) {
    for (std::uint64_t time = from; time <= to; time += step) {
        frames.emplace(time, frame);
    }
}

/// By hand from the rule: more than four medians without a value are a gap; between 1 and 5 s there is
/// nothing at all.
TEST(CurveRecorder, BreaksWhereRegularValuesStayAway) {
    Catalog catalog;
    catalog.addDbcText(R"(BO_ 1 Cyclic: 8 X
 SG_ Volt : 0|8@1+ (1,0) [0|0] "V"
BO_ 2 Muxed: 8 X
 SG_ Mux M : 0|8@1+ (1,0) [0|0] ""
 SG_ A m1 : 8|8@1+ (1,0) [0|0] "V"
 SG_ B m2 : 8|8@1+ (1,0) [0|0] "V"
BO_ 3 Event: 8 X
 SG_ Button : 0|8@1+ (1,0) [0|0] ""
)",
                       "test.dbc");
    Frames frames;
    addEvery(frames, 10, 0, 400, "001#05");
    addEvery(frames, 10, 600, 1000, "001#05");
    addEvery(frames, 20, 5, 1000, "002#0107");
    addEvery(frames, 20, 15, 500, "002#0209"); // to 495, then no more
    for (const unsigned time : {1U, 2U, 3U, 50U, 51U, 52U, 300U, 301U, 302U, 420U, 421U, 422U, 900U}) {
        frames.emplace(time, "003#01");
    }
    addEvery(frames, 1, 901, 915, "003#01"); // a burst
    addEvery(frames, 10, 5000, 6000, "001#05");
    frames.emplace(5500, "003#01");
    CurveRecorder curves(catalog, {}, {});
    Replay replay(catalog, curves);
    for (const auto& [time, frame] : frames) {
        replay.receive(frameOf(frame, time * millisecond));
    }
    curves.finish();
    EXPECT_EQ(pointsOf(catalog, curves, "Cyclic.Volt"), "0:5 400:5 410:- 600:5 1000:5 1010:- 5000:5 6000:5");
    EXPECT_EQ(pointsOf(catalog, curves, "Muxed.A"), "5:7 985:7 1005:-");
    EXPECT_EQ(pointsOf(catalog, curves, "Muxed.B"), "15:9 495:9 515:-");
    EXPECT_EQ(pointsOf(catalog, curves, "Event.Button"), "1:1 1000:1 1000:- 5000:1 5500:1");
    ASSERT_EQ(curves.gaps().size(), 1U);
    EXPECT_EQ(curves.gaps()[0], (Gap{1000 * millisecond, 4000 * millisecond}));
}

TEST(CurveRecorder, FollowsTimeSendersAndWithdrawals) {
    Catalog catalog;
    catalog.addDbcText(R"(BA_DEF_ BO_ "VFrameFormat" ENUM "StandardCAN","ExtendedCAN","reserved","J1939PG";
BA_DEF_DEF_ "VFrameFormat" "J1939PG";
BO_ 2364540158 EEC: 8 X
 SG_ S : 0|8@1+ (1,0) [0|0] "V"
BO_ 2348810494 TSC: 8 X
 SG_ T : 0|8@1+ (1,0) [0|0] "V"
)",
                       "test.dbc");
    CurveRecorder curves(catalog, std::vector<std::size_t>{0}, {});
    Replay replay(catalog, curves);
    const auto receive = [&](std::uint64_t time, const std::string& frame) {
        replay.receive(frameOf(frame, time * millisecond));
    };
    receive(10, "0CF00400#01");
    receive(20, "0CF00421#07"); // another sender
    receive(15, "0CF00400#02"); // time goes back
    receive(30, "0C000021#08");
    const std::vector<unsigned long> ids = {catalog.signals()[0]->id};
    curves.withdrawn({.timestamp = 40 * millisecond, .origin = {}}, ids);
    receive(50, "0CF00400#03");
    curves.finish();
    EXPECT_EQ(pointsOf(catalog, curves, "EEC.S"), "10:1 20:2 40:- 50:3");
    EXPECT_EQ(pointsOf(catalog, curves, "EEC.S@SA21"), "20:7");
    EXPECT_EQ(pointsOf(catalog, curves, "TSC.T"), "not recorded");
    EXPECT_EQ(curves.report().backwards, 1U);
    EXPECT_EQ(curves.report().first, 10 * millisecond);
    EXPECT_EQ(curves.report().last, 50 * millisecond);
}

/// Little endian.
std::string hex(unsigned number, int bytes) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string text;
    for (; bytes > 0; --bytes, number /= 256) {
        text += {digits[number / 16 % 16], digits[number % 16]};
    }
    return text;
}

/// What an engineer would look at in a drive: the frames are made by hand.
TEST(CurveRecorder, SharesMemoryAndChoosesWhatTells) {
    Catalog catalog;
    catalog.addDbcText(R"(BO_ 1 Wheels: 8 X
 SG_ Left : 0|16@1+ (0.1,0) [0|0] "km/h"
 SG_ Right : 16|16@1+ (0.1,0) [0|0] "km/h"
 SG_ Counter : 32|4@1+ (1,0) [0|0] ""
 SG_ CRC : 40|8@1+ (1,0) [0|0] ""
 SG_ Fixed : 48|8@1+ (1,0) [0|0] "V"
BO_ 2 Body: 8 X
 SG_ Coolant : 0|8@1+ (1,-40) [0|0] "C"
 SG_ Gear : 8|4@1+ (1,0) [0|0] ""
 SG_ Light : 12|1@1+ (1,0) [0|0] ""
 SG_ Plain : 16|8@1+ (1,0) [0|0] ""
VAL_ 2 Gear 1 "First" 2 "Second" 3 "Third" 4 "Fourth" ;
)",
                       "test.dbc");
    constexpr std::size_t memory = 4000 * sizeof(CurvePoint);
    CurveRecorder curves(catalog, {}, {.maxPoints = 100'000, .memory = memory});
    Replay replay(catalog, curves);
    for (unsigned i = 0; i < 20'000; ++i) {
        const auto speed = static_cast<unsigned>(500 + 400 * std::sin(i / 800.0) + i % 3);
        const unsigned gear = i / 700 % 4 + 1, light = i / 3000 % 2 * 16;
        for (const std::string& frame :
             {"001#" + hex(speed, 2) + hex(speed + 1, 2) + hex(i % 16, 1) + hex(i * 37, 1) + "07",
              "002#" + hex(60 + i / 200, 1) + hex(gear + light, 1) + hex(i * 91, 1)}) {
            replay.receive(frameOf(frame, std::uint64_t{i} * 10 * millisecond));
        }
    }
    curves.finish();
    std::size_t used = 0;
    for (const std::size_t signal : curves.signals()) {
        used += curves.curve(signal).capacity() * sizeof(CurvePoint);
    }
    EXPECT_LE(used, memory);
    EXPECT_LT(curves.report().maxPoints, 1000U);
    std::string names;
    const std::vector<std::size_t> given = {8};
    for (const std::size_t signal : chooseSignals(catalog, curves, given, 20)) {
        names += catalog.signals()[signal]->def.instance + ' ';
    }
    EXPECT_EQ(names, "Body.Plain Wheels.Left Body.Coolant Wheels.Right Body.Gear Body.Light ");
}

} // namespace
} // namespace rksignal
