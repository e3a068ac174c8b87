/// \file
/// The names in an event text, found by a regular expression, and the tables and counters that follow from
/// them.
#pragma once

#include "event/EventParser.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <regex>
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

/// The names as they are mentioned, in order.
class EventMentions {
  public:
    explicit EventMentions(const std::string& text) {
        static const std::regex anyName = nameExpression();
        for (std::sregex_iterator match(text.begin(), text.end(), anyName), end; match != end; ++match)
            names.push_back(match->str());
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
    static std::regex nameExpression() {
        std::string pattern;
        for (const std::string_view name : eventNames)
            pattern += (pattern.empty() ? "" : "|") + std::string(name);
        pattern = std::regex_replace(pattern, std::regex(R"(\.)"), R"(\.)");
        return std::regex(std::regex_replace(pattern, std::regex("#"), "[0-9]+"));
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
