// Logs of candump, and what it shows, of any content.

#include "TraceFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzzTrace(rksignal::TraceFormat::Candump, data, size);
}
