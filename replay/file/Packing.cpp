#include "file/Packing.h"

#include "file/InputFile.h"

#include <algorithm>
#include <numeric>

namespace rksignal {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t tarHead = 512;

struct PackingBegin {
    std::string_view bytes;
    Packing packing;
};

constexpr PackingBegin packingBegins[] = {
    {"\x1F\x8B\x08", Packing::Gzip},
    {"\x28\xB5\x2F\xFD", Packing::Zstd},
    {"\xFD"
     "7zXZ\0"sv,
     Packing::Xz},
    {"\x04\x22\x4D\x18", Packing::Lz4},
    {"\x02\x21\x4C\x18", Packing::Lz4}, // the legacy frame
    {"PK\x03\x04", Packing::Zip},
    {"PK\x05\x06", Packing::Zip}, // without a member
};

/// `BZh`, the size of the blocks, and the mark of a block or of the end.
bool isBzip2(std::string_view bytes) {
    constexpr std::size_t markAt = 4;
    const std::string_view mark = bytes.substr(std::min(markAt, bytes.size()));
    return bytes.starts_with("BZh") && (mark.starts_with("1AY&SY"sv) || mark.starts_with("\x17rE8P\x90"sv));
}

/// POSIX.1-1988: the octal number at offset 148 is the sum of all bytes of the head, itself taken as blanks.
bool isTar(std::string_view bytes) {
    constexpr std::size_t sumAt = 148, sumSize = 8;
    if (bytes.size() < tarHead) {
        return false;
    }
    unsigned expected = 0;
    for (const char digit : bytes.substr(sumAt, sumSize)) {
        if (digit >= '0' && digit <= '7') {
            expected = 8 * expected + static_cast<unsigned>(digit - '0');
        } else if (digit != ' ' && digit != '\0') {
            return false;
        }
    }
    const auto add = [](unsigned sum, char byte) { return sum + static_cast<unsigned char>(byte); };
    const std::string_view head = bytes.substr(0, tarHead);
    const unsigned before = std::accumulate(head.begin(), head.begin() + sumAt, 0U, add);
    const unsigned behind = std::accumulate(head.begin() + sumAt + sumSize, head.end(), 0U, add);
    return expected != 0 && before + behind + sumSize * ' ' == expected;
}

/// Whether more bytes could show a tar archive: it packingBegins with a name, and zeros behind it.
bool mayBecomeTar(std::string_view bytes) {
    constexpr std::size_t nameSize = 100;
    const std::string_view name = bytes.substr(0, nameSize);
    const std::size_t nameEnd = std::min(name.find('\0'), name.size());
    const auto isControl = [](char byte) { return byte > 0 && byte < ' '; };
    return bytes.size() < tarHead && (nameEnd > 0 || name.empty()) &&
           std::none_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(nameEnd), isControl) &&
           name.find_first_not_of('\0', nameEnd) == name.npos;
}

bool mayBecomeOther(std::string_view bytes) {
    return std::any_of(std::begin(packingBegins), std::end(packingBegins),
                       [=](const PackingBegin& each) { return each.bytes.starts_with(bytes); });
}

} // namespace

Packing packingOf(std::string_view bytes) {
    const auto* const begin =
        std::find_if(std::begin(packingBegins), std::end(packingBegins),
                     [=](const PackingBegin& each) { return bytes.starts_with(each.bytes); });
    if (begin != std::end(packingBegins)) {
        return begin->packing;
    }
    if (isBzip2(bytes)) {
        return Packing::Bzip2;
    }
    return isTar(bytes) ? Packing::Tar : Packing::None;
}

Packing detectPacking(InputFile& file) {
    Packing packing = packingOf(file.peeked());
    while (packing == Packing::None && (mayBecomeTar(file.peeked()) || mayBecomeOther(file.peeked())) &&
           file.peekFurther()) {
        packing = packingOf(file.peeked());
    }
    return packing;
}

} // namespace rksignal
