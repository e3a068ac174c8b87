/// \file
/// Definition files: signals of every kind as a JSON document.
#pragma once

#include "definition/SignalDefinitions.h"
#include "text/Error.h"

#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// A definition file that cannot be used. what() is all the texts, a line each.
class RKREPLAY_EXPORT DefinitionError : public Error {
  public:
    explicit DefinitionError(std::vector<std::string> texts);

    /// Each as `FILE#/can/3/bits: expected an integer from 1 to 64, found 65`, the place being a JSON pointer
    /// (RFC 6901), or as `FILE:LINE:COLUMN: reason` where the text is not JSON. In the order of the file, at
    /// most 20 of them; another line says if there are more.
    const std::vector<std::string>& texts() const { return lines; }

  private:
    std::vector<std::string> lines;
};

/// Reads the definition file at `path`; `-` is standard input. What it returns is usable, see
/// SignalDefinitions.
/// \throws DefinitionError if there is anything in the file that is not understood: nothing is passed over
/// \throws Error if reading fails; the text names the file
RKREPLAY_EXPORT SignalDefinitions readSignalDefinitions(const std::string& path);

/// The same for a text that is there already. `file` is what messages call it.
RKREPLAY_EXPORT SignalDefinitions parseSignalDefinitions(std::string_view text, const std::string& file);

} // namespace rksignal
