#include "definition/dbc/DbcDetection.h"

#include "file/ContentKind.h"
#include "file/Unpack.h"
#include "trace/log/LineReader.h"

#include <string_view>

namespace rksignal {
bool isDbcText(const std::string& path) {
    const auto file = uncompressed(std::make_unique<InputFile>(path));
    LineReader reader(*file);
    std::string_view line;
    while (reader.next(line)) {
        if (line.find_first_not_of(" \t\r") != line.npos) {
            return isDbcStatement(line);
        }
    }
    return false;
}

} // namespace rksignal
