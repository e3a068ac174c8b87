/// \file
/// Random numbers that are the same on every platform.
#pragma once

#include <cstdint>
#include <random>

namespace drive {

/// Numbers evenly distributed in [-1, 1).
class Noise {
  public:
    explicit Noise(std::uint64_t seed) : random(seed) {}

    double operator()() { return static_cast<double>(random() >> 11) * 0x1p-52 - 1.0; }

  private:
    std::mt19937_64 random;
};

} // namespace drive
