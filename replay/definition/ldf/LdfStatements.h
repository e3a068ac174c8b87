/// \file
/// What LDF text says, before anything is looked up. All names refer to the text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace rksignal {

/// `Name: bits, initial, publisher, subscriber...;`
struct LdfSignal {
    std::string_view name;
    unsigned line = 0;
    std::uint64_t bits = 0;
    std::optional<std::uint64_t> initial; ///< of a byte array, the first byte lowest
    std::string_view publisher;           ///< empty in diagnostic signals
    std::vector<std::string_view> subscribers;
};

/// A name and a bit offset: a signal in a frame or in a group.
struct LdfPlace {
    std::string_view name;
    std::uint64_t offset = 0;
    unsigned line = 0;
};

/// `Name: bits { signal, offset; ... }`
struct LdfGroup {
    std::string_view name;
    std::vector<LdfPlace> signals;
};

/// `Name: id, publisher, length { signal, offset; ... }`; diagnostic ones have only an identifier.
struct LdfFrame {
    std::string_view name;
    unsigned line = 0;
    std::uint64_t id = 0;
    std::string_view publisher;
    std::optional<std::uint64_t> length;
    std::vector<LdfPlace> signals;
};

/// `Name: schedule, id, frame...;`, before LIN 2.1 without a schedule.
struct LdfEventFrame {
    std::string_view name;
    unsigned line = 0;
    std::uint64_t id = 0;
    std::vector<std::string_view> frames;
};

/// `physical_value, first, last, scale, offset, "unit";`
struct LdfPhysicalRange {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    double scale = 1;
    double offset = 0;
    std::string_view unit;
};

struct LdfEncoding {
    std::string_view name;
    unsigned line = 0;
    std::vector<LdfPhysicalRange> ranges;
    std::vector<std::pair<std::uint64_t, std::string_view>> values;
    bool isBcd = false;
    bool isAscii = false;
    std::size_t bytes = 0; ///< of ranges and values, for Expansion
};

/// `encoding: signal...;`
struct LdfRepresentation {
    std::string_view encoding;
    unsigned line = 0;
    std::vector<std::string_view> signals;
};

/// The commands of a table that send frames.
struct LdfSchedule {
    std::vector<std::string_view> frames;
    double milliseconds = 0; ///< of the whole table
};

struct LdfStatements {
    std::string_view master;
    std::vector<LdfSignal> signals;
    std::vector<LdfGroup> groups;
    std::vector<LdfFrame> frames;
    std::vector<LdfEventFrame> eventFrames;
    std::vector<LdfEncoding> encodings;
    std::vector<LdfRepresentation> representations;
    std::vector<LdfSchedule> schedules;
};

} // namespace rksignal
