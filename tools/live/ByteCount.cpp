#include "live/ByteCount.h"

#include "command/UsageError.h"
#include "text/ParseNumber.h"

#include <limits>
#include <string_view>

namespace rksignal {

std::uint64_t parseByteCount(const std::string& option, const std::string& text) {
    constexpr std::string_view units = "kMG";
    std::string_view digits = text;
    std::uint64_t factor = 1;
    if (const std::size_t unit = digits.empty() ? units.npos : units.find(digits.back());
        unit != units.npos) {
        digits.remove_suffix(1);
        for (std::size_t i = 0; i <= unit; ++i) {
            factor *= 1000;
        }
    }
    const auto number = parseNumber<std::uint64_t>(digits);
    if (!number || *number == 0 || *number > std::numeric_limits<std::uint64_t>::max() / factor) {
        throw UsageError(option + " " + text + ": not a number of bytes, such as 500M");
    }
    return *number * factor;
}

} // namespace rksignal
