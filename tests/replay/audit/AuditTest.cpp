/// \file
/// The rules of an audit on short logs. Planted faults in a whole drive: tests/examples/AuditDriveTest.cpp.
#include "audit/Audit.h"
#include "replay/CandumpFrame.h"
#include "text/Error.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace rksignal {
namespace {

const char* const definitions = R"(BO_ 1 A: 4 X
 SG_ Counter : 0|4@1+ (1,0) [0|0] "" X
 SG_ State : 4|4@1+ (1,0) [0|0] "" X
 SG_ Level : 15|8@0+ (0.5,-10) [-5|100] "l" X
 SG_ Crc : 24|8@1+ (1,0) [0|0] "" X
BO_ 2 B: 8 X
BO_ 3 C: 2 X
VAL_ 1 State 0 "off" 1 "on" 2 "broken" ;
BA_DEF_ BO_ "GenMsgCycleTime" FLOAT 0 0;
BA_ "GenMsgCycleTime" BO_ 2 10;
BA_ "GenMsgCycleTime" BO_ 3 1e300;
)";

constexpr std::uint64_t ms = 1'000'000;

/// Sends frames as they are written for candump, at milliseconds.
class Log {
  public:
    explicit Log(const AuditSettings& settings = {})
        : audit((catalog.addDbcText(definitions, "a.dbc"), catalog), settings) {}

    void send(std::uint64_t time, const std::string& text, std::uint8_t channel = 0) {
        CANExtTraceMessage frame = frameOf(text, time * ms);
        frame.channel = channel;
        audit.receive(frame);
    }

    /// What a rule has found: severity, name, text, number, and the moments in milliseconds with their texts.
    std::string found(AuditRule rule) {
        std::string text;
        for (const Finding& each : audit.findings()) {
            if (each.rule == rule) {
                text += std::string(findingSeverityName(each.severity)) + ' ' +
                        (each.instance.empty() ? each.message : each.instance) + ": " + each.text + " (" +
                        std::to_string(each.count) + ')';
                for (const Occurrence& moment : each.occurrences) {
                    text += "; " + std::to_string(moment.time / ms) + ' ' + moment.text;
                }
                text += '\n';
            }
        }
        return text;
    }

  private:
    Catalog catalog;
    Audit audit;
};

/// Frames of A, from 0 on every 10 ms, with the counter in the low half of byte 0.
void sendCounting(Log& log, const std::vector<unsigned>& counters) {
    for (std::size_t i = 0; i < counters.size(); ++i) {
        log.send(10 * i, std::string("001#0") + "0123456789ABCDEF"[counters[i]] + "000000");
    }
}

std::vector<unsigned> countedUpTo(unsigned top, std::size_t number) {
    std::vector<unsigned> counters;
    for (std::size_t i = 0; i < number; ++i) {
        counters.push_back(static_cast<unsigned>(i) % (top + 1));
    }
    return counters;
}

TEST(Audit, FollowsCounters) {
    using enum AuditRule;
    const auto all = countedUpTo(15, 40);
    auto stuck = all;
    stuck[20] = stuck[21] = stuck[22] = stuck[19]; // 3, then 7
    auto jump = all;
    std::erase_if(jump, [n = 0](unsigned) mutable { return n++ == 25; });
    auto twice = all;
    twice.insert(twice.begin() + 12, 11);
    const struct {
        AuditRule rule;
        std::vector<unsigned> counters;
        const char* finding;
    } rows[] = {
        {CounterJump, all, ""},
        {CounterStuck, all, ""},
        {CounterJump, countedUpTo(14, 40), ""}, // as of E2E profile 1
        {CounterStuck, stuck, "error A.Counter: stays the same for up to 4 messages (1); 190 is 3 4 times\n"},
        {CounterJump, stuck, ""},
        {CounterJump, jump,
         "warning A.Counter: does not count by one 1 of 38 times (1); 250 goes from 8 to 10\n"},
        {CounterJump, twice,
         "warning A.Counter: does not count by one 1 of 40 times (1); 120 goes from 11 to 11\n"},
        {CounterJump, {1, 5, 3, 9, 2, 1, 2, 3, 4, 9, 7, 3, 1, 12, 4, 5, 6, 7}, ""}, // counts nothing
        {CounterStuck, std::vector<unsigned>(60, 5),
         "warning A.Counter: never counts (1); 0 is 5 60 times\n"},
    };
    for (const auto& row : rows) {
        Log log;
        sendCounting(log, row.counters);
        EXPECT_EQ(log.found(row.rule), row.finding) << testing::PrintToString(row.counters);
    }
    AuditSettings chosen;
    chosen.counters = {"A.L*"};
    Log log(chosen);
    for (const char* const level : {"0E", "0F", "10", "11", "44"}) {
        log.send(0, std::string("001#00") + level + "0000");
    }
    EXPECT_EQ(log.found(CounterJump),
              "warning A.Level: does not count by one 1 of 4 times (1); 0 goes from 17 to 68\n");
}

TEST(Audit, ComparesValuesAndLengthsWithTheDefinition) {
    using enum AuditRule;
    const struct {
        AuditRule rule;
        std::vector<const char*> frames;
        const char* finding;
    } rows[] = {
        // 255 says that there is no value: 0x0A is -5, 0xDC is 100
        {OutOfRange, {"001#000A0000", "001#00DC0000", "001#00FF0000"}, ""},
        {OutOfRange,
         {"001#00090000", "001#00090000", "001#00640000", "001#00DD0000"},
         "warning A.Level: 3 values not from -5 to 100 (3); 0 is -5.5 l, below -5; 3 is 100.5 l, above "
         "100\n"},
        {NoText, {"001#00640000", "001#10640000", "001#20640000", "001#F0640000"}, ""},
        {NoText,
         {"001#00640000", "001#30640000"},
         "warning A.State: 1 value without a text in the table of values (1); 1 is 3, which has no text\n"},
        {WrongLength,
         {"001#0064", "001#0064", "001#00640000", "001#00640000"},
         "note A: 2 of 4 frames are not as long as defined, all before the first whole one (2); 0 has 2 "
         "bytes, not 4\n"},
        {WrongLength,
         {"001#00640000", "001#0064", "001#0064"},
         "warning A: 2 of 3 frames are not as long as defined (2); 1 has 2 bytes, not 4\n"},
        {WrongLength,
         {"001#0064000000"},
         "note A: 1 of 1 frames are longer than defined (1); 0 has 5 bytes, not 4\n"},
        {WrongLength, {"001##000640000", "003#0000"}, ""},
        {Undefined,
         {"002#00", "004#00", "00000002#", "004#"},
         "note : no definition (2)\nnote : no definition (1)\n"},
        {NeverSeen,
         {"002#00", "00000003#00"},
         "note A: never seen (0)\nnote C: never seen; its identifier comes with 29 bits (0)\n"},
    };
    for (const auto& row : rows) {
        Log log;
        for (std::size_t i = 0; i < row.frames.size(); ++i) {
            log.send(i, row.frames[i]);
        }
        EXPECT_EQ(log.found(row.rule), row.finding) << row.frames.front() << " ...";
    }
}

TEST(Audit, WatchesTheTimes) {
    using enum AuditRule;
    /// Frames of an identifier from one time to another, but for some.
    const auto send = [](Log& log, std::uint64_t cycle, std::uint64_t begin, std::uint64_t end,
                         const std::string& frame) {
        for (std::uint64_t time = begin; time < end; time += cycle) {
            log.send(time, frame);
        }
    };
    const struct {
        AuditRule rule;
        std::function<void(Log&)> sendAll;
        const char* finding;
    } rows[] = {
        {LostMessages, [&](Log& log) { send(log, 10, 0, 500, "002#"), send(log, 10, 540, 990, "002#"); },
         "warning B: cycle 10 ms (as defined), longest gap 50 ms (1); 490 then nothing for 50 ms, about 4 "
         "lost\n"},
        {LostMessages, [&](Log& log) { send(log, 7, 0, 210, "009#"), send(log, 7, 217, 400, "009#"); },
         "warning : cycle 7 ms (its median), longest gap 14 ms (1); 203 then nothing for 14 ms, about 1 "
         "lost\n"},
        {LostMessages, [&](Log& log) { send(log, 10, 0, 300, "009#"), send(log, 1, 301, 350, "008#"); },
         "warning : cycle 10 ms (its median), longest gap 59 ms (1); 290 then nothing for 59 ms, about 5 "
         "lost, to the end\n"},
        {LostMessages,
         [&](Log& log) { // in bursts
             for (std::uint64_t i = 0; i < 10; ++i) {
                 send(log, 10, 1000 * i, 1000 * i + 100, "009#");
             }
         },
         ""},
        {CycleTime, [&](Log& log) { send(log, 20, 0, 400, "002#"); },
         "warning B: comes every 20 ms (median), not every 10 ms as defined (20)\n"},
        {CycleTime, [&](Log& log) { send(log, 12, 0, 400, "002#"); }, ""},
        {CycleTime, [&](Log& log) { send(log, 20, 0, 400, "003#"); },
         "warning C: comes every 20 ms (median), not every 18446744073709.55 ms as defined (20)\n"},
        {BusGap, [&](Log& log) { send(log, 10, 0, 2000, "001#"), send(log, 10, 2500, 4000, "001#"); },
         "warning : nothing at all, longest gap 510 ms (1); 1990 then nothing for 510 ms\n"},
        {LostMessages, [&](Log& log) { send(log, 10, 0, 2000, "001#"), send(log, 10, 2500, 4000, "001#"); },
         ""},
        {BusGap, [&](Log& log) { send(log, 1000, 0, 200'000, "001#"); }, ""},
        {TimeBackwards, [&](Log& log) { send(log, 10, 0, 50, "001#"), send(log, 10, 30, 60, "002#"); },
         "warning : times go back, by up to 10 ms (1); 30 is 10 ms earlier\n"},
        {TwoChannels,
         [&](Log& log) { log.send(0, "001#"), log.send(1, "001#", 1), log.send(1, "00000001#", 2); },
         "note A: comes on channel 0, too (1)\n"},
        {Constant, [&](Log& log) { send(log, 1, 0, 10, "001#206E"); },
         "note A.Counter: is always 0 (10)\nnote A.State: is always 2 (broken) (10)\nnote A.Level: is always "
         "45 l (10)\n"},
    };
    for (const auto& row : rows) {
        Log log;
        row.sendAll(log);
        EXPECT_EQ(log.found(row.rule), row.finding);
    }
}

TEST(Audit, ChecksChecksums) {
    const auto sendAll = [](Log& log, bool isRight) {
        for (unsigned i = 0; i < 40; ++i) {
            char text[16];
            const unsigned sum = (isRight ? i + 0x32 : 7 * i) & 0xFFU;
            std::snprintf(text, sizeof text, "001#%02X3200%02X", i, i == 9 || i == 30 ? 0xEE : sum);
            log.send(i, text);
        }
        log.send(99, "001#003200"); // is too short
    };
    const std::string moments = "; 9 is 0xEE, the frame gives 0x3B; 30 is 0xEE, the frame gives 0x50\n";
    Log guessed;
    sendAll(guessed, true);
    EXPECT_EQ(guessed.found(AuditRule::Checksum),
              "error A.Crc: 2 of 40 are wrong by sum, which the others keep (2)" + moments);
    Log without;
    sendAll(without, false);
    EXPECT_EQ(without.found(AuditRule::Checksum), "");
    AuditSettings chosen;
    chosen.checksums = {{"*.Crc", *parseChecksumRule("sum")}};
    Log log(chosen);
    sendAll(log, true);
    EXPECT_EQ(log.found(AuditRule::Checksum), "error A.Crc: 2 of 40 are wrong by sum (2)" + moments);
}

TEST(Audit, RefusesPatternsThatDoNotFit) {
    AuditSettings settings;
    const auto message = [&settings] {
        try {
            Log log(settings);
        } catch (const Error& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    settings.counters = {"A.Conter"};
    EXPECT_EQ(message(), "--counter A.Conter matches no signal; close are A.Counter");
    settings.counters = {};
    settings.checksums = {{"A.State", {}}};
    EXPECT_EQ(message(), "--checksum A.State: A.State is not one whole byte");
    settings.checksums = {{"A.Crc", *parseChecksumRule("e2e5:1")}};
    EXPECT_EQ(message(), "--checksum A.Crc: A.Crc is not two whole bytes, little endian");
}

} // namespace
} // namespace rksignal
