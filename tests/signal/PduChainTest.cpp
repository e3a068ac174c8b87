/// \file
/// Finding a PDU in a chain of headers.
#include "signal/PduChain.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

/// 64 bytes: PDU 1, whose data reach up to `at`, then `bytes`.
Bytes chain(std::size_t at, const Bytes& bytes) {
    Bytes payload(64);
    payload[2] = 1;
    payload[3] = static_cast<std::uint8_t>(at - 4);
    std::copy(bytes.begin(), bytes.end(), payload.begin() + static_cast<std::ptrdiff_t>(at));
    return payload;
}

TEST(PduChain, FindsTheDataOfAPdu) {
    const Bytes three = chain(6, {0x12, 0x34, 0x56, 0, 0xFF, 0xFF, 0xFF, 255});
    const struct {
        const char* name;
        Bytes payload;
        std::size_t length;
        std::uint32_t wanted;
        std::optional<std::size_t> offset;
    } rows[] = {
        {"first", three, 64, 0x000001, 4},
        {"after data, on the last received byte", three, 7, 0x123456, 10},
        {"starts past the received length", three, 6, 0x123456, {}},
        {"after an empty PDU", three, 64, 0xFFFFFF, 14},
        {"absent, data past the payload", three, 64, 0x000002, {}},
        {"low 24 bits of a longer identifier", three, 64, 0x1123456, {}},
        {"header in the last four bytes", chain(60, {0xAB, 0xCD, 0xEF, 9}), 64, 0xABCDEF, 64},
        {"header in the last three bytes", chain(61, {0xAB, 0xCD, 0xEF}), 64, 0xABCDEF, {}},
        {"no room for a header", Bytes(3), 3, 0, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(pdu::find(row.payload, row.length, row.wanted), row.offset);
    }
}

} // namespace
