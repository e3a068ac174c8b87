/// \file
/// What the parts of a summary have in common.
#pragma once

#include "catalog/Catalog.h"
#include "output/ListText.h"

#include <cstdint>
#include <iomanip>
#include <ostream>
#include <vector>

namespace rksignal {

/// Writes the hexadecimal digits of an identifier.
inline void printHex(std::ostream& out, std::uint64_t identifier, int digits) {
    const char fill = out.fill('0');
    out << std::hex << std::uppercase << std::setw(digits) << identifier << std::dec << std::nouppercase;
    out.fill(fill);
}

inline const char* plural(std::uint64_t count) {
    return count == 1 ? "" : "s";
}

/// Two hexadecimal digits.
inline void printSource(std::ostream& out, const MessageDecoder& decoder) {
    printHex(out, *decoder.source(), 2);
}

/// The message, and its sender if it has one of its own.
inline void printName(std::ostream& out, const MessageDecoder& decoder) {
    out << decoder.message().name;
    if (decoder.source()) {
        out << " of ";
        printSource(out, decoder);
    }
}

/// The decoders for which `holds`.
template <class Condition>
std::vector<const MessageDecoder*> selectDecoders(const Catalog& catalog, Condition&& holds) {
    std::vector<const MessageDecoder*> selected;
    for (const auto& decoder : catalog.decoders()) {
        if (holds(*decoder)) {
            selected.push_back(decoder.get());
        }
    }
    return selected;
}

} // namespace rksignal
