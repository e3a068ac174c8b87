/// \file
/// The one exception of this library.
#pragma once

#include "text/Export.h"

#include <stdexcept>
#include <string>

namespace rksignal {

/// What cannot be used at all: a file that cannot be opened or read, or one of a format that is not known.
/// what() is one line or more, without a line end behind the last, and names the file. Nothing else is thrown
/// but std::bad_alloc, and whatever a sink or a callback of the client throws. What can be used in part is
/// used, and what was wrong with it told in remarks.
class RKREPLAY_EXPORT Error : public std::runtime_error {
  public:
    explicit Error(const std::string& text) : std::runtime_error(text) {}
    /// `TEXT: ` and what the system says about an error number.
    Error(const std::string& text, int number);
    Error(const Error&) = default;
    Error& operator=(const Error&) = default;
    ~Error() override;
};

} // namespace rksignal
