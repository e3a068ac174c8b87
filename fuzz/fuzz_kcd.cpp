// KCD text of any content: read, checked, and made into signals.

#include "DefinitionFuzz.h"
#include "definition/kcd/KcdFile.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    useDefinitions(rksignal::parseKcd(std::string(reinterpret_cast<const char*>(data), size), "fuzz.kcd"));
    return 0;
}
