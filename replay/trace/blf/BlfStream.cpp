#include "trace/blf/BlfStream.h"

#include "text/Error.h"
#include "trace/blf/BlfFormat.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace rksignal {
namespace {

/// A block, less for a small file.
std::size_t blfBlockSize(const InputFile& file) {
    constexpr std::uint64_t block = std::uint64_t{128} * 1024;
    constexpr std::uint64_t least = 4096;
    return static_cast<std::size_t>(file.size() == 0 ? block : std::clamp(file.size() + 1, least, block));
}

constexpr std::uint64_t blfPadding = 3;

/// Nanoseconds since 1970; 0 if it is no date, or one before that.
std::uint64_t systemTime(const std::uint8_t* fields) {
    using namespace std::chrono;
    const auto field = [fields](std::size_t index) { return blf::load<std::uint16_t>(fields + 2 * index); };
    const year_month_day date{year{field(0)}, month{field(1)}, day{field(3)}};
    const bool isTime = field(4) < 24 && field(5) < 60 && field(6) < 61 && field(7) < 1000;
    if (!date.ok() || !isTime || field(0) < 1970 || field(0) > 2553) { // as far as 64 bits reach
        return 0;
    }
    const milliseconds time = sys_days(date).time_since_epoch() + hours(field(4)) + minutes(field(5)) +
                              std::chrono::seconds(field(6)) + milliseconds(field(7));
    return static_cast<std::uint64_t>(time.count()) * 1'000'000;
}

} // namespace

BlfStream::BlfStream(InputFile& file)
    : file(file), buffer(blfBlockSize(file)), inflater(Inflater::Format::Zlib) {
    readHead();
}

void BlfStream::readHead() {
    constexpr std::uint32_t longestHead = 65536;
    if (!has(blf::leastFileHead)) {
        throw Error(file.path() + ": a BLF file whose head is cut off");
    }
    const std::uint8_t* const head = buffer.data();
    announced = blf::load<std::uint64_t>(head + 16);
    startTime = systemTime(head + 40);
    const auto length = blf::load<std::uint32_t>(head + 4);
    const bool isSane = length >= blf::leastFileHead && length <= longestHead;
    take(blf::leastFileHead);
    padding = isSane ? length - blf::leastFileHead : longestHead;
}

/// Whether there are `count` bytes, reading on if need be. REQUIRES: `count` is small
bool BlfStream::has(std::size_t count) {
    while (end - at < count) {
        std::copy(buffer.begin() + static_cast<std::ptrdiff_t>(at),
                  buffer.begin() + static_cast<std::ptrdiff_t>(end), buffer.begin());
        end -= at;
        at = 0;
        const std::size_t read = file.read(reinterpret_cast<char*>(buffer.data()) + end, buffer.size() - end);
        end += read;
        if (read == 0) {
            return false;
        }
    }
    return true;
}

void BlfStream::take(std::size_t count) {
    at += count;
    position += count;
}

void BlfStream::countDamage(std::uint64_t bytes) {
    if (isCut) {
        return; // what the cut leaves is no further damage
    }
    if (!std::exchange(isDamaged, true)) {
        damagedFrom = outermost;
    }
    damaged += bytes;
}

/// What follows does not go on with what was read.
void BlfStream::breakHere(std::uint64_t bytes) {
    countDamage(bytes);
    part = Part::Broken;
    padding = 0;
}

/// The file ends where more should come.
void BlfStream::endInside() {
    isCut = true;
    part = Part::End;
}

std::string BlfStream::damage() const {
    return isDamaged ? std::to_string(damaged) + " byte" + (damaged == 1 ? "" : "s") +
                           " damaged from the object at offset " + std::to_string(damagedFrom) + " on"
                     : std::string();
}

std::string BlfStream::cut() const {
    if (isCut) {
        return "the file ends at offset " + std::to_string(position) + ", inside the object at offset " +
               std::to_string(outermost);
    }
    return announced > position
               ? "the file ends at offset " + std::to_string(position) + " of " + std::to_string(announced)
               : std::string();
}

bool BlfStream::resume() {
    if (part == Part::Broken) {
        part = Part::Between;
    }
    return part != Part::End;
}

std::size_t BlfStream::read(std::uint8_t* to, std::size_t size) {
    std::size_t count = 0;
    while (count == 0 && part != Part::Broken && part != Part::End) {
        switch (part) {
        case Part::Plain:
            count = copy(to, size);
            break;
        case Part::Deflated:
            count = inflateTo(to, size);
            break;
        default:
            openNext();
        }
    }
    return count;
}

/// Goes to the next mark of an object. \return false if bytes had to be passed over, or at the end
bool BlfStream::findMark() {
    std::uint64_t passed = 0;
    while (has(blf::objectMark.size())) {
        const std::string_view bytes(reinterpret_cast<const char*>(buffer.data()) + at, end - at);
        const std::size_t mark = bytes.find(blf::objectMark);
        const std::size_t gap = mark != bytes.npos ? mark : bytes.size() - (blf::objectMark.size() - 1);
        take(gap);
        passed += gap;
        if (mark != bytes.npos) {
            if (passed > padding) {
                breakHere(passed);
            }
            return part == Part::Between;
        }
    }
    passed += end - at;
    take(end - at);
    if (passed > padding) {
        countDamage(passed);
    }
    part = Part::End;
    return false;
}

void BlfStream::openNext() {
    if (!findMark()) {
        return;
    }
    outermost = position;
    if (!has(blf::baseHeadLength)) {
        take(end - at);
        endInside();
        return;
    }
    const std::uint8_t* const head = buffer.data() + at;
    const auto headLength = blf::load<std::uint16_t>(head + 4);
    const auto length = blf::load<std::uint32_t>(head + 8);
    if (headLength < blf::baseHeadLength || length < headLength || length > maxLength) {
        take(blf::objectMark.size());
        breakHere(blf::objectMark.size());
    } else if (blf::load<std::uint32_t>(head + 12) == blf::Container) {
        openContainer(headLength, length);
    } else {
        part = Part::Plain; // its head is part of the stream
        left = length;
        padding = blfPadding;
    }
}

void BlfStream::openContainer(std::size_t headLength, std::uint32_t length) {
    const std::size_t dataAt = headLength + blf::containerHeadLength;
    if (!has(dataAt)) {
        take(end - at);
        endInside();
        return;
    }
    const auto method = blf::load<std::uint16_t>(buffer.data() + at + headLength);
    const bool isKnown = method == blf::methodPlain || method == blf::methodDeflate;
    if (length < dataAt || !isKnown) {
        take(blf::objectMark.size());
        breakHere(blf::objectMark.size());
        return;
    }
    take(dataAt);
    left = length - dataAt;
    padding = blfPadding;
    part = method == blf::methodPlain ? Part::Plain : Part::Deflated;
    if (part == Part::Deflated) {
        inflater.reset();
    }
}

/// \return 0 if the part is at its end, or the file
std::size_t BlfStream::copy(std::uint8_t* to, std::size_t size) {
    if (left == 0) {
        part = Part::Between;
        return 0;
    }
    if (!has(1)) {
        endInside();
        return 0;
    }
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>({size, end - at, left}));
    std::copy_n(buffer.begin() + static_cast<std::ptrdiff_t>(at), count, to);
    take(count);
    left -= count;
    return count;
}

/// The same.
std::size_t BlfStream::inflateTo(std::uint8_t* to, std::size_t size) {
    const auto offered = static_cast<std::size_t>(std::min<std::uint64_t>(end - at, left));
    const auto progress = inflater.inflate({buffer.data() + at, offered}, {to, size});
    take(progress.taken);
    left -= progress.taken;
    if (progress.status == Inflater::Status::End) {
        part = Part::Between;
        padding = left + blfPadding; // bytes that the container has more than its content are nothing to miss
    } else if (progress.status == Inflater::Status::Damaged || (progress.given == 0 && left == 0)) {
        breakHere(0); // the bytes up to the next mark are counted there
    } else if (progress.given == 0 && !has(1)) {
        endInside();
    }
    return progress.given;
}

} // namespace rksignal
