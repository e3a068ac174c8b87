#include "trace/LineTrace.h"

namespace rksignal {

bool LineTrace::nextLine(std::string_view& text) {
    while (reader.next(text)) {
        if (reader.tooLong()) {
            countMalformed("line is too long");
        } else if (!text.empty()) {
            return true;
        }
    }
    return false;
}

void LineTrace::countMalformed(const char* reason) {
    ++found.malformed;
    if (found.texts.size() < TraceDamage::maxTexts) {
        found.texts.push_back(path() + ":" + std::to_string(reader.lineNumber()) + ": " + reason);
    }
}

} // namespace rksignal
