/// \file
/// The arithmetic of bit fields against the bit-by-bit model, over every place and width.
#include "signal/BitField.h"

#include "signal/BitModel.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace bitfield;

// Worked by hand: bits 12 to 21, little endian; two whole bytes and one and a half from the middle, big
// endian.
static_assert(leastSignificantBit(12, 10, false) == 12 && leastSignificantBit(7, 16, true) == 8);
static_assert(leastSignificantBit(11, 12, true) == 16 && byteRange(11, 12, true) == ByteRange{1, 2});
static_assert(byteRange(100, 12, false) == ByteRange{12, 2} && byteRange(4, 64, false) == ByteRange{0, 9});
static_assert(maskInPayload(0x3FF, 1, 4, 2, false) == 0x3FF000 &&
              extract(0x3CA500, 12, 0x3FF, false) == 0x3CA);
static_assert(maskInPayload(0xFFFF, 1, 0, 2, true) == 0xFFFF && extract(0x3412, 8, 0xFFFF, true) == 0x1234);
static_assert(signExtended(0xFE, 0xFF, 0x80) == 0xFFFFFFFFFFFFFFFE && signExtended(0x7F, 0xFF, 0x80) == 0x7F);

TEST(BitField, EveryFieldAsTheModel) {
    forEveryField([](const BitModel& model) {
        const auto [startbit, bits, bigEndian, lsb, firstByte, lastByte] = model;
        SCOPED_TRACE(testing::Message() << startbit << "|" << bits << "@" << bigEndian);
        EXPECT_EQ(leastSignificantBit(startbit, bits, bigEndian), lsb);
        EXPECT_EQ(byteRange(startbit, bits, bigEndian).startByte, firstByte);
        EXPECT_EQ(byteRange(startbit, bits, bigEndian).numBytes, lastByte - firstByte + 1);
        EXPECT_EQ(ones(bits), model.ones());
        EXPECT_EQ(signBit(bits), model.sign());

        const int kept = lsb % 256;
        const int numBytes = (kept % 8 + bits + 7) / 8;
        EXPECT_EQ(maskInPayload(ones(bits), kept / 8, kept % 8, numBytes, bigEndian), model.inPlace());
        // Bits from the least significant one to the end of the word, in the direction of the byte order.
        const int room = kept > 63 ? 0 : bigEndian ? kept / 8 * 8 + 8 - kept % 8 : 64 - kept;
        const auto direct = wordField(kept, bits, bigEndian);
        EXPECT_EQ(direct.has_value(), bits <= room);
        for (const std::uint64_t payload : payloads) {
            const std::uint64_t value = extract(payload, kept, ones(bits), bigEndian);
            EXPECT_EQ(value, model.extracted(payload, false));
            EXPECT_EQ(signExtended(value, ones(bits), signBit(bits)), model.extracted(payload, true));
            if (direct) {
                const std::uint64_t word = bigEndian ? __builtin_bswap64(payload) : payload;
                EXPECT_EQ((*direct)(word, false), model.extracted(payload, false));
                EXPECT_EQ((*direct)(word, true), model.extracted(payload, true));
            }
        }
        return !testing::Test::HasFailure();
    });
}

TEST(BitField, EmptyFields) {
    EXPECT_EQ(byteRange(0, 0, false), (ByteRange{0, 1}));
    EXPECT_EQ(byteRange(7, 0, true), (ByteRange{0, 2}));
    EXPECT_EQ(byteRange(16, 0, false), (ByteRange{2, 0}));
    EXPECT_EQ(ones(0), 0U);
    EXPECT_EQ(signBit(0), 0x8000000000000000U);
    EXPECT_FALSE(wordField(8, 0, false) || wordField(8, 0, true));
}

} // namespace
