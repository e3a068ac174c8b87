/// \file
/// Names for instances whose names are taken.
#pragma once

#include <string>

namespace rksignal {

/// The first of `wanted`, `wanted#2`, `wanted#3`, ... for which `isTaken` does not hold.
template <class IsTaken>
std::string freeName(const std::string& wanted, IsTaken&& isTaken) {
    std::string name = wanted;
    for (unsigned n = 2; isTaken(name); ++n) {
        name = wanted + "#" + std::to_string(n);
    }
    return name;
}

} // namespace rksignal
