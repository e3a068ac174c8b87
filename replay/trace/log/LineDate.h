/// \file
/// Dates as the headers of logs write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace rksignal {

/// `hh:mm:ss` with decimals behind `.`, `,` or `:`, as nanoseconds. Hours may be any number.
std::optional<std::uint64_t> parseClock(std::string_view text);

enum class DateFault : std::uint8_t {
    None,
    Form,   ///< not a date
    Beyond, ///< beyond 64 bits of nanoseconds
};

/// Reads a date with a time of day, midnight without one, taken for UTC:
///
///     Mon May 18 10:00:00.000 2026         Die Mär 3 10:00:00.000 pm 2020
///     Wed, 08 Nov 2023 21:17:01 GMT        Sun May 26 19:15:02 UTC 2019
///     07.10.2021 12:30:00                  2021-10-07 12:30:00
///     23:9:2015 22:17:28:928
///
/// Months are English or German, in UTF-8 or Latin-1. Days of the week and names of time zones make no
/// difference. \param time set to nanoseconds since 1970-01-01 00:00 if it is a date
DateFault parseDate(std::string_view text, std::uint64_t& time);

} // namespace rksignal
