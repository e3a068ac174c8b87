#include "command/SecondsArgument.h"

#include "command/UsageError.h"
#include "text/Moment.h"

#include <limits>

namespace rksignal {

std::uint64_t parseSeconds(const std::string& option, std::string_view text) {
    const auto nanoseconds = decimalSeconds(text);
    if (!nanoseconds) {
        throw UsageError(option + " " + std::string(text) + ": not seconds with at most 9 decimals");
    }
    return *nanoseconds;
}

std::int64_t parseSignedSeconds(const std::string& option, std::string_view text) {
    const bool isNegative = text.starts_with('-');
    const std::uint64_t distance = parseSeconds(option, text.substr(isNegative ? 1 : 0));
    if (distance > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        throw UsageError(option + " " + std::string(text) + ": too many seconds");
    }
    const auto shift = static_cast<std::int64_t>(distance);
    return isNegative ? -shift : shift;
}

} // namespace rksignal
