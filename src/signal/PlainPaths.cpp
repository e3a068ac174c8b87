#include "signal/PlainPaths.h"

#include <cstdlib>
#include <string_view>

namespace {

bool isSet(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr && std::string_view(value) == "1";
}

} // namespace

bool plainpaths::wanted = isSet("RKSIGNAL_PLAIN");
