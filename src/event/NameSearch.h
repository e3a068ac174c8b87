/// \file
/// Finds the names in an event description that lies in memory.
#pragma once

#include "event/EventParser.h"

#include <string_view>

/// Enters into the tables of `scanner` what its `yylex` would find in `text`, at several times the speed.
void searchNames(std::string_view text, eventFlexer& scanner);
