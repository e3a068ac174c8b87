/// \file
/// What ends a command because of how it was called.
#pragma once

#include <stdexcept>

namespace rksignal {

/// The command line, or a file it names, cannot be used. The program says why and exits with status 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace rksignal
