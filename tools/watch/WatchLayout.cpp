#include "watch/WatchLayout.h"

#include "output/TextWidth.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace rksignal {
namespace {

constexpr std::size_t valueWidth = 12; ///< with the mark of a change
constexpr std::size_t ageWidth = 8;
constexpr std::size_t rateWidth = 5;
constexpr std::size_t textColumnWidth = 16;
constexpr std::size_t mostUnit = 8;
constexpr std::size_t leastName = 12;
constexpr std::size_t usualName = 18; ///< where names are longer, other columns come first

const char* titleOf(WatchColumn column) {
    switch (column) {
    case WatchColumn::Name:
        return "instance";
    case WatchColumn::Value:
        return "value";
    case WatchColumn::Unit:
        return "unit";
    case WatchColumn::Text:
        return "text";
    case WatchColumn::Age:
        return "age";
    case WatchColumn::Rate:
        return "Hz";
    case WatchColumn::Course:
        return "course";
    }
    return "";
}

bool isRightAligned(WatchColumn column) {
    return column == WatchColumn::Value || column == WatchColumn::Age || column == WatchColumn::Rate;
}

std::string aligned(const std::string& text, const WatchCell& cell) {
    const std::string cut = shortened(text, cell.width);
    const std::string padding(cell.width - std::min(cell.width, textWidth(cut)), ' ');
    return isRightAligned(cell.column) ? padding + cut : cut + padding;
}

/// The end of a name, behind an `…`, where it is too long.
std::string endOf(const std::string& name, std::size_t width) {
    if (textWidth(name) <= width || width == 0) {
        return shortened(name, width);
    }
    std::string_view rest = name;
    while (textWidth(rest) + 1 > width) {
        do {
            rest.remove_prefix(1);
        } while (!rest.empty() && (static_cast<unsigned char>(rest.front()) & 0xC0U) == 0x80U);
    }
    return "…" + std::string(rest);
}

/// With as many digits as there is room for.
std::string fitted(const std::string& number, std::size_t width) {
    if (number.size() <= width) {
        return number;
    }
    const double value = std::strtod(number.c_str(), nullptr);
    for (int digits = static_cast<int>(std::min<std::size_t>(width, 17)); digits > 0; --digits) {
        char text[40];
        std::snprintf(text, sizeof text, "%.*g", digits, value);
        if (std::string_view(text).size() <= width) {
            return text;
        }
    }
    return std::string(width, '#');
}

} // namespace

std::vector<WatchCell> watchColumns(std::size_t width, const WatchModel& model) {
    const std::size_t natural = std::max(model.widestName(), textWidth(titleOf(WatchColumn::Name)));
    const std::size_t unit = std::clamp<std::size_t>(model.widestUnit(), 4, mostUnit);
    std::vector<WatchCell> columns = {{WatchColumn::Name, std::min(natural, std::max(usualName, width / 4))},
                                      {WatchColumn::Value, valueWidth}};
    std::size_t used = columns[0].width + 1 + valueWidth;
    const auto add = [&](WatchColumn column, std::size_t cells) {
        if (used + 1 + cells <= width) {
            columns.push_back({column, cells});
            used += 1 + cells;
        }
    };
    if (used + 1 + ageWidth > width && width > valueWidth + ageWidth + 2 + leastName) {
        columns[0].width = width - valueWidth - ageWidth - 2; // the age counts more than the whole name
        used = columns[0].width + 1 + valueWidth;
    }
    add(WatchColumn::Age, ageWidth);
    if (model.widestUnit() > 0) {
        add(WatchColumn::Unit, unit);
    }
    if (model.hasTexts()) {
        add(WatchColumn::Text, textColumnWidth);
    }
    add(WatchColumn::Rate, rateWidth);
    add(WatchColumn::Course, SignalTrack::samples);
    if (used > width) { // not even name and value
        columns[1].width = std::min(valueWidth, width / 2);
        columns[0].width = width - columns[1].width - std::min<std::size_t>(width, 1);
        used = width;
    }
    columns[0].width += std::min(width - used, natural - std::min(natural, columns[0].width));
    std::ranges::sort(columns, {}, &WatchCell::column);
    return columns;
}

std::string headerText(const std::vector<WatchCell>& columns) {
    std::string header;
    for (const WatchCell& cell : columns) {
        header += (header.empty() ? "" : " ") + aligned(titleOf(cell.column), cell);
    }
    return header;
}

std::string cellText(const WatchCell& cell, const WatchRow& row, bool unicode) {
    switch (cell.column) {
    case WatchColumn::Name: {
        const std::string indent(std::min(2 * row.level, cell.width / 2), ' ');
        return aligned(indent + endOf(row.name, cell.width - indent.size()), cell);
    }
    case WatchColumn::Value: {
        const std::string mark = row.isChanged ? "*" : "";
        return aligned(mark + fitted(row.value, cell.width - std::min<std::size_t>(cell.width, 1)), cell);
    }
    case WatchColumn::Unit:
        return aligned(row.unit, cell);
    case WatchColumn::Text:
        return aligned(row.text, cell);
    case WatchColumn::Age:
        return aligned(row.age, cell);
    case WatchColumn::Rate:
        return aligned(row.rate, cell);
    case WatchColumn::Course:
        return aligned(courseText(row.history, unicode), cell);
    }
    return {};
}

std::string courseText(const std::array<double, SignalTrack::samples>& history, bool unicode) {
    constexpr std::array<const char*, 8> blocks = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    constexpr std::array<const char*, 8> letters = {"_", ".", ",", "-", "=", "+", "*", "#"};
    double lowest = std::numeric_limits<double>::infinity();
    double highest = -lowest;
    for (const double value : history) {
        if (std::isfinite(value)) {
            lowest = std::min(lowest, value);
            highest = std::max(highest, value);
        }
    }
    std::string text;
    for (const double value : history) {
        if (!std::isfinite(value)) {
            text += ' ';
            continue;
        }
        // Halves, as the whole range may be too much for a double.
        const double part = highest > lowest ? (value / 2 - lowest / 2) / (highest / 2 - lowest / 2) : 0;
        const auto step = static_cast<std::size_t>(std::clamp(part * 8, 0.0, 7.0));
        text += (unicode ? blocks : letters).at(step);
    }
    return text;
}

} // namespace rksignal
