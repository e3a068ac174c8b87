/// \file
/// What two traces, or two definition files, do not have in common.
#pragma once

#include "output/OutputBuffer.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace rksignal {

/// A property that differs, or an object that only one side has.
struct Difference {
    std::string object;       ///< `can 0 1A0`, `can 1A0 Engine`, `Engine.Speed`
    std::string property;     ///< empty: it is about the object as a whole
    nlohmann::json left = {}; ///< null: not there
    nlohmann::json right = {};
};

/// The two sides, under the names that the user gave, and their differences.
struct Comparison {
    const char* kind; ///< `traces` or `definitions`
    std::string left;
    std::string right;
    std::vector<Difference> differences = {};

    /// A line each: `only in a.log: can 0 1A0`, `can 0 1A0: cycle_ms 10 -> 20`.
    void writeText(OutputBuffer& out) const;
    /// One object, with an array of the differences.
    void writeJson(OutputBuffer& out) const;
};

} // namespace rksignal
