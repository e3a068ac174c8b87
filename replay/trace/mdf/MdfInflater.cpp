#include "trace/mdf/MdfInflater.h"

#include <algorithm>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t inputSize = 32768;

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
    const std::uint64_t rows = whole.size() / columns;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(size, left));
    std::uint64_t row = taken / columns;
    std::uint64_t column = taken % columns;
    for (std::size_t i = 0; i < count; ++i) {
        to[i] = row < rows ? whole[column * rows + row] : whole[row * columns + column];
        if (++column == columns) {
            column = 0;
            ++row;
        }
    }
    taken += count;
    left -= count;
    return count;
}

} // namespace rksignal
