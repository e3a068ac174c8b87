/// \file
/// What an MDF 4 file holds: where its bus events lie, and since when their times count.
#pragma once

#include "trace/mdf/MdfBlocks.h"
#include "trace/mdf/MdfLayout.h"
#include "trace/mdf/MdfStream.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rksignal {

/// A channel group: one kind of records.
struct MdfGroup {
    std::uint64_t id = 0;            ///< number that its records begin with
    std::uint64_t address = 0;       ///< of its CG block
    std::uint32_t size = 0;          ///< of a record, behind the number
    bool isValues = false;           ///< values of variable length, each behind its length in 4 bytes
    std::optional<MdfLayout> layout; ///< of bus events; nothing: they are passed over
};

/// A data group: kinds of records that lie in one sequence.
struct MdfDataGroup {
    std::uint64_t data = 0;   ///< link to the data
    std::uint8_t idBytes = 0; ///< in front of each record: 0, 1, 2, 4 or 8
    std::vector<MdfGroup> groups;
};

struct MdfContents {
    static constexpr std::size_t maxDataGroups = 256;
    static constexpr std::uint32_t maxRecord = 32768; ///< bytes of an event

    std::uint64_t start = 0; ///< nanoseconds since 1970-01-01 UTC
    MdfUnfinished unfinished;
    std::vector<MdfDataGroup> dataGroups; ///< that have bus events
    std::uint64_t measuredGroups = 0;     ///< channel groups without bus events
    std::vector<std::string> damage;      ///< what could not be used, at most ten texts
};

/// Reads the structure of a file. Its time costs grow with the number of channels, its memory with that of
/// channel groups beside bus events. \throws MdfDamage if it is none of version 4, or its first blocks are
/// not there
MdfContents readContents(MdfFile& file);

} // namespace rksignal
