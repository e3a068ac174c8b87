/// \file
/// What the library tests have allocated so far.
#pragma once

#include <cstddef>

/// Calls of the global operator new, which expression/ExpParserTest.cpp replaces.
std::size_t allocationsSoFar();
/// Bytes that operator new has given and that are still in use.
std::size_t allocatedBytes();
