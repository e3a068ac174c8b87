/// \file
/// Traces as a client opens them: formats by content, times, damage, stopping.
#include "rktrace/TraceRecord.h"
#include "support/FrameListing.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

namespace rksignal {
namespace {

/// A record file with one sound CAN frame and one that names more data than a frame has.
std::string impossibleRecord() {
    std::ostringstream file;
    TraceRecordWriter writer(file);
    std::vector<std::uint8_t> record;
    encodeRecord(CANExtTraceMessage{.timestamp = 5, .length = 1, .canId = 2}, record);
    writer.write(record);
    constexpr std::size_t lengthAt = 26;
    record[lengthAt] = 65;
    writer.write(record);
    return file.str();
}

TEST(Trace, ListsMessagesAndDamage) {
    const std::string head = "date Mon May 18 10:00:00.000 2026\nbase hex  timestamps absolute\n";
    const std::string frame = " 1  64  Rx  d 1 10\n"; // behind its time
    const struct {
        const char* name;
        std::string content, expected;
    } rows[] = {
        {"the times of an ASC log count from the trigger block",
         head + "Begin Triggerblock Mon May 18 10:00:02.000 2026\n0.5" + frame + "End TriggerBlock\n",
         "1779098402500000000 can 1 064 - 10\n"},
        {"a trigger block without a date", head + "Begin TriggerBlock\n0.5" + frame,
         "1779098400500000000 can 1 064 - 10\n"},
        {"an ASC log of a far year", "date Mon May 18 10:00:00 2550\n0.5" + frame,
         "18314935200500000000 can 1 064 - 10\n"},
        {"an ASC log of a year beyond 64 bits", "date Mon May 18 10:00:00 2555\n",
         "t:1: date is beyond 64 bits of nanoseconds\n"},
        {"a time of an ASC log beyond 64 bits",
         "date Mon May 18 10:00:00 2550\n131808873" + frame + "131808874" + frame,
         "18446744073000000000 can 1 064 - 10\nt:3: time is beyond 64 bits of nanoseconds\n"},
        {"the log of a GPS receiver that begins with a comment",
         "# receiver 3\r\n\r\n$GPRMC,093005,A,4807.5,N,01134.5,E,30,0,150726,,*2A\r\n",
         "1784107805000000000 gps - - - -\n"},
        {"a sentence directly behind binary bytes of a receiver, and a frame of them alone",
         "\xB5\x62\x01\x07$\n\xB5\x62$GP\x80$GPRMC,093005,A,4807.5,N,01134.5,E,30,0,150726,,*2A\r\n",
         "1784107805000000000 gps - - - -\n"},
        {"the date of ZDA, also on the other side of midnight",
         "$GPGGA,235959,4807.5,N,01134.5,E,1,08,1,500,M,,M,,*5D\r\n$GPZDA,000000,16,07,2026,00,00*4E\r\n"
         "$GPGGA,000000,4807.5,N,01134.5,E,1,08,1,500,M,,M,,*5C\r\n",
         "1784159999000000000 gps - - - -\n1784160000000000000 gps - - - -\n"},
        {"a log of a receiver without a date", "$GPGGA,235959,4807.5,N,01134.5,E,1,08,1,500,M,,M,,*5D\r\n",
         "0 - - - other -\nt: no sentence gives a date (RMC, ZDA); messages without a time, not decoded: "
         "1\n"},
        {"a record with an impossible content", impossibleRecord(),
         "5 can 0 002 - 00\nt: records with an impossible content: 1, the first is record 2\n"},
        {"an interface name that a terminal would obey",
         "(1.0) c\x9B"
         "31m 123#11\n",
         "1000000000 can 0 123 - 11\nc\\x9B31m: interface c\\x9B31m counts as channel 0\n"},
    };
    for (const auto& [name, content, expected] : rows) {
        EXPECT_EQ(listFrames(content), expected) << name;
    }
}

TEST(Trace, DamagedLinesAreCountedAndTheFirstTenKept) {
    std::string content;
    for (int line = 0; line < 5000; ++line) {
        content += "(1.0) can0 damaged\n";
    }
    Trace trace;
    trace.addMemory(std::span(reinterpret_cast<const std::uint8_t*>(content.data()), content.size()), "t");
    MessageSink ignoring;
    trace.run(ignoring);
    EXPECT_EQ(trace.report(0).damagedLines, 5000U);
    EXPECT_EQ(trace.report(0).remarks.kept().size(), 10U);
    EXPECT_FALSE(trace.isSound());
}

/// The frames in a part of a log, and what is remarkable in it; or why it cannot be read in parts.
std::string listPart(const std::string& content, const TracePart& part) {
    try {
        Trace trace;
        trace.addMemory(std::span(reinterpret_cast<const std::uint8_t*>(content.data()), content.size()), "t",
                        {.part = part});
        return listFrames(trace);
    } catch (const Error& error) {
        return error.what();
    }
}

TEST(Trace, PartsHoldEachLineOnce) {
    const std::string log =
        "(1.0) can0 123#11\r\n\n(2.0) can1 123#22\n(3.0) can0 124#\n"
        "DROPCOUNT: dropped 1 CAN frames on 'can0' socket (total drops 1)\n(4.0) can0 7FF#44";
    const std::string whole = listFrames(log);
    for (std::uint64_t cut = 0; cut <= log.size() + 2; ++cut) {
        for (std::uint64_t other = cut; other <= log.size() + 2; other += 7) {
            EXPECT_EQ(listPart(log, {.to = cut}) + listPart(log, {cut, other}) +
                          listPart(log, {.from = other}),
                      whole)
                << cut << ' ' << other;
        }
    }
}

TEST(Trace, PartsTellWhatDependsOnOtherLines) {
    const std::string frame = "(1.0) can0 123#11\n"; // 18 bytes
    const std::string never = "t cannot be read in parts, as uncompressed logs of candump can";
    const struct {
        std::string content, expected;
    } rows[] = {
        {frame + "(2.0) can0 12\n",
         "t: line 1 from byte 18 on: identifier is not 3 or 8 hexadecimal digits\n"},
        {frame + "(2.0) vcan 123#\n", never},
        {"date Mon May 18 10:00:00.000 2026\nbase hex  timestamps absolute\n", never},
    };
    for (const auto& [content, expected] : rows) {
        EXPECT_EQ(listPart(content, {.from = 5}), expected) << content;
    }
}

TEST(Trace, AStopEndsTheReadingOfASilentPipe) {
    Trace trace;
    const int open = addPipe(trace, "(1.0) can0 123#11\n(2.0) can0 123#1"); // the second one is cut
    std::thread other([&trace] { trace.stop(); });
    listFrames(trace);
    other.join();
    close(open);
    EXPECT_FALSE(trace.next());
    EXPECT_EQ(trace.report(0).damagedLines, 0U);
}

TEST(Trace, AllThatIsWholeIsReadBeforeAStop) {
    std::string damaged = impossibleRecord();
    const std::string offset = std::to_string(damaged.size());
    damaged += "damage" + impossibleRecord().substr(8); // without the file's head
    const struct {
        std::string content, expected;
    } rows[] = {
        {"(1.0) can0 123#11\n(2.0) can0 123#1", "1000000000 can 0 123 - 11\n"},
        {damaged + damaged.substr(8, 30),
         "5 can 0 002 - 00\n5 can 0 002 - 00\nt: 6 bytes damaged from offset " + offset +
             "\nt: records with an impossible content: 2, the first is record 2\n"},
    };
    for (const auto& [content, expected] : rows) {
        Trace trace;
        const int open = addPipe(trace, content);
        trace.onProgress([&trace, size = content.size()] { // when it would wait for ever
            if (trace.position() == size) {
                trace.stop();
            }
        });
        EXPECT_EQ(listFrames(trace), expected);
        const int late = addPipe(trace, content);
        EXPECT_FALSE(trace.next()) << "it counts as empty instead of waiting";
        close(open);
        close(late);
    }
}

} // namespace
} // namespace rksignal
