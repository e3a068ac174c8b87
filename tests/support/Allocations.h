/// \file
/// How often the library tests have allocated so far.
#pragma once

#include <cstddef>

/// Calls of the global operator new, which expression/ExpParserTest.cpp replaces.
std::size_t allocationsSoFar();
