/// \file
/// The demo's drive as the program decodes it: every value of every signal, for tests to reason about.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct Sample {
    double time;      ///< s since the start of the drive
    double value;     ///< physical
    std::int64_t raw; ///< 0 for a float or double
    std::string text;
};

/// The values of one signal, by time.
class Series : public std::vector<Sample> {
  public:
    /// The last value at `time` or before. REQUIRES: there is one.
    double at(double time) const;
    /// The integral over time by the trapezoidal rule, between the samples next to `from` and `to`.
    double integral(double from, double to) const;
    /// The samples from `from` to before `to`.
    Series between(double from, double to) const;
};

/// A drive of 310 seconds: one round of the drive cycle and the beginning of the next.
class DecodedDrive {
  public:
    static constexpr double seconds = 310;
    static constexpr double startTime = 1700000000;
    /// In between the car goes forwards, out of one parking place and into the next.
    static constexpr double forwardsFrom = 26, forwardsTo = 280;

    /// The drive, made and decoded at the first call by the two programs. Throws if one of them fails.
    static const DecodedDrive& get();

    /// Throws if the drive has no value of that name.
    const Series& operator[](const std::string& instance) const { return series.at(instance); }
    const std::map<std::string, Series>& all() const { return series; }

  private:
    DecodedDrive();
    std::map<std::string, Series> series;
};

/// The values of one signal of the drive.
inline const Series& drive(const std::string& instance) {
    return DecodedDrive::get()[instance];
}
