/// \file
/// Which bytes of a payload change.
#pragma once

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace rksignal {

/// Compares payloads with the first one; a byte that it does not have, with the first one that has it. Looks
/// at the first `maxBytes` bytes. Allocates only for payloads that are longer than those before.
class ByteChanges {
  public:
    static constexpr std::size_t maxBytes = 256;

    void add(std::span<const std::uint8_t> payload) {
        const std::size_t length = std::min(payload.size(), maxBytes);
        const std::size_t known = std::min(length, reference.size());
        for (std::size_t i = 0; i < known; ++i) {
            if (reference[i] != payload[i]) {
                changed[i] = true;
            }
        }
        if (length > known) {
            reference.insert(reference.end(), payload.begin() + static_cast<std::ptrdiff_t>(known),
                             payload.begin() + static_cast<std::ptrdiff_t>(length));
        }
    }

    /// By byte: whether it had several values.
    const std::bitset<maxBytes>& bytes() const { return changed; }

  private:
    std::vector<std::uint8_t> reference;
    std::bitset<maxBytes> changed;
};

} // namespace rksignal
