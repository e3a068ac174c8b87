/// \file
/// Names of a model as names of DBC text, which must be identifiers of at most 32 characters, each once.
#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace rksignal {

/// Names that differ from each other.
class DbcNames {
  public:
    /// `wanted`, as far as the format allows it: other characters become `_`, what is too long is cut, and
    /// what is taken gets a number.
    std::string add(const std::string& wanted);
    /// The same of several; those that are as the format has them get their names first. In their order.
    std::vector<std::string> add(const std::vector<std::string>& wanted);

  private:
    std::unordered_set<std::string> names;
    std::unordered_map<std::string, unsigned> numbers; ///< by identifier: where to go on
};

} // namespace rksignal
