/// \file
/// Remarks about definitions.
#pragma once

#include "definition/dbc/DbcFile.h"

#include <ostream>
#include <string>

namespace rksignal {

/// One remark about a definition file. `operator<<` writes it as `place: message`, without a line end.
struct DefinitionNote {
    std::string place; ///< `FILE:LINE`, or `FILE#/can/3`
    DbcNote::Severity severity;
    std::string message;
};

inline std::ostream& operator<<(std::ostream& out, const DefinitionNote& note) {
    return out << note.place << ": " << note.message;
}

} // namespace rksignal
