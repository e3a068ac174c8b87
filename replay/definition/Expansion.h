/// \file
/// What a few bytes of a definition file are repeated into: a table of texts that many signals share, a range
/// of identifiers.
#pragma once

#include <cstddef>
#include <string_view>

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
    static constexpr std::size_t object = 512; ///< what a message or a signal takes, roughly
    /// What an entry of a table takes, roughly.
    static constexpr std::size_t entry(std::string_view text) { return 80 + text.size(); }

  private:
    std::size_t left = mostBytes;
};

} // namespace rksignal
