/// \file
/// The page that `rksignal report` writes: its frame, style and script, with a drive's data put in.
#pragma once

#include "output/OutputBuffer.h"

#include <cstddef>
#include <string_view>

namespace rksignal {

/// Writes the whole page.
///
/// `drive` is the JSON document that tells of the drive, in which `<`, `>` and `&` are written as \u003c and
/// so on: it stands in a script element as it is. `curves` is the base64 of the gzip of the curves' bytes.
/// Whoever opens the page sees both as data only: the page's content security policy lets no script run but
/// its own, and no request be made. \throws std::invalid_argument if either text holds a `<`, which could end
/// its element
void writePage(OutputBuffer& out, std::string_view drive, std::string_view curves);

/// The bytes of a page besides these two texts.
std::size_t pageFrameSize();

} // namespace rksignal
