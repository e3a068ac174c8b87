/// \file
/// Short texts that are copied often.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace rksignal {

/// A text that is copied in whole blocks: what stands behind it is copied too, and written over afterwards.
/// That takes a few instructions, where a copy of exact length chooses among ways.
class PaddedText {
  public:
    static constexpr std::size_t block = 16;

    PaddedText() { set({}); }
    explicit PaddedText(std::string_view text) { set(text); }

    void set(std::string_view text) {
        bytes.assign(text);
        bytes.append(block, '\0');
    }
    std::size_t size() const { return bytes.size() - block; }
    std::string_view view() const { return {bytes.data(), size()}; }

    /// REQUIRES: there is room for `block` bytes more than the text has. \return behind the text
    char* copyTo(char* out) const {
        for (std::size_t at = 0; at < size(); at += block) {
            std::memcpy(out + at, bytes.data() + at, block);
        }
        return out + size();
    }

  private:
    std::string bytes; ///< the text and a block of zeros
};

} // namespace rksignal
