// Event descriptions of any content; the model must find the same in them.

#include "event/EventModel.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto tables = EventMentions(text).tables();
    if (tablesOf(EventParser(text).scanner) != tables ||
        tablesOf(EventParser(text, EventSearch::Scanner).scanner) != tables) {
        std::abort();
    }
    return 0;
}
