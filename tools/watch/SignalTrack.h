/// \file
/// What a watcher remembers of a signal: its last value, how often it comes, how it went.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace rksignal {

class SignalTrack {
  public:
    static constexpr std::size_t samples = 16; ///< of the course of the value

    bool hasValue = false;           ///< has one now; otherwise what follows is the last one that there was
    bool hadValue = false;           ///< at any time
    double value = 0;                ///< physical
    std::uint64_t raw = 0;           ///< as it lies in the slot
    std::uint64_t timestamp = 0;     ///< nanoseconds since 1970-01-01 UTC
    std::uint64_t seenAt = 0;        ///< steady clock: when the value was found
    std::uint64_t changedAt = 0;     ///< steady clock, nanoseconds; 0: never
    std::uint32_t changedNumber = 0; ///< grows with each change of any signal; 0: never

    /// A value came. `isClose`: since the one before, looks were so close that hardly any was missed.
    void note(double newValue, std::uint64_t newRaw, std::uint64_t newTimestamp, bool isClose) {
        if (hasValue && newTimestamp > timestamp) {
            ++(isClose ? closeValues : values);
            (isClose ? closeTime : time) += newTimestamp - timestamp;
        }
        hasValue = hadValue = true;
        value = newValue;
        raw = newRaw;
        timestamp = newTimestamp;
    }

    /// Works the rate out, once a second. What was seen at close looks counts if it says enough; otherwise,
    /// all values since the last time at which there was one.
    void settleRate() {
        if (closeValues >= 2) {
            period = closeTime / closeValues;
        } else if (values + closeValues > 0) {
            period = (time + closeTime) / (values + closeValues);
        }
        closeValues = values = 0;
        closeTime = time = 0;
    }
    /// Nanoseconds between two values; 0: not known yet.
    std::uint64_t meanPeriod() const { return period; }

    /// Adds what the value is now to its course; NaN while there is none.
    void sample() {
        course[next] = hasValue ? value : std::numeric_limits<double>::quiet_NaN();
        next = (next + 1) % samples;
    }
    /// The oldest first.
    std::array<double, samples> history() const {
        std::array<double, samples> ordered{};
        for (std::size_t i = 0; i < samples; ++i) {
            ordered.at(i) = course.at((next + i) % samples);
        }
        return ordered;
    }

  private:
    static constexpr std::array<double, samples> nothing() {
        std::array<double, samples> empty{};
        empty.fill(std::numeric_limits<double>::quiet_NaN());
        return empty;
    }

    std::uint64_t closeTime = 0;
    std::uint64_t time = 0;
    std::uint32_t closeValues = 0;
    std::uint32_t values = 0;
    std::uint64_t period = 0;
    std::array<double, samples> course = nothing();
    std::size_t next = 0;
};

} // namespace rksignal
