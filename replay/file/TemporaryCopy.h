/// \file
/// Inputs that can be read at any offset.
#pragma once

#include "file/InputFile.h"

#include <memory>

namespace rksignal {

/// The file itself if it can be read at any offset. Otherwise, as of a pipe, a copy of all that it has: a
/// file without a name in the folder TMPDIR (else /tmp), whose room is free again when it is closed. Waits
/// for the end of the input. \throws Error if reading or writing fails. ReadingStopped
std::unique_ptr<InputFile> withRandomAccess(std::unique_ptr<InputFile> file);

} // namespace rksignal
