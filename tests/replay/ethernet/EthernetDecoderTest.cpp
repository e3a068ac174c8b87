/// \file
/// SOME/IP messages and PDUs in sequences of frames, with the values that the library alone finds beside
/// them. The messages are written by hand after AUTOSAR PRS_SOMEIPProtocol.
#include "catalog/Catalog.h"
#include "support/EthernetFrame.h"
#include "value/Replay.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

std::string definitions() {
    const std::tuple<const char*, const char*, int> signals[] = {
        {"M", R"("ethSignalType": "SOME/IP", "serviceId": 1, "methodEventId": 1)", 0},
        {"N", R"("ethSignalType": "SOME/IP", "serviceId": 1, "methodEventId": 2)", 0},
        {"T", R"("ethSignalType": "SOME/IP", "serviceId": 1, "methodEventId": 3)", 16},
        {"I", R"("ethSignalType": "IPDU", "pduId": 5)", 0},
        {"S", R"("ethSignalType": "SPDU", "messageId": 6)", 0},
        {"V", R"("vlan": true, "vlanId": 5)", 0},
        {"W", R"("vlan": true, "vlanId": 6)", 0},
    };
    std::string text;
    for (const auto& [name, position, byte] : signals) {
        text += std::string(text.empty() ? "" : ", ") + R"({"instance": ")" + name +
                R"(", "bits": 8, "positions": [{"startBit": )" + std::to_string(8 * byte) + ", " + position +
                "}]}";
    }
    return R"({"ethernet": [)" + text + "]}";
}

/// Rows as `time:signal=value,signal=value`, separated by blanks.
struct Rows : ValueSink {
    explicit Rows(const Catalog& catalog) : catalog(catalog) {}
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override {
        text += (text.empty() ? "" : " ") + std::to_string(message.timestamp);
        for (const unsigned long id : ids) {
            BaseSignal& signal = *catalog.signals()[catalog.indexOf(id)];
            unsigned long raw = 0;
            unsigned long timestamp = 0;
            signal.read(raw, timestamp);
            text += (id == ids.front() ? ":" : ",") + signal.def.instance + "=" + std::to_string(raw);
        }
    }
    const Catalog& catalog;
    std::string text;
};

Octets message(int method, const Octets& data, int counted = 8, int type = 2, int session = 1) {
    Octets text;
    append(text, 0x10000U + static_cast<unsigned>(method), 4);
    append(text, data.size() + static_cast<unsigned>(counted), 4);
    append(text, static_cast<unsigned>(session), 4);
    append(text, 0x01010000U + static_cast<unsigned>(type) * 0x100U, 4);
    return text + data;
}

Octets segment(int session, unsigned offsetAndMore, std::uint8_t value, std::size_t size = 16) {
    Octets data;
    append(data, offsetAndMore, 4);
    return message(3, data + Octets(size, value), 8, 0x22, session);
}

Octets pdu(unsigned identifier, const Octets& data, int reserved = 0) {
    Octets text;
    append(text, identifier, 4);
    append(text, data.size(), 4);
    text.resize(text.size() + static_cast<std::size_t>(reserved));
    return text + data;
}

Octets udp(const Octets& payload, std::size_t padding = 0) {
    return FrameText{}.with(payload, padding);
}

Octets tcp(std::uint32_t sequence, const Octets& payload, std::uint8_t flags = 0) {
    Octets frame = FrameText{.protocol = 6}.with(payload);
    Octets number;
    append(number, sequence, 4);
    std::copy(number.begin(), number.end(), frame.begin() + 38);
    frame[47] = flags;
    return frame;
}

Octets tagged(Octets frame, std::uint64_t tags, int bytes) {
    Octets text;
    append(text, tags, bytes);
    frame.insert(frame.begin() + 12, text.begin(), text.end());
    return frame;
}

Octets part(const Octets& whole, std::size_t begin, std::size_t end) {
    return Octets(whole.begin() + static_cast<std::ptrdiff_t>(begin),
                  whole.begin() + static_cast<std::ptrdiff_t>(end));
}

TEST(EthernetDecoding, FindsWhatSendersMeanAndWhatTheLibraryFinds) {
    const Octets two = message(1, {2});
    const struct {
        const char* name;
        std::vector<Octets> frames; ///< at times 1, 2, ...
        std::string rows, strictRows;
        std::uint64_t assembled = 0, lost = 0, unknown = 0;
    } cases[] = {
        {"a message that ends with its datagram", {udp(two)}, "1:M=2", ""},
        {"several, of which some have one identifier",
         {udp(message(2, {7}) + two + message(1, {3}))},
         "1:M=2,N=7 1:M=3",
         "1:N=7"},
        {"a signal beyond the end of its message", {udp(message(1, {}) + message(2, {1}))}, "1:N=1", "1:M=0"},
        {"a length from the end of the header", {udp(message(1, {5}, 0), 1)}, "1:M=5", "1:M=5"},
        {"no SOME/IP", {udp(Octets(40, 1))}, "", "", 0, 0, 1},
        {"PDUs up to the end",
         {udp(pdu(9, {1}) + pdu(5, {8})), udp(pdu(9, {1}, 8) + pdu(6, {8}, 8)),
          udp(pdu(5, {}) + pdu(5, {8}))},
         "1:I=8 2:S=8",
         "",
         0,
         0,
         1},
        {"stacked tags, of which each may be named",
         {tagged(udp({1}), 0x88A8000681000005, 8), tagged(udp({2}), 0x81000005, 4)},
         "1:V=1,W=1 2:V=2",
         "2:V=2"},
        {"segments in any order, of two sessions, one of them twice",
         {udp(segment(1, 1, 1)), udp(segment(1, 1, 1)), udp(segment(2, 1, 1)), udp(segment(1, 32, 3, 1)),
          udp(segment(1, 17, 2)), udp(segment(2, 17, 4)), udp(segment(1, 32, 3, 1)),
          udp(segment(2, 32, 3, 1))},
         "5:T=2 8:T=4",
         "",
         2},
        {"lost segments, then another message of the same session",
         {udp(segment(1, 1, 1)), udp(segment(1, 48, 1)), udp(segment(1, 1, 5)), udp(segment(1, 17, 6)),
          udp(segment(1, 32, 1))},
         "5:T=6",
         "",
         1,
         2},
        {"a stream from its start, cut, repeated, in another order",
         {tcp(0xFFFFFFF0, {}, 2), tcp(0xFFFFFFF1, part(two, 0, 5)), tcp(0xFFFFFFF1, part(two, 0, 5)),
          tcp(2, message(2, {9})), tcp(0xFFFFFFF6, part(two, 5, 17))},
         "5:M=2,N=9",
         "",
         1,
         0,
         3},
        {"a stream from its middle, with a gap that stays",
         {tcp(1, Octets(20) + two), tcp(38, part(two, 0, 9)), tcp(100, message(2, {9}))},
         "1:M=2 3:N=9",
         "",
         0,
         1,
         1},
    };
    for (const auto& [name, frames, rows, strictRows, assembled, lost, unknown] : cases) {
        for (const bool strict : {false, true}) {
            SCOPED_TRACE(std::string(name) + (strict ? ", strict" : ""));
            Catalog catalog;
            catalog.addJsonText(definitions(), "definitions");
            Rows sink(catalog);
            Replay replay(catalog, sink, {.strict = strict});
            for (std::size_t i = 0; i < frames.size(); ++i) {
                replay.receive(MIITraceMessage{.timestamp = i + 1, .frame = frames[i]});
            }
            replay.finish();
            const ReplayStatistics& counts = replay.statistics();
            EXPECT_EQ(sink.text, strict ? strictRows : rows);
            if (!strict) {
                EXPECT_EQ(counts.someIp.assembled, assembled);
                EXPECT_EQ(counts.someIp.lostSegments, lost);
                EXPECT_EQ(ReplayStatistics::sum(counts.unknown), unknown);
            }
        }
    }
}

} // namespace
} // namespace rksignal
