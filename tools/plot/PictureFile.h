/// \file
/// Makes PNG and PDF files of SVG pictures, with librsvg and cairo.
///
/// Both are loaded by the first call, so that other commands do not wait for them, and the program starts
/// where they are not installed.
#pragma once

#include "plot/SvgFigure.h"

#include <string>
#include <vector>

namespace rksignal {

/// The bytes of a PNG file with a pixel for each pixel of the picture. \throws std::runtime_error if the
/// libraries are missing or the picture is too large for them, here and below
std::string pngFile(const SvgPicture& picture);

/// The bytes of a PDF file with a page for each picture. REQUIRES: there is one.
std::string pdfFile(const std::vector<SvgPicture>& pages, const std::string& title);

} // namespace rksignal
