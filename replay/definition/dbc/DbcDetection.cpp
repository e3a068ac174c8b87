#include "definition/dbc/DbcDetection.h"

#include "text/DbcWords.h"
#include "trace/LineReader.h"

#include <algorithm>
#include <string_view>

namespace rksignal {
namespace {

/// Behind a name in an expression stands an operator.
bool startsDbcStatement(std::string_view line) {
    const std::size_t first = line.find_first_not_of(" \t");
    if (first == line.npos) {
        return false;
    }
    const std::size_t wordEnd = std::min(line.find_first_of(" \t:\"", first), line.size());
    const std::size_t next = line.find_first_not_of(" \t", wordEnd);
    return isDbcKeyword(line.substr(first, wordEnd - first)) &&
           (next == line.npos || line[next] == '"' || line[next] == ':' || isDigit(line[next]));
}

} // namespace

bool isDbcText(const std::string& path) {
    InputFile file(path);
    LineReader reader(file);
    std::string_view line;
    while (reader.next(line)) {
        if (line.find_first_not_of(" \t\r") != line.npos) {
            return startsDbcStatement(line);
        }
    }
    return false;
}

} // namespace rksignal
