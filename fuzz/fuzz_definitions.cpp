// Definition files of any content: whatever is accepted is written, and what is written reads as the same.

#include "definition/json/DefinitionText.h"
#include "definition/json/JsonDefinitions.h"
#include "support/ModelText.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    rksignal::DefinitionFile file;
    try {
        file = rksignal::parseJsonDefinitions({reinterpret_cast<const char*>(data), size}, "fuzz.json");
    } catch (const rksignal::RemarkError&) {
        return 0;
    }
    const std::string text = rksignal::definitionText(file.messages);
    const auto again = rksignal::parseJsonDefinitions(text, "written.json").messages;
    if (rksignal::modelText(again) != rksignal::modelText(file.messages)) {
        std::abort();
    }
    return 0;
}
