/// \file
/// How quantities move towards their targets.
#pragma once

#include <algorithm>

namespace drive {

constexpr double pi = 3.14159265358979323846;

/// One step of a first-order lag.
inline void approach(double& value, double target, double dt, double timeConstant) {
    value += (target - value) * std::min(1.0, dt / timeConstant);
}

/// A step that is as long as needed, but no longer than `greatestStep`.
inline void approachAtRate(double& value, double target, double greatestStep) {
    value += std::clamp(target - value, -greatestStep, greatestStep);
}

} // namespace drive
