// Lines of any content as a candump log.

#include "trace/CandumpLine.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    rksignal::CandumpLine line;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
        const std::size_t length = std::min(rest.find('\n'), rest.size());
        const bool good = rksignal::parseCandumpLine(rest.substr(0, length), line) == nullptr;
        if (good && line.frame.length > line.frame.payload.size()) {
            std::abort(); // nobody downstream expects that
        }
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    return 0;
}
