/// \file
/// What a page has room for.
#pragma once

#include <cstddef>

namespace rksignal::page_sizes {

// in bytes
constexpr std::size_t name = 256;
constexpr std::size_t comment = 400;
constexpr std::size_t text = 800;              ///< of findings and remarks
constexpr std::size_t signalTexts = 2'000'000; ///< of the comments and value texts of all signals together
constexpr std::size_t curveEntry = 80;         ///< what says in the header where the points of a curve lie
constexpr std::size_t leastCurves = 500'000;   ///< for all curves, however large the rest is

// numbers of things
constexpr std::size_t findings = 1000;
constexpr std::size_t remarks = 200;
constexpr std::size_t signals = 16'384;
constexpr std::size_t texts = 512; ///< of the values of one signal

} // namespace rksignal::page_sizes
