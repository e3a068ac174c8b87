#include "report/PackedText.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>
#include <zlib.h>

namespace rksignal {
namespace {

/// REQUIRES: fewer bytes than zlib can count, 4 GB.
std::vector<unsigned char> gzipOf(std::string_view bytes) {
    constexpr int gzipWindow = 15 + 16;
    constexpr int memoryLevel = 8;
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, gzipWindow, memoryLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::bad_alloc();
    }
    std::vector<unsigned char> packed(deflateBound(&stream, bytes.size()));
    stream.next_in = reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data())); // zlib only reads it
    stream.avail_in = static_cast<unsigned>(bytes.size());
    stream.next_out = packed.data();
    stream.avail_out = static_cast<unsigned>(packed.size());
    deflate(&stream, Z_FINISH); // there is room for all
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

} // namespace

std::string packedText(std::string_view bytes) {
    constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::vector<unsigned char> packed = gzipOf(bytes);
    std::string text;
    text.reserve((packed.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < packed.size(); i += 3) {
        const std::size_t present = packed.size() - i < 3 ? packed.size() - i : 3;
        std::uint32_t word = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            word = word << 8U | (k < present ? packed[i + k] : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += k <= present ? letters[word >> (18 - 6 * k) & 0x3FU] : '=';
        }
    }
    return text;
}

} // namespace rksignal
