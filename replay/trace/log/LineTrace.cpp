#include "trace/log/LineTrace.h"

namespace rksignal {

void LineTrace::countMalformed(const char* reason) {
    ++found.damagedLines;
    const std::uint64_t line = reader.lineNumber();
    if (found.remarks.omitted() > 0) { // a text a line, as long as it is kept
        return;
    }
    if (start == 0) {
        found.remarks.add({path() + ":" + std::to_string(line), Severity::Error, reason, {}, line});
    } else {
        found.remarks.add(
            {path(), Severity::Error,
             "line " + std::to_string(line) + " from byte " + std::to_string(start) + " on: " + reason});
    }
}

} // namespace rksignal
