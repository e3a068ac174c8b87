#include "text/Error.h"

#include <system_error>

namespace rksignal {

Error::Error(const std::string& text, int number)
    : std::runtime_error(text + ": " + std::generic_category().message(number)) {}

Error::~Error() = default;

} // namespace rksignal
