#include "DecodedDrive.h"

#include "Command.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace {

/// The cells of a CSV line; none of the drive's cells is quoted.
std::vector<std::string> split(std::string_view line) {
    std::vector<std::string> cells(1);
    for (const char character : line) {
        if (character == ',') {
            cells.emplace_back();
        } else {
            cells.back() += character;
        }
    }
    return cells;
}

auto firstAfter(const Series& series, double time) {
    return std::upper_bound(series.begin(), series.end(), time,
                            [](double moment, const Sample& sample) { return moment < sample.time; });
}

} // namespace

double Series::at(double time) const {
    const auto next = firstAfter(*this, time);
    if (next == begin()) {
        throw std::out_of_range("no value yet");
    }
    return std::prev(next)->value;
}

double Series::integral(double from, double to) const {
    double sum = 0;
    const Series part = between(from, to);
    for (std::size_t i = 1; i < part.size(); ++i) {
        sum += (part[i].value + part[i - 1].value) / 2 * (part[i].time - part[i - 1].time);
    }
    return sum;
}

Series Series::between(double from, double to) const {
    Series part;
    std::copy_if(begin(), end(), std::back_inserter(part),
                 [&](const Sample& sample) { return from <= sample.time && sample.time < to; });
    return part;
}

const DecodedDrive& DecodedDrive::get() {
    static const DecodedDrive drive;
    return drive;
}

DecodedDrive::DecodedDrive() {
    const std::string folder = DRIVE_FOLDER;
    const CommandResult decoded =
        runCommand(std::string(MAKE_DRIVE " 2>/dev/null --seconds ") + std::to_string(seconds) +
                   " | " RKSIGNAL_PROGRAM " decode --quiet --dbc 0=" + folder +
                   "/drive.dbc --dbc 1=" + folder + "/body.dbc -");
    if (decoded.status != 0) {
        throw std::runtime_error("decoding the drive failed");
    }
    std::istringstream lines(decoded.output);
    std::string line;
    std::getline(lines, line); // the names of the columns
    while (std::getline(lines, line)) {
        const auto cells = split(line);
        if (cells.size() != 7) {
            throw std::runtime_error("not 7 cells: " + line);
        }
        const bool isFloat = cells[5].starts_with("0x");
        series[cells[2]].push_back({std::stod(cells[0]) - startTime, std::stod(cells[3]),
                                    isFloat ? 0 : std::stoll(cells[5]), cells[6]});
    }
}
