// After Gopal, Ozturk et al., "Fast CRC Computation for Generic Polynomials Using PCLMULQDQ Instruction",
// Intel 2009. What has been read is kept as 16 bytes with the same remainder: a number of degree below 128.
// The next 16 bytes multiply it by x^128, which is done for its two halves with the remainders of x^192 and
// x^128, and are added. Bits stand in reflected order, so that the product of two numbers is one bit too low:
// constants are shifted up by one. A number that is multiplied by a remainder of 32 bits grows by so many
// only; therefore the exponents are 32 lower.

#include "rktrace/Crc32Folding.h"

#if defined(__x86_64__)

#include <cstdlib>
#include <cstring>
#include <immintrin.h>

namespace {

constexpr std::uint64_t polynomial = 0x1DB710641; // reflected, 33 bits

/// The remainder of x to the power of `exponent`, as a factor.
constexpr std::uint64_t factor(int exponent) {
    std::uint64_t power = 0x80000000; // x^0
    for (int i = 0; i < exponent; ++i) {
        power = power >> 1 ^ ((power & 1) != 0 ? polynomial >> 1 : 0);
    }
    return power << 1;
}

/// The quotient of x^64 by the polynomial, digit by digit.
constexpr std::uint64_t quotient() {
    std::uint64_t rest = 1;
    std::uint64_t digits = 0;
    for (int bit = 0; bit <= 32; ++bit) {
        if ((rest >> bit & 1) != 0) {
            digits |= std::uint64_t{1} << bit;
            rest ^= polynomial << bit;
        }
    }
    return digits;
}

/// For a shuffle: bytes at `shift + r` on move the first r bytes of 16 to the end, with zeros before them.
alignas(16) constexpr std::uint8_t shift[32] = {
    0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
    0,    1,    2,    3,    4,    5,    6,    7,    8,    9,    10,   11,   12,   13,   14,   15};

__attribute__((target("pclmul,ssse3"))) inline __m128i load(const std::uint8_t* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

__attribute__((target("pclmul,ssse3"))) inline __m128i constants(std::uint64_t low, std::uint64_t high) {
    return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
}

bool isPlainWanted() {
    const char* const value = std::getenv("RKSIGNAL_PLAIN");
    return value != nullptr && std::strcmp(value, "1") == 0;
}

} // namespace

bool canFoldCrc() {
    static const bool isOpen =
        __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("ssse3") && !isPlainWanted();
    return isOpen;
}

/// Zeros before the bytes change nothing: so the first block gets as many that only whole blocks follow. The
/// state is added to the first four bytes, which may reach into the second block.
__attribute__((target("pclmul,ssse3"))) std::uint32_t crcByFolding(std::uint32_t state,
                                                                   std::span<const std::uint8_t> bytes) {
    constexpr std::size_t block = 16;
    const std::uint8_t* at = bytes.data();
    const std::uint8_t* const end = at + bytes.size();
    const __m128i byBlock = constants(factor(128 + 32), factor(128 - 32));
    const auto folded = [&byBlock](__m128i sum) __attribute__((target("pclmul,ssse3"))) {
        return _mm_xor_si128(_mm_clmulepi64_si128(sum, byBlock, 0x00),
                             _mm_clmulepi64_si128(sum, byBlock, 0x11));
    };
    __m128i sum = _mm_xor_si128(load(at), _mm_cvtsi64_si128(state));
    if (const std::size_t first = bytes.size() % block; first != 0) {
        const auto stateLeft = static_cast<std::int64_t>(first < 4 ? state >> (8 * first) : 0);
        sum = folded(_mm_shuffle_epi8(sum, load(shift + first)));
        sum = _mm_xor_si128(sum, _mm_xor_si128(load(at + first), _mm_cvtsi64_si128(stateLeft)));
        at += first;
    }
    for (at += block; at != end; at += block) {
        sum = _mm_xor_si128(folded(sum), load(at));
    }
    // To 96 bits, to 64, and, after Barrett, to the remainder of 32.
    const __m128i low32 = _mm_set_epi32(0, 0, 0, -1);
    sum = _mm_xor_si128(_mm_clmulepi64_si128(sum, byBlock, 0x10), _mm_srli_si128(sum, 8));
    sum = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(sum, low32), constants(factor(64), 0), 0x00),
                        _mm_srli_si128(sum, 4));
    const __m128i barrett = constants(polynomial, quotient());
    const __m128i times = _mm_clmulepi64_si128(_mm_and_si128(sum, low32), barrett, 0x10);
    sum = _mm_xor_si128(sum, _mm_clmulepi64_si128(_mm_and_si128(times, low32), barrett, 0x00));
    return static_cast<std::uint32_t>(_mm_cvtsi128_si64(sum) >> 32);
}

#else

bool canFoldCrc() {
    return false;
}

std::uint32_t crcByFolding(std::uint32_t state, std::span<const std::uint8_t> /*bytes*/) {
    return state;
}

#endif
