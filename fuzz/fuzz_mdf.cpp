// MF4 files of any content.

#include "TraceFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzzTrace(rksignal::TraceFormat::Mdf, data, size);
}
