#include "value/ParallelReplay.h"
#include "rktrace/TraceRecord.h"
#include "support/EthernetFrame.h"

#include <gtest/gtest.h>

#include <deque>
#include <sstream>

namespace rksignal {
namespace {

constexpr const char* lineDefinitions = R"(BO_ 1 A: 8
 SG_ Mode M : 0|8@1+ (1,0) [0|0] ""
 SG_ One m1 : 8|8@1+ (1,0) [0|0] ""
 SG_ Two m2 : 8|16@1+ (0.5,0) [0|0] ""
BO_ 2 B: 4
 SG_ Level : 0|16@1- (1,0) [0|0] ""
)";

/// Some 20 blocks with everything that reaches across lines, or is counted.
std::string makeLongLog() {
    std::string log = "\xEF\xBB\xBF";
    for (int i = 0; i < 60'000; ++i) {
        const std::string time =
            "(" + std::to_string(100 + i / 5000) + "." + std::to_string(100'000 + i) + ") ";
        const std::string name = i < 30'000 || i % 3 != 0 ? "can1 " : "left ";
        switch (i % 1000) {
        case 100:
            log += time + name + "damaged\r\n";
            break;
        case 200:
            log += "DROPCOUNT: dropped 3 CAN frames\n\xEF\xBB\xBF" + time + name + "001#01\n";
            break;
        case 300:
            log += time + name + "001#R\n" + time + name + "001##0" + std::string(96, '1') + "\n";
            break;
        case 400:
            log += i == 45'400 ? time + " can7  001   [2]  02 22\n" : time + "right 002#1122\n";
            break;
        case 500:
            log += i == 20'500 ? std::string(300'000, 'x') + "\n" : "\r\n";
            break;
        default:
            log += time + name + (i % 7 == 0 ? "7F" + std::to_string(i % 9) : "00" + std::to_string(i % 4)) +
                   "#0" + std::to_string(i % 3) + std::to_string(10'000'000'000'000 + i) + "\n";
        }
    }
    return log + std::string(150'000, 'y');
}

/// A line a value: everything that is to be seen of it.
class ValueListing : public LaneSink {
  public:
    ValueListing(const Catalog& catalog, std::string& all) : catalog(catalog), all(all) {}
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override {
        for (const unsigned long id : ids) {
            BaseSignal& signal = *catalog.signals()[catalog.indexOf(id)];
            unsigned long raw = 0;
            unsigned long timestamp = 0;
            signal.read(raw, timestamp);
            block += signal.def.instance + ' ' + std::to_string(message.timestamp + timestamp + raw) + '\n';
        }
    }
    void blockEnds() override { all += std::exchange(block, {}); }

  private:
    const Catalog& catalog;
    std::string& all;
    std::string block;
};

std::string describeReplay(const Catalog& catalog, const Trace& trace, const ReplayStatistics& counts) {
    std::ostringstream text;
    for (const UnknownMessage& message : counts.unknownMessages.of(SignalKind::Can)) {
        text << int{*message.origin.channel} << ' ' << message.identifier << ' ' << message.count << '\n';
    }
    for (const auto& decoder : catalog.decoders()) {
        const MessageStatistics& message = decoder->statistics();
        text << message.frames << ' ' << message.shortFrames << ' ' << message.untouched << ' '
             << message.channels << '\n';
    }
    text << counts.messages() << ' ' << trace.windowReport().outside << ' ' << counts.someIp.assembled << ' '
         << counts.someIp.lostSegments << '\n';
    std::vector<RemarkList> lists = {trace.channels().remarks()};
    for (std::size_t i = 0; i < trace.count(); ++i) {
        const TraceReport& report = trace.report(i);
        text << report.messages << ' ' << report.damagedLines << ' ' << report.damagedBytes << ' '
             << report.damagedRecords << ' ' << report.lost << ' ' << report.remarks.count(Severity::Error)
             << '\n';
        lists.push_back(report.remarks);
    }
    for (const RemarkList& remarks : lists) {
        for (const Remark& remark : remarks) {
            text << remark << '\n';
        }
    }
    return text.str();
}

constexpr const char* someIpDefinitions = R"({"ethernet": [
 {"instance": "M", "bits": 8, "positions": [
   {"startBit": 0, "ethSignalType": "SOME/IP", "serviceId": 1, "methodEventId": 1}]},
 {"instance": "T", "bits": 8, "positions": [
   {"startBit": 128, "ethSignalType": "SOME/IP", "serviceId": 1, "methodEventId": 3}]}]})";

struct TracesOfTest {
    std::vector<std::string> contents;
    TimeWindow window = {};
};

Octets someIpMessage(std::uint32_t method, const Octets& data, std::uint32_t type = 2) {
    Octets text;
    append(text, 0x10000U + method, 4);
    append(text, data.size() + 8, 4);
    append(text, 1, 4); // the session
    append(text, 0x01010000U + type * 0x100U, 4);
    return text + data;
}

/// The part of a stream of messages from `sequence` on.
Octets tcpFrame(const Octets& stream, std::size_t sequence) {
    constexpr std::size_t partSize = 37; // cuts messages wherever that may be
    constexpr std::ptrdiff_t sequenceAt = 38;
    const auto begin = stream.begin() + static_cast<std::ptrdiff_t>(sequence);
    Octets frame = FrameText{.protocol = 6}.with(Octets(begin, begin + partSize));
    Octets number;
    append(number, sequence, 4);
    std::ranges::copy(number, frame.begin() + sequenceAt);
    return frame;
}

/// Messages whole, in segments, and in a TCP connection of which parts are missing, also near the end.
std::string makeSomeIpFile() {
    Octets stream;
    for (std::uint8_t i = 0; stream.size() < 150'000; ++i) {
        stream = stream + someIpMessage(1, {i, 1, 2});
    }
    std::ostringstream out;
    TraceRecordWriter writer(out);
    MIITraceMessage message{};
    std::vector<std::uint8_t> record;
    const auto write = [&](const Octets& frame) {
        message.timestamp += 1'000'000;
        message.frame = frame;
        encodeRecord(message, record);
        writer.write(record);
    };
    for (std::uint32_t i = 0; i < 4000; ++i) {
        write(FrameText{}.with(someIpMessage(1, {static_cast<std::uint8_t>(i)})));
        if (i % 500 != 77 && i != 3990) {
            write(tcpFrame(stream, std::size_t{37} * i));
        }
        Octets segment;
        append(segment, i % 2 == 0 ? 1 : 16, 4); // from byte 0, more follow; from byte 16
        write(FrameText{}.with(someIpMessage(3, segment + Octets(16, static_cast<std::uint8_t>(i)), 0x22)));
    }
    return out.str();
}

/// With damaged bytes, and records whose content is cut short.
std::string makeRecordFile() {
    constexpr std::size_t lengthAt = 26; // of the data of a CAN frame
    std::ostringstream out;
    TraceRecordWriter writer(out);
    CANExtTraceMessage frame{100'000'000'000,         1, CANExtTraceMessage::Standard, 8, 0,
                             {1, 2, 3, 4, 5, 6, 7, 8}};
    std::vector<std::uint8_t> record;
    for (std::uint32_t i = 0; i < 15'000; ++i) {
        frame.timestamp += 1'000'000;
        frame.canId = i % 5;
        encodeRecord(frame, record);
        record[lengthAt] = i % 1000 == 501 ? 60 : 8;
        writer.write(record);
    }
    std::string bytes = out.str();
    for (std::size_t at = 200'000; at < bytes.size(); at += 9973) {
        bytes[at] = 'x';
    }
    return bytes;
}

constexpr std::size_t plain = 0;
constexpr std::size_t ahead = 99;

/// \param threads also `plain`, and `ahead`: Replay::runAhead()
std::string replayBy(const TracesOfTest& traces, std::size_t threads) {
    Catalog catalog;
    catalog.addDbcText(lineDefinitions, "a.dbc");
    catalog.addJsonText(someIpDefinitions, "a.json");
    Trace trace;
    for (const std::string& content : traces.contents) {
        trace.addMemory({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()}, "a.log",
                        {.shift = -5});
    }
    trace.setWindow(traces.window);
    std::string text;
    if (threads == plain || threads == ahead) {
        ValueListing sink(catalog, text);
        Replay replay(catalog, sink);
        threads == plain ? replay.run(trace) : replay.runAhead(trace);
        sink.blockEnds();
        return text + describeReplay(catalog, trace, replay.statistics());
    }
    EXPECT_TRUE(ParallelReplay::canReplay(trace, catalog));
    std::deque<Catalog> catalogs(threads);
    std::deque<ValueListing> sinks;
    std::vector<ReplayLane> lanes;
    for (Catalog& copy : catalogs) {
        copy.addMessagesOf(catalog);
        lanes.push_back({copy, sinks.emplace_back(copy, text)});
    }
    ParallelReplay parallel(catalog);
    parallel.run(trace, lanes);
    return text + describeReplay(catalog, trace, parallel.statistics());
}

TEST(ParallelReplay, GivesWhatOneThreadGives) {
    const std::string log = makeLongLog();
    const std::string records = makeRecordFile();
    const std::string someIp = makeSomeIpFile();
    const TimeWindow window{.from = Moment{2'000'000'000, true}, .to = {}, .duration = {}};
    for (const TracesOfTest& traces : std::initializer_list<TracesOfTest>{
             {{log}}, {{log}, window}, {{records}}, {{someIp}}, {{log, records, log}}}) {
        const std::string expected = replayBy(traces, plain);
        EXPECT_GT(expected.size(), std::size_t{100'000});
        for (const std::size_t threads : {std::size_t{1}, std::size_t{2}, std::size_t{5}, ahead}) {
            const std::string found = replayBy(traces, threads);
            const auto different = std::ranges::mismatch(expected, found).in1 - expected.begin();
            EXPECT_TRUE(found == expected) << threads << " at byte " << different << ": "
                                           << expected.substr(static_cast<std::size_t>(different), 200);
        }
    }
}

/// One thread ends the others, and what it has thrown arrives.
TEST(ParallelReplay, HandsOnWhatASinkThrows) {
    struct : MessageSink {
        using MessageSink::receive;
        void receive(const CANExtTraceMessage& /*frame*/) override {
            if (++frames == 20'000) {
                throw Error("enough");
            }
        }
        std::size_t frames = 0;
    } sink;
    const std::string log = makeLongLog();
    Trace trace;
    trace.addMemory({reinterpret_cast<const std::uint8_t*>(log.data()), log.size()}, "a.log");
    EXPECT_THROW(trace.runAhead(sink), Error);
    EXPECT_EQ(sink.frames, std::size_t{20'000});
}

} // namespace
} // namespace rksignal
