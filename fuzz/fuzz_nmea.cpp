// NMEA sentences of any content, through the GPS signals.

#include "input/GPSSignal.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto signals = [] {
        std::vector<std::unique_ptr<GPSSignal>> all;
        for (const auto& [name, kind] : GPSSignal::gps_ids) {
            inputSignalDef_t definition;
            definition.instance = name;
            definition.bits = 64;
            all.push_back(std::make_unique<GPSSignal>(definition));
        }
        return all;
    }();
    const GPSTraceMessage message{1, std::string(reinterpret_cast<const char*>(data), size)};
    std::vector<unsigned long> ids;
    if (GPSSignal::decodeMessage(message, ids) != !ids.empty() || ids.size() > signals.size()) {
        std::abort();
    }
    for (const auto& signal : signals) {
        if (signal->slot->valid != 0 && signal->getValueDescription(signal->slot->raw).size() > 400) {
            std::abort();
        }
    }
    return 0;
}
