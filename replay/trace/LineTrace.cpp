#include "trace/LineTrace.h"

namespace rksignal {

void LineTrace::countMalformed(const char* reason) {
    ++found.malformed;
    if (found.texts.size() < TraceDamage::maxTexts) {
        found.texts.push_back(path() + ":" + std::to_string(reader.lineNumber()) + ": " + reason);
    }
}

} // namespace rksignal
