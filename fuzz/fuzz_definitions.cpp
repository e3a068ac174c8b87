// Definition files of any content: whatever is accepted is written, and what is written reads as the same.

#include "definition/json/DefinitionFile.h"
#include "definition/json/DefinitionText.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    rksignal::SignalDefinitions definitions;
    try {
        definitions =
            rksignal::parseSignalDefinitions({reinterpret_cast<const char*>(data), size}, "fuzz.json");
    } catch (const rksignal::DefinitionError&) {
        return 0;
    }
    const std::string text = rksignal::definitionText(definitions);
    if (rksignal::definitionText(rksignal::parseSignalDefinitions(text, "written.json")) != text) {
        std::abort();
    }
    return 0;
}
