/// \file
/// Where the columns of `rksignal watch` stand on a terminal, and the texts in them.
#pragma once

#include "watch/WatchModel.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace rksignal {

enum class WatchColumn : std::uint8_t { Name, Value, Unit, Text, Age, Rate, Course };

struct WatchCell {
    WatchColumn column;
    std::size_t width; ///< in cells; those of one column of blanks before it not counted
};

/// The columns that fit into `width` cells, from left to right, with a blank between two. Where there is
/// little room those go first that tell least: the course, the rate, the text, the unit, the age. At least
/// name and value stay, however little is left of them.
std::vector<WatchCell> watchColumns(std::size_t width, const WatchModel& model);

std::string headerText(const std::vector<WatchCell>& columns);

/// A cell of a row, filled to its width. Numbers that are too long are rounded, names keep their end.
/// `unicode`: the course may be drawn with blocks of U+2581 to U+2588.
std::string cellText(const WatchCell& cell, const WatchRow& row, bool unicode);

/// The course of a value as blocks, between its lowest and highest value; a blank where there was none.
std::string courseText(const std::array<double, SignalTrack::samples>& history, bool unicode);

} // namespace rksignal
