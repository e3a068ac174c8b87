// TRC logs of any content.

#include "TraceFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzzTrace(rksignal::TraceFormat::Trc, data, size);
}
