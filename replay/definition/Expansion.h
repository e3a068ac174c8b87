/// \file
/// What a few bytes of a definition file are repeated into: a table of texts that many signals share, a range
/// of identifiers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace rksignal {

/// Bounds the memory that one file takes so, since its size does not.
class Expansion {
  public:
    static constexpr std::size_t mostBytes = std::size_t{64} << 20;

    /// Counts `bytes`. \return false if the file has had too much already; it is not to have these
    bool take(std::size_t bytes) {
        if (bytes > left) {
            return false;
        }
        left -= bytes;
        return true;
    }
    /// The memory that a table takes, roughly.
    static std::size_t sizeOf(const std::map<std::uint64_t, std::string>& texts) {
        constexpr std::size_t node = 80;
        std::size_t bytes = 0;
        for (const auto& [value, text] : texts) {
            bytes += node + text.size();
        }
        return bytes;
    }

  private:
    std::size_t left = mostBytes;
};

} // namespace rksignal
