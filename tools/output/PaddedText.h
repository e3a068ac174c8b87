/// \file
/// Short texts that are copied often.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

namespace rksignal {

/// A text that is copied in whole blocks: what stands behind it is copied too, and written over afterwards.
/// That takes a few instructions, where a copy of exact length chooses among ways.
class PaddedText {
  public:
    static constexpr std::size_t block = 32;

    PaddedText() : bytes(block) {}
    explicit PaddedText(std::string_view text) { set(text); }

    void set(std::string_view text) {
        char* const out = start(text.size());
        end(out + text.copy(out, text.size()));
    }
    /// For who writes the text himself: room for at most `size` bytes and a block. end() tells where it ends.
    char* start(std::size_t size) {
        if (bytes.size() < size + block) {
            bytes.resize(size + block);
        }
        return bytes.data();
    }
    void end(const char* end) { length = static_cast<std::size_t>(end - bytes.data()); }

    std::size_t size() const { return length; }
    std::string_view view() const { return {bytes.data(), length}; }

    /// REQUIRES: there is room for `block` bytes more than the text has. \return behind the text
    char* copyTo(char* out) const { return copy(view(), out); }
    /// The same of the view() of a padded text.
    static char* copy(std::string_view text, char* out) {
        std::memcpy(out, text.data(), block);
        for (std::size_t at = block; at < text.size(); at += block) {
            std::memcpy(out + at, text.data() + at, block);
        }
        return out + text.size();
    }

  private:
    std::vector<char> bytes; ///< the text and at least a block behind it
    std::size_t length = 0;
};

} // namespace rksignal
