#include "trace/blf/BlfTrace.h"

#include "text/Counted.h"
#include "trace/blf/BlfFormat.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string_view>

namespace rksignal {
namespace {

constexpr std::size_t windowSize = std::size_t{128} * 1024; // longer than any frame
constexpr std::size_t maxOtherTypes = 256;

} // namespace

BlfTrace::BlfTrace(std::unique_ptr<InputFile> file)
    : TraceSource(std::move(file)), stream(input()), buffer(windowSize) {}

bool BlfTrace::next() {
    while (isNextAdjacent() || findObject()) {
        if (readObject()) {
            return true;
        }
    }
    conclude();
    return false;
}

/// Whether there are `count` bytes from `at` on without a break, reading on if need be.
bool BlfTrace::fill(std::size_t count) {
    if (end - at >= count) {
        return true;
    }
    std::copy(buffer.begin() + static_cast<std::ptrdiff_t>(at),
              buffer.begin() + static_cast<std::ptrdiff_t>(end), buffer.begin());
    end -= at;
    at = 0;
    while (end < count) {
        const std::size_t read = stream.read(buffer.data() + end, buffer.size() - end);
        if (read == 0) {
            return false;
        }
        end += read;
    }
    return true;
}

/// Passes over bytes. \return how many of them did not come
std::uint64_t BlfTrace::skip(std::uint64_t count) {
    while (count > end - at) {
        count -= end - at;
        at = end;
        if (!fill(1)) {
            return count;
        }
    }
    at += static_cast<std::size_t>(count);
    return 0;
}

/// Goes to the next object if its head is in the buffer, directly behind the last one: so are nearly all.
bool BlfTrace::isNextAdjacent() {
    if (end - at < blf::baseHeadLength || done > end - at - blf::baseHeadLength ||
        std::memcmp(object() + done, blf::objectMark.data(), blf::objectMark.size()) != 0) {
        return false;
    }
    at += static_cast<std::size_t>(std::exchange(done, 0));
    return true;
}

/// Goes behind the last object and to the head of the next one. \return false at the end
bool BlfTrace::findObject() {
    constexpr std::uint64_t maxPadding = 3;
    std::uint64_t passed = 0;
    const std::uint64_t missing = skip(done);
    bool isWhole = missing == 0;
    if (!isWhole) {
        stream.countDamage(done - missing);
    }
    done = 0;
    for (;;) {
        while (isWhole && fill(blf::baseHeadLength)) {
            const std::string_view bytes(reinterpret_cast<const char*>(object()), end - at);
            const std::size_t mark = bytes.find(blf::objectMark);
            const std::size_t gap = std::min(mark, bytes.size() - (blf::objectMark.size() - 1));
            at += gap;
            passed += gap;
            if (mark != bytes.npos && fill(blf::baseHeadLength)) {
                if (passed > maxPadding) {
                    stream.countDamage(passed);
                }
                return true;
            }
        }
        passed += end - at;
        at = end;
        if (passed > maxPadding) {
            stream.countDamage(std::exchange(passed, 0));
        }
        if (!stream.resume()) {
            return false;
        }
        isWhole = true;
    }
}

/// \return whether it is a message
bool BlfTrace::readObject() {
    const auto headLength = blf::load<std::uint16_t>(object() + 4);
    const auto length = blf::load<std::uint32_t>(object() + 8);
    const auto type = blf::load<std::uint32_t>(object() + 12);
    if (headLength < blf::baseHeadLength || length < headLength || length > BlfStream::maxLength) {
        at += blf::objectMark.size(); // not the head of an object: the next mark counts
        stream.countDamage(blf::objectMark.size());
        return false;
    }
    const bool isFrame = BlfObjects::isFrame(type);
    const std::size_t wanted = isFrame ? length : std::min<std::size_t>(length, blf::objectHeadLength);
    if (isFrame && (length > buffer.size() || headLength < blf::objectHeadLength)) {
        done = length;
        return countMalformed("frame of an impossible length");
    }
    done = length;
    if (!fill(wanted)) {
        return false; // the stream ends or breaks here, as findObject() will see
    }
    if (!isFrame) {
        countOther(type);
        content = PassedMessage::Other;
        return headLength < blf::objectHeadLength || takeTime();
    }
    const auto read = reader.read(type, {object(), length}, headLength);
    if (!read) {
        return countMalformed(reader.malformed());
    }
    content = *read;
    return takeTime();
}

bool BlfTrace::countMalformed(const char* why) {
    if (found.damagedRecords++ == 0) {
        firstMalformed =
            std::string(why) + ", in the object at offset " + std::to_string(stream.objectOffset());
    }
    return false;
}

/// REQUIRES: the whole head of the object is in the buffer
bool BlfTrace::takeTime() {
    const bool isCoarse = blf::load<std::uint32_t>(object() + 16) == blf::tenMicroseconds;
    const auto distance = blf::load<std::uint64_t>(object() + 24);
    std::uint64_t time = 0;
    if (__builtin_mul_overflow(distance, isCoarse ? 10'000U : 1U, &time) ||
        __builtin_add_overflow(time, stream.start(), &time)) {
        return countMalformed("time is beyond 64 bits of nanoseconds");
    }
    now = time;
    return true;
}

void BlfTrace::countOther(std::uint32_t type) {
    if (others.size() < maxOtherTypes || others.contains(type)) {
        ++others[type];
    } else {
        ++furtherTypes;
    }
}

void BlfTrace::completeReport() {
    found.damagedBytes = stream.damagedBytes();
    if (const std::string damage = stream.damage(); !damage.empty()) {
        remark(damage);
    }
    if (found.damagedRecords > 0) {
        remark("malformed objects: " + std::to_string(found.damagedRecords) +
               ", the first: " + firstMalformed);
    }
    if (const std::string cut = stream.cut(); !cut.empty()) {
        remark(cut);
    }
    Counts counts;
    for (const auto& [type, count] : others) {
        counts.emplace_back(BlfObjects::typeName(type), count);
    }
    counts.emplace_back("further types", furtherTypes);
    std::ostringstream text;
    printCounts(text, "objects of other kinds", counts);
    if (!others.empty()) {
        std::string line = text.str();
        line.pop_back(); // the line end
        found.remarks.add({path(), Severity::Note, line});
    }
}

} // namespace rksignal
