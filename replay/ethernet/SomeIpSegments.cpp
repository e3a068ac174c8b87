#include "ethernet/SomeIpSegments.h"

#include "rkutil/ByteOrder.h"

#include <algorithm>

namespace rksignal {
namespace {

/// With as many gaps, a message is given up.
constexpr std::size_t maxRanges = 64;

} // namespace

void SomeIpSegments::receive(const FlowKey& flow, const SomeIpHeader& header, ByteView data,
                             const SomeIpVisitor& visit) {
    constexpr std::size_t offsetBytes = 4;
    if (data.size() <= offsetBytes) {
        return;
    }
    const std::uint32_t word = bigEndian<offsetBytes>(data.data());
    const ByteView part = data.subspan(offsetBytes);
    const std::uint64_t begin = word & ~std::uint32_t{0xF}; // 28 bits, in units of 16 bytes
    const Range range{begin, begin + part.size()};
    Message& message = messages.at({flow, header.identifier, header.request, header.messageType});
    if (message.isFollowedBy(range, part)) {
        message.restart();
    }
    if (message.isPassedOn) {
        return; // a segment that was sent, or recorded, twice
    }
    message.add(range, part, (word & 1) == 0);
    if (message.isComplete()) {
        message.isPassedOn = true;
        ++assembledMessages;
        SomeIpHeader whole = header;
        whole.messageType &= static_cast<std::uint8_t>(~SomeIpHeader::segmentFlag);
        visit(whole, message.data());
    }
}

std::uint64_t SomeIpSegments::lost() {
    std::uint64_t sum = 0;
    messages.forEach([&sum](const SegmentedKey&, const Message& message) { sum += message.lost(); });
    return sum;
}

void SomeIpSegments::Message::restart() {
    lostBefore += missing();
    isPassedOn = false;
    ranges.clear();
    kept.clear();
    end = segmentSize = 0;
}

/// A first segment that comes twice is followed by the others of the same message.
bool SomeIpSegments::Message::isFollowedBy(Range range, ByteView part) const {
    if (range.begin != 0 || ranges.empty() || ranges.front().begin != 0) {
        return false;
    }
    const bool isRepeated = !isPassedOn && ranges.size() == 1 && ranges.front().end == range.end &&
                            std::equal(kept.begin(), kept.end(), part.begin());
    return !isRepeated;
}

void SomeIpSegments::Message::add(Range range, ByteView part, bool isLast) {
    addRange(range);
    if (ranges.size() > maxRanges) {
        restart();
        return;
    }
    segmentSize = std::max<std::uint64_t>(segmentSize, part.size());
    if (isLast) {
        end = range.end;
    }
    if (range.begin < maxSignalBytes) {
        const std::size_t keptEnd = std::min<std::uint64_t>(range.end, maxSignalBytes);
        kept.resize(std::max(kept.size(), keptEnd));
        std::copy_n(part.begin(), keptEnd - range.begin,
                    kept.begin() + static_cast<std::ptrdiff_t>(range.begin));
    }
}

/// Keeps the ranges in order and joins those that touch.
void SomeIpSegments::Message::addRange(Range range) {
    const auto first = std::find_if(ranges.begin(), ranges.end(),
                                    [&range](const Range& each) { return each.end >= range.begin; });
    const auto last =
        std::find_if(first, ranges.end(), [&range](const Range& each) { return each.begin > range.end; });
    if (first != last) {
        range = {std::min(range.begin, first->begin), std::max(range.end, (last - 1)->end)};
    }
    ranges.insert(ranges.erase(first, last), range);
}

bool SomeIpSegments::Message::isComplete() const {
    return ranges.size() == 1 && ranges.front().begin == 0 && ranges.front().end == end;
}

std::uint64_t SomeIpSegments::Message::missing() const {
    if (isPassedOn || ranges.empty()) {
        return 0;
    }
    std::uint64_t segments = end == 0 ? 1 : 0;
    std::uint64_t come = 0;
    for (const Range& range : ranges) {
        segments += (range.begin - come + segmentSize - 1) / segmentSize;
        come = range.end;
    }
    return segments;
}

} // namespace rksignal
