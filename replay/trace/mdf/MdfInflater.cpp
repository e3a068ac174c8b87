#include "trace/mdf/MdfInflater.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t inputSize = 32768;
constexpr std::size_t squareSide = 8;

/// Makes columns of 8 by 8 bytes rows: halves of the square change places, then those of its quarters, then
/// neighbours. The distances are those from one column to the next and from one row to the next.
void transpose(const std::uint8_t* from, std::size_t fromDistance, std::uint8_t* to, std::size_t toDistance) {
    std::array<std::uint64_t, squareSide> words{};
    for (std::size_t i = 0; i < squareSide; ++i) {
        std::memcpy(&words[i], from + i * fromDistance, squareSide);
    }
    const auto exchange = [&words](std::size_t distance, std::uint64_t mask) {
        for (std::size_t i = 0; i < squareSide; ++i) {
            if ((i & distance) == 0) {
                const std::uint64_t change = (words[i] >> (8 * distance) ^ words[i + distance]) & mask;
                words[i] ^= change << (8 * distance);
                words[i + distance] ^= change;
            }
        }
    };
    exchange(4, 0x00000000FFFFFFFF);
    exchange(2, 0x0000FFFF0000FFFF);
    exchange(1, 0x00FF00FF00FF00FF);
    for (std::size_t i = 0; i < squareSide; ++i) {
        std::memcpy(to + i * toDistance, &words[i], squareSide);
    }
}

} // namespace

MdfInflater::MdfInflater(MdfFile& file) : file(file), inflater(Inflater::Format::Zlib), input(inputSize) {}

bool MdfInflater::fail(const std::string& why) {
    reason = "compressed block at offset " + std::to_string(address) + ": " + why;
    left = 0;
    return false;
}

/// Type of the original block, kind of compression, length of a row, length of the original data, that of the
/// compressed data, which follow.
bool MdfInflater::open(const MdfBlock& block) {
    constexpr std::uint64_t dataAt = 24;
    address = block.address();
    next = block.dataStart() + dataAt;
    stored = std::min(block.data<std::uint64_t>(16), block.end() - std::min(block.end(), next));
    left = block.data<std::uint64_t>(8);
    columns = taken = 0;
    whole.clear();
    reason.clear();
    inflater.reset();
    compressed = {};
    const auto kind = block.data<std::uint8_t>(2);
    if (kind > 1) {
        return fail("compression of kind " + std::to_string(kind) + " is not supported");
    }
    columns = kind == 1 ? block.data<std::uint32_t>(4) : 0;
    return columns <= 1 || inflateAll();
}

std::size_t MdfInflater::read(std::uint8_t* to, std::size_t size) {
    return columns > 1 ? gather(to, size) : inflateTo(to, size);
}

/// \return whether there are compressed bytes
bool MdfInflater::refill() {
    const std::size_t count = file.read(next, input.data(), std::min<std::uint64_t>(input.size(), stored));
    next += count;
    stored -= count;
    compressed = {input.data(), count};
    return count > 0 || fail("the data end too early");
}

std::size_t MdfInflater::inflateTo(std::uint8_t* to, std::size_t size) {
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, left));
    std::size_t given = 0;
    while (given == 0 && wanted > 0) {
        const auto progress = inflater.inflate(compressed, {to, wanted});
        compressed = compressed.subspan(progress.taken);
        given = progress.given;
        left -= given;
        if (progress.status == Inflater::Status::Damaged) {
            fail(std::string("the data cannot be inflated: ") + inflater.damage());
            break;
        }
        if (given == 0 && (progress.status == Inflater::Status::End || !refill())) {
            fail("the data end too early");
            break;
        }
    }
    return given;
}

/// Grows with what is there, whatever the block says.
bool MdfInflater::inflateAll() {
    constexpr std::size_t step = 65536;
    file.release(std::exchange(reserved, 0));
    if (left > maxTransposed || !file.reserve(left)) {
        return fail("transposed data of more than 64 MiB, or of 128 MiB in blocks that are read together");
    }
    reserved = left;
    const std::uint64_t total = left;
    while (left > 0) {
        const std::size_t used = whole.size();
        whole.resize(used + std::min<std::uint64_t>(std::max(step, used / 2), left));
        std::size_t count = used;
        while (count < whole.size()) {
            const std::size_t part = inflateTo(whole.data() + count, whole.size() - count);
            if (part == 0) {
                whole.clear();
                return false; // without its end no row is whole
            }
            count += part;
        }
    }
    left = total;
    return true;
}

/// The rows, whose first bytes lie together, behind them all second bytes, and so on. What fills no row comes
/// last, as it is.
std::size_t MdfInflater::gather(std::uint8_t* to, std::size_t size) {
    const std::uint64_t inRows = whole.size() - whole.size() % columns;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(size, left));
    std::size_t done = 0;
    while (done < count) {
        const std::size_t wanted = count - done;
        if (taken < inRows) {
            const bool isWhole = taken % columns == 0 && wanted >= columns;
            done += isWhole ? gatherRows(to + done, wanted / columns) : gatherRow(to + done, wanted);
        } else {
            std::copy_n(whole.begin() + static_cast<std::ptrdiff_t>(taken), wanted, to + done);
            taken += wanted;
            done = count;
        }
    }
    left -= count;
    return count;
}

/// Part of a row. \return its number of bytes
std::size_t MdfInflater::gatherRow(std::uint8_t* to, std::size_t size) {
    const std::size_t rows = whole.size() / columns;
    const std::size_t row = taken / columns;
    const std::size_t first = taken % columns;
    const std::size_t count = std::min(size, columns - first);
    for (std::size_t i = 0; i < count; ++i) {
        to[i] = whole[(first + i) * rows + row];
    }
    taken += count;
    return count;
}

/// At most so many rows, as many as the first-level cache holds. \return their number of bytes
std::size_t MdfInflater::gatherRows(std::uint8_t* to, std::size_t most) {
    constexpr std::size_t together = 64;
    const std::size_t rows = whole.size() / columns;
    const std::size_t row = taken / columns;
    const std::size_t count = std::min({most, rows - row, together});
    for (std::size_t column = 0; column < columns;) {
        const std::uint8_t* const from = whole.data() + column * rows + row;
        const std::size_t squares = columns - column < squareSide ? 0 : count / squareSide;
        for (std::size_t i = 0; i < squares; ++i) {
            transpose(from + i * squareSide, rows, to + i * squareSide * columns + column, columns);
        }
        const std::size_t width = columns - column < squareSide ? 1 : squareSide;
        for (std::size_t i = squares * squareSide; i < count; ++i) {
            for (std::size_t k = 0; k < width; ++k) {
                to[i * columns + column + k] = from[k * rows + i];
            }
        }
        column += width;
    }
    taken += count * columns;
    return count * columns;
}

} // namespace rksignal
