/// \file
/// Names for instances whose names are taken.
#pragma once

#include <string>
#include <unordered_map>

namespace rksignal {

/// Remembers which names it has found taken, so that any number of names is found in linear time.
class FreeNames {
  public:
    /// The first of `wanted`, `wanted#2`, `wanted#3`, ... for which `isTaken` does not hold.
    /// REQUIRES: names that were taken stay so.
    template <class IsTaken>
    std::string find(const std::string& wanted, IsTaken&& isTaken) {
        if (!isTaken(wanted)) {
            return wanted;
        }
        unsigned& number = numbers.try_emplace(wanted, 2).first->second;
        std::string name = wanted + "#" + std::to_string(number);
        while (isTaken(name)) {
            name = wanted + "#" + std::to_string(++number);
        }
        return name;
    }

  private:
    std::unordered_map<std::string, unsigned> numbers; ///< by wanted name: where to go on
};

} // namespace rksignal
