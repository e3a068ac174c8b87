#include "text/Counted.h"

#include <ostream>

namespace rksignal {

void printCounts(std::ostream& out, const char* head, const Counts& counts) {
    bool isFirst = true;
    for (const auto& [name, count] : counts) {
        if (count > 0) {
            out << (isFirst ? head : ",") << (isFirst ? ": " : " ") << name << " (" << count << ')';
            isFirst = false;
        }
    }
    out << (isFirst ? "" : "\n");
}

} // namespace rksignal
