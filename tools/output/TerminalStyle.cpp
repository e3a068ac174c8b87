#include "output/TerminalStyle.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string>
#include <string_view>
#include <unistd.h>

namespace rksignal {
namespace {

std::string_view environment(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

/// By the variables that POSIX names, the first one that is set.
bool isUtf8Locale() {
    for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        std::string locale(environment(name));
        if (!locale.empty()) {
            std::transform(locale.begin(), locale.end(), locale.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
            return locale.find("utf-8") != locale.npos || locale.find("utf8") != locale.npos;
        }
    }
    return false;
}

} // namespace

TerminalStyle TerminalStyle::of(int descriptor) {
    const bool isTerminal = isatty(descriptor) == 1;
    return {isTerminal && isUtf8Locale(),
            isTerminal && environment("NO_COLOR").empty() && environment("TERM") != "dumb"};
}

} // namespace rksignal
