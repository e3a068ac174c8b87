#include "rktrace/Crc32.h"

#include "rktrace/Crc32Folding.h"

#include <array>
#include <cstring>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint32_t initialState = ~std::uint32_t{0};

/// Multiplies a remainder, whose bits stand for powers of x from the most significant one on, by x.
constexpr std::uint32_t timesX(std::uint32_t remainder) {
    return remainder >> 1 ^ ((remainder & 1) != 0 ? 0xEDB88320 : 0);
}

/// The remainders of a byte with as many zero bytes behind it as the table's index says. They take sixteen
/// bytes at a time (slicing, after Kounavis and Berry, "A Systematic Approach to Building High Performance
/// Software-Based CRC Generators", 2005).
constexpr auto crcTables = [] {
    std::array<std::array<std::uint32_t, 256>, 16> tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = timesX(remainder);
        }
        tables[0][byte] = remainder;
    }
    for (std::size_t slice = 1; slice < tables.size(); ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[slice - 1][byte];
            tables[slice][byte] = before >> 8 ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}();

template <class Word>
Word load(const std::uint8_t* bytes) {
    Word word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// Of the bytes of a little-endian word with `zeros` zero bytes behind it.
template <class Word>
std::uint32_t remainder(Word word, std::size_t zeros) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < sizeof word; ++i) {
        sum ^= crcTables[zeros + sizeof word - 1 - i][word >> (8 * i) & 0xFF];
    }
    return sum;
}

/// The state behind `bytes`.
std::uint32_t advanced(std::uint32_t state, Bytes bytes) {
    if (bytes.size() >= 16 && canFoldCrc()) {
        return crcByFolding(state, bytes);
    }
    const std::uint8_t* at = bytes.data();
    const std::uint8_t* const end = at + bytes.size();
    for (; end - at >= 16; at += 16) {
        state = remainder(load<std::uint64_t>(at) ^ state, 8) ^ remainder(load<std::uint64_t>(at + 8), 0);
    }
    for (; end - at >= 4; at += 4) {
        state = remainder(load<std::uint32_t>(at) ^ state, 0);
    }
    for (; at != end; ++at) {
        state = state >> 8 ^ crcTables[0][(state ^ *at) & 0xFF];
    }
    return state;
}

constexpr std::uint32_t product(std::uint32_t left, std::uint32_t right) {
    std::uint32_t sum = 0;
    for (; left != 0; left <<= 1) {
        sum ^= (left & 0x80000000) != 0 ? right : 0;
        right = timesX(right);
    }
    return sum;
}

/// By what a number of blocks of zero bytes multiplies a state, for each hexadecimal digit of the number. The
/// longest range has five digits.
template <std::size_t blockLength>
constexpr auto zeroBlockFactors = [] {
    constexpr std::uint32_t one = 0x80000000;
    std::array<std::array<std::uint32_t, 16>, 8> factors{};
    std::uint32_t factor = one; // of the digit 1
    for (std::size_t bit = 0; bit < 8 * blockLength; ++bit) {
        factor = timesX(factor);
    }
    for (auto& ofPlace : factors) {
        std::uint32_t power = one;
        for (std::uint32_t& ofDigit : ofPlace) {
            ofDigit = power;
            power = product(power, factor);
        }
        factor = power;
    }
    return factors;
}();

/// The state behind `count` blocks of zero bytes.
template <std::size_t blockLength>
std::uint32_t behindZeroBlocks(std::uint32_t state, std::size_t count) {
    for (std::size_t place = 0; count != 0; ++place, count >>= 4) {
        state = product(zeroBlockFactors<blockLength>[place][count & 0xF], state);
    }
    return state;
}

} // namespace

std::uint32_t crc32(Bytes bytes) {
    return ~advanced(initialState, bytes);
}

void RangeChecksums::restart(std::uint64_t offset) {
    first = offset;
    states.assign(1, initialState);
}

/// Drops blocks that no range asks for any more.
void RangeChecksums::forgetBlocks(std::size_t count) {
    if (count > states.size() / 2) { // so that fewer are moved than dropped
        states.erase(states.begin(), states.begin() + static_cast<std::ptrdiff_t>(count));
        first += count * blockLength;
    }
}

std::uint32_t RangeChecksums::of(std::uint64_t offset, Bytes bytes) {
    forgetBlocks(static_cast<std::size_t>((offset - first) / blockLength));
    const auto behindFirst = static_cast<std::size_t>(offset - first);
    const std::size_t firstBlock = (behindFirst + blockLength - 1) / blockLength;
    const std::size_t front = firstBlock * blockLength - behindFirst;
    if (bytes.size() < front + blockLength) {
        return crc32(bytes);
    }
    const std::size_t blocks = (bytes.size() - front) / blockLength;
    while (states.size() <= firstBlock + blocks) {
        const std::size_t at = (states.size() - 1) * blockLength - behindFirst;
        states.push_back(advanced(states.back(), bytes.subspan(at, blockLength)));
    }
    const std::uint32_t difference = states[firstBlock] ^ advanced(initialState, bytes.first(front));
    const std::uint32_t state =
        states[firstBlock + blocks] ^ behindZeroBlocks<blockLength>(difference, blocks);
    return ~advanced(state, bytes.subspan(front + blocks * blockLength));
}
