#include "trace/log/GvretLine.h"

#include "text/ParseNumber.h"

#include <algorithm>
#include <limits>

namespace rksignal {
namespace {

/// The next field of a line, without blanks around it. Takes it off `line`.
std::string_view takeField(std::string_view& line) {
    const std::size_t end = std::min(line.find(','), line.size());
    std::string_view field = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    while (field.starts_with(' ')) {
        field.remove_prefix(1);
    }
    while (field.ends_with(' ')) {
        field.remove_suffix(1);
    }
    return field;
}

} // namespace

LineLog::Line GvretLog::read(std::string_view line) {
    if (line.starts_with(header)) {
        hasDirection = line.substr(header.size()).starts_with("Dir");
        return Line::Nothing;
    }
    constexpr std::int64_t unit = 1000;
    const auto time = parseNumber<std::int64_t>(takeField(line));
    if (!time || *time > std::numeric_limits<std::int64_t>::max() / unit) {
        return malformed("no time stamp in microseconds at the start");
    }
    hasNegativeTimes = hasNegativeTimes || *time < 0;
    timestamp = static_cast<std::uint64_t>(std::max<std::int64_t>(*time, 0) * unit);
    const auto id = parseNumber<std::uint32_t>(takeField(line), 16);
    const std::string_view extended = takeField(line);
    if (hasDirection) {
        takeField(line);
    }
    const auto bus = parseNumber<std::uint8_t>(takeField(line));
    const auto length = parseNumber<std::uint8_t>(takeField(line));
    if (!id || !bus || !length || (extended != "true" && extended != "false") ||
        !setCan(*bus, *id, extended == "true", *length > 8, *length)) {
        return malformed("not a CAN frame with its identifier, bus and length");
    }
    for (std::size_t i = 0; i < *length; ++i) {
        const auto byte = parseNumber<std::uint8_t>(takeField(line), 16);
        if (!byte) {
            return malformed("fewer data bytes than announced");
        }
        can.payload[i] = *byte;
    }
    return Line::Can;
}

} // namespace rksignal
