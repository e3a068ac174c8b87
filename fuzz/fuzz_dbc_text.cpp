// DBC text of any content: what is read of it and written reads as the same, but for what is said to be lost.

#include "definition/dbc/DbcFile.h"
#include "definition/dbc/DbcText.h"
#include "support/ModelText.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto read = rksignal::parseDbc({reinterpret_cast<const char*>(data), size}, "fuzz.dbc").messages;
    const rksignal::DbcText written = rksignal::dbcText(read);
    const bool isWhole = std::all_of(written.lost.begin(), written.lost.end(),
                                     [](const auto& count) { return count.second == 0; });
    const auto again = rksignal::parseDbc(written.text, "written.dbc").messages;
    if (isWhole && rksignal::modelText(again) != rksignal::modelText(read)) {
        std::abort();
    }
    return 0;
}
