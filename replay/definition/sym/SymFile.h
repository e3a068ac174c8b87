/// \file
/// SYM files, the symbol files of PCAN programs (PCAN Symbol File Format, versions 5.0 and 6.0).
#pragma once

#include "definition/Definition.h"
#include "text/Export.h"

#include <cstdint>
#include <optional>
#include <string>

namespace rksignal {

/// Reads SYM text. Never throws because of the content. `path` only names the text in remarks and places; all
/// messages are bound to `channel`. A statement that is not understood costs only itself.
///
/// A symbol is a message, one with a range of identifiers several of the same name, 256 at most. Signals have
/// the instance name `Message.Signal`; long names are their `udn`. An identifier is extended if the type says
/// so, or without a type if it has 8 digits; a symbol of an FD type or of more than 8 bytes is one of CAN FD.
///
/// Sections of a symbol with a `Mux` line make one message: its multiplexer is a signal with the name of the
/// first such line, the names of the others are the texts of its values. A variable that several sections
/// have alike is one signal. `char`, `string` and `raw` are unsigned numbers; what is wider than 64 bits is
/// left out. Whether a symbol is sent or received, timeouts, colours and display formats are not kept.
RKREPLAY_EXPORT DefinitionFile parseSym(std::string text, std::string path,
                                        std::optional<std::uint8_t> channel = {});

} // namespace rksignal
