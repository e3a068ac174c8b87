#include "ethernet/SomeIpStream.h"

#include <algorithm>

namespace rksignal {
namespace {

bool isPlausibleAt(ByteView bytes, std::size_t offset) {
    return SomeIpHeader::at(bytes.data() + offset).isPlausible();
}

/// The offset of the message at which to go on: the first one that is followed by another one, or by the end
/// of `bytes`, or else the first one that can be one. The size of `bytes` if there is none.
std::size_t findMessage(ByteView bytes) {
    std::size_t first = bytes.size();
    for (std::size_t offset = 0; offset + SomeIpHeader::bytes <= bytes.size(); ++offset) {
        if (!isPlausibleAt(bytes, offset)) {
            continue;
        }
        const std::uint64_t next = offset + SomeIpHeader::at(bytes.data() + offset).size();
        const bool hasNext = next + SomeIpHeader::bytes <= bytes.size();
        if (next == bytes.size() || (hasNext && isPlausibleAt(bytes, next))) {
            return offset;
        }
        if (!hasNext) {
            first = std::min(first, offset);
        }
    }
    return first;
}

} // namespace

void SomeIpStream::restart(bool atMessage) {
    inStep = atMessage;
    kept.clear();
    passed = 0;
    header.reset();
}

bool SomeIpStream::read(ByteView piece, const SomeIpVisitor& visit) {
    bool wasInStep = inStep;
    while (!piece.empty()) {
        if (!inStep) {
            piece = piece.subspan(findMessage(piece));
            inStep = !piece.empty();
        } else if (passed == 0 && piece.size() >= SomeIpHeader::bytes && !isPlausibleAt(piece, 0)) {
            restart(false);
        } else if (passed > 0 || !readWhole(piece, visit)) {
            readPart(piece, visit);
        }
        wasInStep = wasInStep && inStep;
    }
    return wasInStep;
}

/// Reads a message that begins and ends in the piece. \return false if there is none
bool SomeIpStream::readWhole(ByteView& piece, const SomeIpVisitor& visit) {
    if (piece.size() < SomeIpHeader::bytes) {
        return false;
    }
    const SomeIpHeader whole = SomeIpHeader::at(piece.data());
    if (whole.size() > piece.size()) {
        return false;
    }
    visit(whole, piece.first(whole.size()).subspan(SomeIpHeader::bytes));
    piece = piece.subspan(whole.size());
    return true;
}

/// Reads what is there of a message that lies in several pieces.
void SomeIpStream::readPart(ByteView& piece, const SomeIpVisitor& visit) {
    if (!header) {
        if (!takeUpTo(SomeIpHeader::bytes, piece)) {
            return;
        }
        header = SomeIpHeader::at(kept.data());
        if (!header->isPlausible()) {
            restart(false);
            return;
        }
    }
    if (takeUpTo(header->size(), piece)) {
        ++assembledMessages;
        visit(*header, ByteView(kept).subspan(SomeIpHeader::bytes));
        restart(true);
    }
}

/// Takes bytes of the message off the piece. \return whether the first `end` of them have come
bool SomeIpStream::takeUpTo(std::uint64_t end, ByteView& piece) {
    constexpr std::size_t maxKept = SomeIpHeader::bytes + maxSignalBytes;
    const std::size_t taken = std::min<std::uint64_t>(end - passed, piece.size());
    const ByteView part = piece.first(std::min(taken, maxKept - kept.size()));
    kept.insert(kept.end(), part.begin(), part.end());
    passed += taken;
    piece = piece.subspan(taken);
    return passed == end;
}

} // namespace rksignal
