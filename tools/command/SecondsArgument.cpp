#include "command/SecondsArgument.h"

#include "command/UsageError.h"
#include "text/ParseNumber.h"

#include <algorithm>
#include <limits>

namespace rksignal {
namespace {

constexpr std::size_t decimals = 9;

} // namespace

std::uint64_t parseSeconds(const std::string& option, std::string_view text) {
    const std::size_t point = std::min(text.find('.'), text.size());
    std::string digits(text.substr(0, point));
    const std::string_view fraction = text.substr(std::min(point + 1, text.size()));
    digits.append(fraction).append(decimals - std::min(decimals, fraction.size()), '0');
    const auto nanoseconds = parseNumber<std::uint64_t>(digits);
    if (point == 0 || fraction.size() > decimals || !nanoseconds) {
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
