#include "trace/mdf/MdfStream.h"

#include <algorithm>

namespace rksignal {
namespace {

bool isPlain(const MdfBlock& block) {
    return block.is("DT") || block.is("DV") || block.is("SD");
}

} // namespace

bool MdfStream::fail(const std::string& why) {
    if (reason.empty()) {
        reason = why;
    }
    single = left = 0;
    list = {};
    isCompressed = false;
    return false;
}

std::size_t MdfStream::read(std::uint8_t* to, std::size_t size) {
    for (;;) {
        std::size_t count = 0;
        if (isCompressed) {
            count = inflater->read(to, size);
            isCompressed = count > 0;
            if (!inflater->failure().empty()) {
                fail(inflater->failure());
            }
        } else if (left > 0) {
            count = file.read(at, to, std::min<std::uint64_t>(size, left));
            at += count;
            left -= count;
            if (count == 0) {
                fail("the file has become shorter");
            }
        }
        if (count > 0 || !openNext()) {
            return count;
        }
    }
}

/// \return false at the end
bool MdfStream::openNext() {
    if (single != 0) {
        const MdfBlock block(file, single);
        single = 0;
        if (block.is("HL")) {
            return openList(MdfBlock(file, block.link(0)));
        }
        return block.is("DL") || block.is("LD") ? openList(block) : openData(block, true);
    }
    if (listed < listSize) {
        const bool isLast = ++listed == listSize && list.link(0) == 0;
        const std::uint64_t address = list.link(listed);
        if (address != 0) {
            return openData(MdfBlock(file, address), isLast);
        }
        const MdfBlock next = unfinished.lists ? following() : MdfBlock();
        return isPlain(next) || next.is("DZ") ? openData(next, isLast) : true;
    }
    return list.link(0) != 0 && openList(MdfBlock(file, list.link(0)));
}

/// \return whether more data may come
bool MdfStream::openList(const MdfBlock& block) {
    if (!block.is("DL") && !block.is("LD")) {
        return fail("there is no list of data blocks at offset " + std::to_string(block.address()));
    }
    list = block;
    listed = 0;
    lastEnd = block.end();
    listSize = block.links() - std::min<std::uint64_t>(block.links(), 1);
    if (!unfinished.lists) { // in an LD block, links to invalidation bits follow
        listSize = std::min<std::uint64_t>(listSize, block.data<std::uint32_t>(4));
    }
    return account(block);
}

/// \return whether more data may come
bool MdfStream::openData(const MdfBlock& block, bool isLast) {
    lastEnd = block.end();
    if (isPlain(block)) {
        return openPlain(block, isLast);
    }
    if (!block.is("DZ")) {
        return fail(block.address() >= file.size()
                        ? "the data block at offset " + std::to_string(block.address()) +
                              " lies behind the end of the file, at " + std::to_string(file.size())
                        : "there is no data block at offset " + std::to_string(block.address()));
    }
    if (!inflater) {
        inflater.emplace(file);
    }
    isCompressed = account(block) && inflater->open(block);
    return isCompressed || fail(inflater->failure());
}

bool MdfStream::openPlain(const MdfBlock& block, bool isLast) {
    const bool isOpen = isLast && unfinished.dataLength;
    const std::uint64_t end = isOpen ? openEnd(block) : block.end();
    at = block.dataStart();
    left = std::min(end, file.size()) - std::min(at, std::min(end, file.size()));
    if (!account(block)) {
        return false;
    }
    if (end > file.size()) { // what is there is read
        reason = "the data block at offset " + std::to_string(block.address()) +
                 " is cut off by the end of the file, at " + std::to_string(file.size());
    }
    return true;
}

/// Every byte of the file belongs to one block, so data that refer to themselves end.
bool MdfStream::account(const MdfBlock& block) {
    used += std::min(block.length(), file.size());
    return used <= file.size() ||
           fail("the data blocks overlap at offset " + std::to_string(block.address()));
}

/// Where a block ends whose length was not completed: where it says if another block follows there, else
/// where other data begin or the file ends.
std::uint64_t MdfStream::openEnd(const MdfBlock& block) const {
    const bool saysLength = block.length() > MdfBlock::headLength;
    if (saysLength && (following().length() > 0 || block.end() == file.size())) {
        return block.end();
    }
    const auto& others = unfinished.dataAddresses;
    const auto next = std::upper_bound(others.begin(), others.end(), block.address());
    return next != others.end() ? std::min(*next, file.size()) : file.size();
}

/// The block that lies behind the one that was opened last: blocks begin at multiples of 8.
MdfBlock MdfStream::following() const {
    const std::uint64_t address = (lastEnd + 7) & ~std::uint64_t{7};
    return address >= lastEnd ? MdfBlock(file, address) : MdfBlock();
}

} // namespace rksignal
