#include "trace/mdf/MdfBlocks.h"

#include <algorithm>
#include <cstring>

namespace rksignal {

MdfBlock::MdfBlock(MdfFile& file, std::uint64_t address) : file(&file), start(address) {
    std::array<char, 4> mark{};
    file.peek(address, mark.data(), mark.size());
    if (address >= file.size() || mark[0] != '#' || mark[1] != '#') {
        return;
    }
    name = {mark[2], mark[3]};
    file.peek(address + 8, &size, sizeof size);
    file.peek(address + 16, &linkCount, sizeof linkCount);
    size = std::clamp(size, headLength, ~start); // the end does not overflow
    linkCount = std::min(linkCount, (std::min(size, file.size() - address) - headLength) / 8);
}

std::uint64_t MdfBlock::link(std::uint64_t index) const {
    std::uint64_t address = 0;
    if (index < linkCount) {
        read(start + headLength + index * sizeof address, &address, sizeof address);
    }
    return address;
}

std::uint64_t MdfBlock::dataStart() const {
    return start + headLength + linkCount * 8;
}

void MdfBlock::read(std::uint64_t from, void* to, std::size_t count) const {
    if (file != nullptr && count <= end() && from <= end() - count) {
        file->peek(from, to, count);
    }
}

void MdfFile::peek(std::uint64_t offset, void* to, std::size_t count) {
    auto* bytes = static_cast<std::uint8_t*>(to);
    while (count > 0 && offset < length) {
        if (offset < pageStart || offset - pageStart >= pageSize) {
            pageStart = offset - offset % page.size();
            pageSize = read(pageStart, page.data(), page.size());
            if (offset - pageStart >= pageSize) { // the file has become shorter
                return;
            }
        }
        const auto at = static_cast<std::size_t>(offset - pageStart);
        const std::size_t part = std::min(count, pageSize - at);
        std::memcpy(bytes, page.data() + at, part);
        bytes += part;
        offset += part;
        count -= part;
    }
}

std::size_t MdfFile::read(std::uint64_t offset, void* to, std::size_t count) {
    return input.readAt(offset, to, count);
}

MdfBlock MdfFile::block(std::uint64_t address, std::string_view type) {
    const MdfBlock found(*this, address);
    const std::string place = std::string(type) + " block at offset " + std::to_string(address);
    if (address >= length) {
        throw MdfDamage{"the " + place + " lies behind the end of the file, at " + std::to_string(length)};
    }
    if (!found.is(type)) {
        throw MdfDamage{"there is no " + place};
    }
    if (++blocks > length / MdfBlock::headLength) {
        throw MdfDamage{"the links of the " + place + " form a circle"};
    }
    return found;
}

bool MdfFile::reserve(std::uint64_t bytes) {
    constexpr std::uint64_t limit = std::uint64_t{128} << 20;
    const bool isFree = bytes <= limit - reserved;
    reserved += isFree ? bytes : 0;
    return isFree;
}

std::string MdfFile::text(std::uint64_t address) {
    const MdfBlock block(*this, address);
    std::array<char, 256> bytes{};
    if (block.is("TX")) {
        const std::uint64_t room = block.end() - std::min(block.end(), block.dataStart());
        peek(block.dataStart(), bytes.data(), std::min<std::uint64_t>(bytes.size() - 1, room));
    }
    return bytes.data();
}

} // namespace rksignal
