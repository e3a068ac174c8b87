/// \file
/// The names in an event text, found position by position, and the tables and counters that follow from them.
#pragma once

#include "event/EventParser.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <string_view>
#include <tuple>
#include <vector>

/// Every name; "#" stands for one or more digits.
// clang-format off
constexpr std::string_view eventNames[] = {
    "CAN.signal#", "LIN.signal#", "FLEXRAY.signal#", "MII.signal#", "RC.F#", "RC.TRG", "DI.#", "AI.#",
    "Logger.Status", "Logger.Start", "Logger.Timer", "Logger.IntMemory", "Logger.ExtMemory", "GPS.Status",
    "GPS.Time", "GPS.Date", "GPS.Latitude", "GPS.Longitude", "GPS.Altitude", "GPS.Speed", "GPS.Course",
    "GPS.Satellites"};
// clang-format on

/// The length of `text` up to the end of the digits at `from`; 0 without digits there.
inline std::size_t lengthWithDigits(std::string_view text, std::size_t from) {
    const std::size_t end = std::min(text.find_first_not_of("0123456789", from), text.size());
    return end > from ? end : 0;
}

/// The names as they are mentioned, in order.
class EventMentions {
  public:
    explicit EventMentions(std::string_view text) {
        std::string index; // "AI." or "DI." when its number is next
        for (std::size_t taken = 0; !text.empty(); text.remove_prefix(taken)) {
            const std::string name(text.substr(0, longestName(text)));
            const bool isInput = name.starts_with("AI.") || name.starts_with("DI.");
            taken = isInput ? 3 : std::max<std::size_t>(name.size(), 1);
            if (const std::size_t number = lengthWithDigits(text, text[0] == '+' || text[0] == '-');
                !index.empty() && number > 0) {
                taken = number;
                names.push_back(index + std::string(text.substr(0, number)));
            } else if (!name.empty() && !isInput) {
                names.push_back(name);
            }
            index = isInput ? name.substr(0, 3) : "";
        }
    }
    /// The tables and counters of a scanner in their order.
    auto tables() const {
        return std::tuple(starting(""), starting("RC."), inputs("DI."), inputs("AI."), starting("Logger."),
                          starting("GPS."), count("CAN."), count("LIN."), count("FLEXRAY."), count("RC."),
                          count("DI."), count("AI."), count("Logger."), count("Logger.Timer"), count("GPS."),
                          count("MII."));
    }

    std::vector<std::string> names;

  private:
    static std::size_t longestName(std::string_view text) {
        std::size_t longest = 0;
        for (const std::string_view name : eventNames) {
            const std::string_view letters = name.substr(0, name.find('#'));
            if (text.starts_with(letters))
                longest =
                    std::max(longest, letters == name ? name.size() : lengthWithDigits(text, letters.size()));
        }
        return longest;
    }
    std::set<std::string> starting(std::string_view source) const {
        std::set<std::string> found(names.begin(), names.end());
        std::erase_if(found, [&](const std::string& name) { return !name.starts_with(source); });
        return found;
    }
    std::uint16_t count(std::string_view source) const {
        return static_cast<std::uint16_t>(std::count_if(
            names.begin(), names.end(), [&](const auto& name) { return name.starts_with(source); }));
    }
    std::map<int, std::string> inputs(std::string_view source) const {
        std::map<int, std::string> found;
        for (const std::string& name : names) {
            if (name.starts_with(source)) {
                long number = LONG_MAX; // stays when it is too large
                std::from_chars(&name[3], &name[name.size()], number, name[3] == '0' ? 8 : 10);
                found.try_emplace(static_cast<int>(number), name);
            }
        }
        return found;
    }
};

inline auto tablesOf(const eventFlexer& found) {
    return std::tie(found.allSignals, found.rcKeys, found.digitalInputs, found.analogInputs,
                    found.loggerSignals, found.gpsSignals, found.canCount, found.linCount, found.flexRayCount,
                    found.rcCount, found.digitalCount, found.analogCount, found.loggerCount, found.timerCount,
                    found.gpsCount, found.miiCount);
}
