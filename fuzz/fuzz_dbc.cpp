// DBC text of any content: read, made into signals, and a frame of every message decoded.

#include "catalog/Catalog.h"

#include <cstdint>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    rksignal::Catalog catalog;
    catalog.addDbcText(std::string(reinterpret_cast<const char*>(data), size), "fuzz.dbc");
    std::vector<unsigned long> ids;
    for (const rksignal::MessageDefinition& message : catalog.messages()) {
        CANExtTraceMessage frame;
        frame.canId = message.id;
        frame.frameFormat = message.extended ? 1 : 0;
        for (const std::size_t length : {std::size_t{0}, std::size_t{message.length}, std::size_t{64}}) {
            frame.length = static_cast<std::uint8_t>(length);
            frame.payload.fill(frame.length);
            for (const auto decoders : catalog.decodersOf(frame.channel, frame.canId, message.extended)) {
                for (rksignal::MessageDecoder* const decoder : decoders) {
                    decoder->decode(frame, ids);
                }
            }
        }
    }
    return 0;
}
