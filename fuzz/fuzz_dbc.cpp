// DBC text of any content: read, made into signals, and a frame of every message decoded.

#include "catalog/Catalog.h"
#include "definition/dbc/DbcParser.h"

#include <cstdint>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const rksignal::DbcFile file =
        rksignal::parseDbc(std::string(reinterpret_cast<const char*>(data), size), "fuzz.dbc");
    SignalStorage storage;
    rksignal::Catalog catalog(storage);
    catalog.add(file, std::nullopt);
    std::vector<unsigned long> ids;
    for (const rksignal::DbcMessage& message : file.messages) {
        CANExtTraceMessage frame;
        frame.canId = message.id;
        frame.frameFormat = message.extended ? 1 : 0;
        for (std::uint8_t length : {std::uint8_t{0}, message.length, std::uint8_t{64}}) {
            frame.length = length;
            frame.payload.fill(length);
            for (const auto decoders : catalog.decodersOf(frame.channel, frame.canId, message.extended)) {
                for (rksignal::MessageDecoder* const decoder : decoders) {
                    decoder->decode(frame, ids);
                }
            }
        }
    }
    return 0;
}
