/// \file
/// The files of the page, which EmbedAssets.cmake makes a source file of.
#pragma once

#include <string_view>

namespace rksignal::page_assets {

extern const std::string_view page;
extern const std::string_view style;
extern const std::string_view script;

} // namespace rksignal::page_assets
