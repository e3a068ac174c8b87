// Decoding of classic frames, of CAN FD byte ranges and of PDUs, by worked examples.

#include "bus/CANTest.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Keeps the lengths that it is told of; for the rest a CAN signal.
class LengthProbe : public CANSignal {
  public:
    using CANSignal::CANSignal;
    using CANSignal::write;
    bool write(const unsigned char* data, unsigned long length, unsigned long timestamp) override {
        lengths.push_back(length);
        return CANSignal::write(data, length, timestamp);
    }
    std::vector<unsigned long> lengths;
};

/// A chain of PDUs: identifier, then data.
struct Pdu {
    std::uint32_t id;
    std::vector<std::uint8_t> data;
};

std::vector<std::uint8_t> chainOf(const std::vector<Pdu>& pdus) {
    std::vector<std::uint8_t> bytes;
    for (const Pdu& pdu : pdus) {
        for (const int shift : {16, 8, 0}) {
            bytes.push_back(static_cast<std::uint8_t>(pdu.id >> shift));
        }
        bytes.push_back(static_cast<std::uint8_t>(pdu.data.size()));
        bytes.insert(bytes.end(), pdu.data.begin(), pdu.data.end());
    }
    return bytes;
}

} // namespace

class CANDecode : public CANTest {};

TEST_F(CANDecode, EmptiesTheIdentifiersWhateverHappens) {
    const auto message = frame({1});
    EXPECT_THAT(decode(*message), IsEmpty()); // no signals at all
    const CANSignal signal(classicSignal("S"));
    message->canId = 0x124;
    EXPECT_THAT(decode(*message), IsEmpty()); // none in this frame
    CANSignal::canContainer[frameKey + 1];
    EXPECT_THAT(decode(*message), IsEmpty()); // an entry without signals
    EXPECT_EQ(SignalState::of(signal), SignalState());

    message->canId = 0x123;
    Ids ids(100);
    EXPECT_TRUE(CANSignal::decodeMessage(*message, ids, 0, nullptr));
    EXPECT_THAT(ids, ElementsAre(signal.id));
    EXPECT_GE(ids.capacity(), 100U);
}

TEST_F(CANDecode, WritesAllSignalsInConstructionOrder) {
    const CANSignal signals[] = {
        CANSignal(classicSignal("Z", {12, 10})), CANSignal(classicSignal("A", {7, 16, true})),
        CANSignal(classicSignal("M", {56, 8, false, true})), CANSignal(classicSignal("W", {24, 32}))};
    const auto message =
        frame({0x12, 0xA5, 0x3C, 0xAA, 0xAA, 0xAA, 0xAA, 0xFE}, 0, 0x123, 0x0123456789ABCDEF);
    EXPECT_THAT(decode(*message), ElementsAre(firstId, firstId + 1, firstId + 2, firstId + 3));
    const std::uint64_t raws[] = {0x3CA, 0x12A5, 0xFFFFFFFFFFFFFFFE, 0xAAAAAAAA};
    for (std::size_t i = 0; i < 4; ++i) { // the last one reads what its slot held before
        EXPECT_EQ(SignalState::of(signals[i]), (SignalState{raws[i], message->timestamp, true, i != 3}));
    }
    message->timestamp = 7;
    message->payload[7] = 0x7F;
    EXPECT_EQ(decode(*message).size(), 4U);
    EXPECT_EQ(SignalState::of(signals[0]), (SignalState{0x3CA, 7, true, false}));
    EXPECT_EQ(SignalState::of(signals[2]), (SignalState{0x7F, 7, true, true}));
}

TEST_F(CANDecode, ClassicSignalsAreToldTheLengthCode) {
    LengthProbe probe(classicSignal("Probe", {0, 64}));
    const CANSignal plain(classicSignal("Plain", {0, 64}));
    const auto message = frame(counting(64, 1));
    const std::pair<int, unsigned long> codes[] = {{0, 0},   {1, 1},   {7, 7},   {8, 8},   {9, 9},   {12, 9},
                                                   {13, 10}, {16, 10}, {17, 11}, {20, 11}, {21, 12}, {24, 12},
                                                   {25, 13}, {32, 13}, {33, 14}, {48, 14}, {49, 15}, {64, 15},
                                                   {65, 15}, {96, 15}, {255, 15}};
    for (const auto& [length, code] : codes) {
        message->length = static_cast<std::uint8_t>(length);
        EXPECT_EQ(decode(*message).size(), 2U);
        EXPECT_EQ(probe.lengths.back(), code) << length;
        const std::uint64_t seen = length >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * length)) - 1;
        EXPECT_EQ(plain.slot->raw, 0x0807060504030201 & seen) << length;
    }
}

TEST_F(CANDecode, ClassicSignalPlacedInAnFdFrameSeesItsFirstEightBytes) {
    LengthProbe probe(classicSignal("Probe", {48, 24}));
    canSignalDef_t def = classicSignal("InAPdu");
    def.pduId = 0x777777; // of no meaning for a classic signal
    CANSignal inAPdu(def);
    CANSignal::canContainer[fdFrameKey] = {&probe, &inAPdu};
    EXPECT_THAT(decode(*fdFrame(counting(20, 1))), ElementsAre(probe.id, inAPdu.id));
    EXPECT_THAT(probe.lengths, ElementsAre(11));
    EXPECT_EQ(probe.slot->raw, 0x0807U);
    EXPECT_EQ(inAPdu.slot->raw, 1U);
}

TEST_F(CANDecode, FdSignalsNeedTheirPduAndTheirWholeByteRange) {
    const std::vector<std::uint8_t> bytes = counting(64);
    const std::vector<std::uint8_t> two = chainOf({{0x10, counting(8, 0x80)}, {0x20, counting(4, 0x90)}});
    const struct {
        const char* name;
        std::vector<std::uint8_t> bytes;
        int length;
        std::optional<std::uint32_t> pduId;
        Field field;
        std::optional<std::uint64_t> raw;
    } rows[] = {
        {"LastBytes", bytes, 64, {}, {480, 32}, 0x3F3E3D3C},
        {"LastBytesNotReceived", bytes, 62, {}, {480, 32}, {}},
        {"ExactEnd", bytes, 4, {}, {16, 16}, 0x0302},
        {"PastTheEnd", bytes, 3, {}, {16, 16}, {}},
        {"EightBytes", bytes, 24, {}, {128, 64}, 0x1716151413121110},
        {"BigEndian", bytes, 64, {}, {487, 32, true}, 0x3C3D3E3F},
        {"Signed", bytes, 64, {}, {508, 2, false, true}, 0xFFFFFFFFFFFFFFFF},
        {"NoBits", bytes, 1, {}, {0, 0}, 0},
        {"NoBitsBehindThePayload", bytes, 64, {}, {512, 0}, 0},
        {"PastThePayload", bytes, 64, {}, {512, 8}, {}},
        {"LengthAbove64", bytes, 255, {}, {480, 32}, 0x3F3E3D3C},
        {"LengthAbove64PastThePayload", bytes, 255, {}, {496, 32}, {}},
        {"EndsAtByte256", bytes, 255, {}, {2040, 8}, {}},
        {"StartByteKeptInEightBits", bytes, 64, {}, {2056, 8}, 1},
        {"FirstPdu", two, 20, 0x10, {8, 8}, 0x81},
        {"SecondPdu", two, 20, 0x20, {8, 8}, 0x91},
        {"SecondPduBigEndian", two, 20, 0x20, {7, 32, true}, 0x90919293},
        {"PduPastTheFrame", two, 20, 0x20, {32, 8}, {}},
        {"PduNotReceivedWhole", two, 19, 0x20, {24, 8}, {}},
        {"PastThePduIntoTheNext", two, 20, 0x10, {88, 8}, 4},
        {"PduAbsent", two, 20, 0x30, {0, 8}, {}},
        {"PduIdOfMoreThan24Bits", two, 20, 0x1000010, {0, 8}, {}},
        {"EveryBitOfThePduIdCounts", two, 20, 0x800010, {0, 8}, {}},
        {"PduOfNoBytes", chainOf({{1, {}}, {2, {}}, {0x20, {7}}}), 13, 0x20, {0, 8}, 7},
        {"FirstOfTwoEqualPdus", chainOf({{5, {1}}, {5, {2}}}), 10, 5, {0, 8}, 1},
        {"PaddingIsPduZero", chainOf({{1, {1}}}), 64, 0, {0, 8}, 0},
        {"PaddingNotReceived", chainOf({{1, {1}}}), 5, 0, {0, 8}, {}},
        {"PduLengthBeyondThePayload", {0, 0, 1, 255}, 64, 2, {0, 8}, {}},
        {"PduInAFrameOfLengthAbove64", two, 255, 0x20, {8, 8}, 0x91},
        {"HighestPduId", chainOf({{0xFFFFFF, {3}}}), 5, 0xFFFFFF, {0, 8}, 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        LengthProbe signal(fdSignal("S", row.field, row.pduId));
        const auto message = fdFrame(row.bytes);
        message->length = static_cast<std::uint8_t>(row.length);
        EXPECT_EQ(decode(*message), row.raw ? Ids{signal.id} : Ids{});
        EXPECT_EQ(signal.slot->raw, row.raw.value_or(unwritten));
        EXPECT_EQ(signal.slot->valid, row.raw ? 1 : 0);
        EXPECT_EQ(signal.lengths, row.raw ? Ids{signal.definition.numBytes} : Ids{});
    }
}
