/// \file
/// Hexadecimal dump of a byte range for debug output.
#pragma once

#include "rkutil/Export.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>

/// Writes `length` bytes from `data` as two lower-case hexadecimal digits each, joined by blanks, 16 bytes a
/// line, every line ended. Nothing is written for a length of 0. The stream's number settings neither matter
/// nor change. Any thread.
RK_EXPORT void hexdump(std::ostream& out, const std::uint8_t* data, std::size_t length);
