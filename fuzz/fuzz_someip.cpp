// Ethernet frames in sequence through a replay: UDP and TCP with SOME/IP messages, segments and streams of
// any content. Frames come as they are, or behind headers that are in order, with sequence numbers and
// offsets near each other, so that streams and segments are put together. Raw records, of which those that no
// definition wants are dropped early, must give the same values.

#include "FuzzInput.h"
#include "catalog/Catalog.h"
#include "rktrace/TraceRecord.h"
#include "support/EthernetFrame.h"
#include "value/Replay.h"

#include <cstdlib>
#include <string>

namespace {

constexpr std::size_t tcpSequenceAt = 14 + 20 + 4;

/// The values of a replay, one after the other.
struct Values : rksignal::ValueSink {
    explicit Values(const rksignal::Catalog& catalog) : catalog(catalog) {}
    void written(const rksignal::MessageInfo& message, std::span<const unsigned long> ids) override {
        for (const unsigned long id : ids) {
            const std::size_t index = catalog.indexOf(id);
            unsigned long raw = 0;
            unsigned long timestamp = 0;
            if (!catalog.signals()[index]->read(raw, timestamp) || timestamp != message.timestamp) {
                std::abort();
            }
            list.insert(list.end(), {index, raw, timestamp});
        }
    }
    const rksignal::Catalog& catalog;
    std::vector<std::uint64_t> list;
};

std::string definitions() {
    std::string text;
    for (const std::string container :
         {R"("SOME/IP", "serviceId": 1, "methodEventId": 1)",
          R"("SOME/IP", "serviceId": 1, "methodEventId": 2)", R"("IPDU", "pduId": 65537)",
          R"("SPDU", "messageId": 65537)", R"("DEFAULT", "vlan": true, "vlanId": 1)"}) {
        for (const std::string startBit : {"7", "65535"}) {
            text += std::string(text.empty() ? "" : ",") + R"({"instance": "S)" +
                    std::to_string(text.size()) +
                    R"(", "bits": 57, "endian": "big", "positions": [{"ethSignalType": )" + container +
                    R"(, "startBit": )" + startBit + "}]}";
        }
    }
    return R"({"ethernet": [)" + text + "]}";
}

/// A message, or a part of one, with a few numbers of the input's.
Octets messageFrom(FuzzInput& input) {
    const auto flags = input.take<std::uint8_t>();
    const Octets data = input.takeBytes(std::size_t{input.take<std::uint8_t>()} * (flags & 4 ? 8 : 1));
    Octets message;
    append(message, 0x00010000U + (flags & 3), 4);
    append(message, flags & 8 ? input.take<std::uint32_t>() : data.size() + 8, 4);
    append(message, flags >> 7, 4);
    append(message, flags & 16 ? 0x01012200 : 0x01010200, 4);
    if (flags & 16) {
        const auto offset = input.take<std::uint8_t>();
        message[7] = static_cast<std::uint8_t>(message[7] + 4);
        append(message, (flags & 32 ? 0xFFFFF000U : 0U) + offset, 4);
    }
    message.insert(message.end(), data.begin(), data.end());
    return message;
}

Octets frameFrom(FuzzInput& input) {
    const auto flags = input.take<std::uint8_t>();
    if (flags & 1) {
        return input.takeBytes(input.take<std::uint8_t>());
    }
    Octets payload;
    for (int count = flags >> 1 & 3; count >= 0; --count) {
        const Octets message = messageFrom(input);
        payload.insert(payload.end(), message.begin(), message.end());
    }
    FrameText text;
    text.protocol = flags & 8 ? 6 : 17;
    Octets frame = text.with(payload, flags >> 4 & 3);
    if (text.protocol == 6) {
        const std::uint32_t sequence = (flags & 64 ? 0xFFFFFF00U : 0U) + input.take<std::uint16_t>();
        for (std::size_t i = 0; i < 4; ++i) {
            frame[tcpSequenceAt + i] = static_cast<std::uint8_t>(sequence >> (24 - 8 * i));
        }
        frame[tcpSequenceAt + 9] = flags & 128 ? 2 : 0;
    }
    return frame;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string text = definitions();
    rksignal::Catalog catalog;
    catalog.addJsonText(text, "definitions");
    rksignal::Catalog recordCatalog;
    recordCatalog.addJsonText(text, "definitions");
    Values values(catalog);
    Values recordValues(recordCatalog);
    rksignal::Replay replay(catalog, values);
    rksignal::Replay recordReplay(recordCatalog, recordValues);
    std::vector<std::uint8_t> record;
    FuzzInput input(data, size);
    while (!input.empty()) {
        MIITraceMessage message;
        message.timestamp = input.take<std::uint16_t>() * std::uint64_t{10'000'000};
        message.frame = frameFrom(input);
        message.frame.shrink_to_fit(); // so that the sanitizer sees every byte read past it
        replay.receive(message);
        encodeRecord(message, record);
        recordReplay.receiveRecord(record, message.timestamp);
    }
    replay.finish();
    recordReplay.finish();
    if (values.list != recordValues.list) {
        std::abort();
    }
    return 0;
}
