/// \file
/// The texts of the page, which EmbedPage.cmake makes a source file of.
#pragma once

#include <string_view>

namespace rksignal::page_text {

extern const std::string_view beforeDrive;
extern const std::string_view beforeCurves;
extern const std::string_view afterCurves;

} // namespace rksignal::page_text
