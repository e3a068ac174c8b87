// ARXML text of any content, whole and as two files: read, checked, and made into signals.

#include "DefinitionFuzz.h"
#include "definition/arxml/ArxmlFile.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::size_t middle = size / 2;
    useDefinitions(rksignal::parseArxml({{text, "fuzz.arxml"}}));
    useDefinitions(
        rksignal::parseArxml({{text.substr(0, middle), "a.arxml"}, {text.substr(middle), "b.arxml"}}));
    return 0;
}
