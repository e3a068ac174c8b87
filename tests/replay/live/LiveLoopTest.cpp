/// \file
/// Sources in turn, and recorded ones at their pace.
#include "live/LiveLoop.h"
#include "live/PaceClock.h"
#include "live/PacedTrace.h"
#include "replay/live/LiveFrames.h"

#include <gtest/gtest.h>

#include <thread>
#include <unistd.h>

namespace rksignal {
namespace {

/// Gives a line for each byte of a pipe, two a turn; `!` breaks it, and its closed end ends it.
class ByteSource : public LiveSource {
  public:
    explicit ByteSource(std::string name) : LiveSource(std::move(name)) { EXPECT_EQ(pipe(ends), 0); }
    ~ByteSource() override {
        close(ends[0]);
        finish();
    }
    void give(const std::string& bytes) const {
        EXPECT_EQ(write(ends[1], bytes.data(), bytes.size()), bytes.size());
    }
    void finish() { close(std::exchange(ends[1], -1)); }

    int descriptor() const override { return ends[0]; }
    bool ended() const override { return isAtEnd; }
    void read(MessageSink& sink) override {
        char bytes[2];
        const auto count = ::read(ends[0], bytes, sizeof bytes);
        isAtEnd = count == 0;
        for (ssize_t i = 0; i < count; ++i) {
            if (bytes[i] == '!') {
                throw SourceError(name() + " breaks");
            }
            sink.receive(CANExtTraceMessage{.canId = static_cast<std::uint8_t>(bytes[i])});
        }
    }

  private:
    int ends[2] = {-1, -1};
    bool isAtEnd = false;
};

ByteSource& addBytes(LiveLoop& loop, const std::string& name, const std::string& bytes) {
    auto source = std::make_unique<ByteSource>(name);
    ByteSource& added = *source;
    added.give(bytes);
    loop.add(std::move(source));
    return added;
}

TEST(LiveLoop, GivesEachSourceItsTurnUntilAllHaveEnded) {
    LiveLoop loop;
    addBytes(loop, "first", "\x01\x02\x03").finish();
    addBytes(loop, "second", "\x11\x12\x13").finish();
    LiveFrames frames;
    loop.run(frames);
    EXPECT_EQ(frames.take(), "can 0 001 - -\ncan 0 002 - -\ncan 0 011 - -\ncan 0 012 - -\n"
                             "can 0 003 - -\ncan 0 013 - -\n");
}

TEST(LiveLoop, GoesOnWithoutABrokenSourceIfSomebodyIsTold) {
    LiveLoop loop;
    const ByteSource& bad = addBytes(loop, "bad", "\x01!");
    addBytes(loop, "good", "\x11\x12\x13").finish();
    LiveFrames frames;
    EXPECT_THROW(loop.run(frames), SourceError);
    EXPECT_TRUE(loop.isBroken(bad));
    loop.run(frames);
    EXPECT_EQ(frames.take(), "can 0 001 - -\ncan 0 011 - -\ncan 0 012 - -\ncan 0 013 - -\n");
    std::string told;
    loop.onBroken([&](const LiveSource& source, const SourceError& error) {
        told += source.name() + ": " + error.what();
        addBytes(loop, "its successor", "\x31").finish();
    });
    addBytes(loop, "worse", "!");
    loop.run(frames);
    EXPECT_EQ(told, "worse: worse breaks");
    EXPECT_EQ(frames.take(), "can 0 031 - -\n");
    EXPECT_EQ(loop.sources().size(), 4U);
}

TEST(LiveLoop, EndsWhenStoppedOrWhenTheSinkIsClosed) {
    LiveLoop loop;
    addBytes(loop, "open", "\x01\x02\x03");
    LiveFrames frames(2);
    loop.run(frames);
    EXPECT_EQ(frames.take(), "can 0 001 - -\ncan 0 002 - -\n");
    frames.open(10);
    loop.stop(); // before it runs
    loop.run(frames);
    EXPECT_EQ(frames.take(), "");
    int calls = 0;
    loop.every(1'000'000, [&loop, &calls] {
        if (++calls == 3) {
            std::thread([&loop] { loop.stop(); }).join();
        }
    });
    loop.run(frames);
    EXPECT_EQ(frames.take(), "can 0 003 - -\n");
    EXPECT_EQ(calls, 3);
}

TEST(PaceClock, SaysWhenMessagesAreDue) {
    const struct {
        double time;      ///< of the recording, in seconds here and below
        double due;       ///< at double speed
        double stamp = 0; ///< if it is another
        double late = 0;  ///< when it is handed over
        bool isNewRound = false;
    } rows[] = {
        {1000, 50},
        {1000.5, 50.25},
        {1000.25, 50.25, 50.125}, // of another interface
        {1002, 51, 0, 0.75},
        {1004, 52, 0, 1.5}, // moves everything further: the drive began at 51.5
        {1006, 54.5},
        {1000, 55.1, 0, 0, true}, // 3 s in 5 intervals
        {1001, 55.6},
        {5000, 56.185714285}, // the clock was set; 4.1 s in 7 intervals
        {4991, 56.185714285, 51.685714285},
        {4980, 56.706349205}, // set back; 4.685714285 s in 9 intervals
        {4980.5, 56.956349205},
    };
    const auto nanoseconds = [](double seconds) {
        return static_cast<std::uint64_t>(std::llround(seconds * 1e9));
    };
    PaceClock clock(2);
    for (const auto& row : rows) {
        if (row.isNewRound) {
            clock.startRound();
        }
        clock.meet(nanoseconds(row.time), nanoseconds(50));
        EXPECT_EQ(clock.due(), nanoseconds(row.due)) << row.time;
        EXPECT_EQ(clock.timestamp(), nanoseconds(row.stamp > 0 ? row.stamp : row.due)) << row.time;
        EXPECT_EQ(clock.handOver(clock.due() + nanoseconds(row.late)),
                  row.late > 1 ? nanoseconds(row.late) : 0);
    }
}

/// A trace with these lines of a log.
std::function<Trace()> logOf(const std::string& lines) {
    return [lines] {
        Trace trace;
        addPipe(trace, lines, false);
        return trace;
    };
}

TEST(PacedTrace, GivesARecordedDriveAsOfNow) {
    LiveLoop loop;
    loop.add(std::make_unique<PacedTrace>(
        "drive", logOf("(1.000000) can0 001#01\nno frame\n(1.2) can1 002#R\n"), Pace{.speed = 100}));
    LiveFrames frames;
    const std::uint64_t before = wallTime();
    loop.run(frames);
    EXPECT_EQ(frames.take(), "can 0 001 - 01\n- - - remote -\n");
    EXPECT_GE(frames.latestTime(), before + 2'000'000);
    EXPECT_LE(frames.latestTime(), wallTime());
    EXPECT_EQ(countsOf(*loop.sources()[0]), "2, 0, 1");
}

TEST(PacedTrace, GoesRoundUntilNobodyListensOrNothingComes) {
    LiveLoop loop;
    const std::string lines = "(1.000000) can0 001#01\n(1.0) can0 002#\nDROPCOUNT: dropped 3 CAN frames\n";
    loop.add(std::make_unique<PacedTrace>("drive", logOf(lines), Pace{.isLoop = true}));
    LiveFrames frames(5);
    loop.run(frames);
    EXPECT_EQ(frames.take(),
              "can 0 001 - 01\ncan 0 002 - -\ncan 0 001 - 01\ncan 0 002 - -\ncan 0 001 - 01\n");
    EXPECT_EQ(countsOf(*loop.sources()[0]), "5, 6, 0");
    frames.open(1);
    LiveLoop other; // a log without frames
    other.add(std::make_unique<PacedTrace>("nothing", logOf("DROPCOUNT: dropped 3 CAN frames\n"),
                                           Pace{.isLoop = true}));
    other.run(frames);
    EXPECT_EQ(countsOf(*other.sources()[0]), "0, 3, 0");
}

} // namespace
} // namespace rksignal
