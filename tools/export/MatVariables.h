/// \file
/// Names that MATLAB takes for variables.
#pragma once

#include <set>
#include <string>
#include <string_view>

namespace rksignal {

/// Gives every name a variable of its own.
class MatVariables {
  public:
    /// `reserved` are not given to anybody.
    explicit MatVariables(std::set<std::string> reserved) : taken(std::move(reserved)) {}

    /// A letter, then letters, digits and `_`, at most 63 characters, no keyword: `Engine_Speed` for
    /// `Engine.Speed`. What is taken gets `_2`, `_3` and so on.
    std::string add(std::string_view name);

  private:
    std::set<std::string> taken;
};

} // namespace rksignal
