/// \file
/// Decoding of classic frames, CAN FD byte ranges, PDUs and multiplexers by worked examples, and client
/// classes.
#include "bus/CANTest.h"

namespace {

/// A client's class that notes how its operations are called, and does what `CANSignal` does.
class NotingSignal : public CANSignal {
  public:
    using CANSignal::CANSignal;
    using CANSignal::read;
    using CANSignal::write;
    bool write(const unsigned char* data, unsigned long length, unsigned long timestamp) override {
        calls << "write " << length << " bytes, ";
        return CANSignal::write(data, length, timestamp);
    }
    bool write(unsigned long payload, unsigned long timestamp) override {
        calls << std::hex << payload << std::dec << "; ";
        return CANSignal::write(payload, timestamp);
    }
    bool read(unsigned long& raw, unsigned long& timestamp) override {
        calls << "read " << def.instance << "; ";
        return CANSignal::read(raw, timestamp) && raw++ != 0xFF;
    }
    void clear() override { calls << "clear " << def.instance << "; "; }

    static std::string takeCalls() { return std::exchange(calls, {}).str(); }

  private:
    inline static std::ostringstream calls;
};

TEST_F(CANTest, OperationsOnAllSignalsAreVirtualAndGoInByteWiseNameOrder) {
    NotingSignal lower(classicSignal("b")), upper(classicSignal("B")), accent(classicSignal("é")),
        never(classicSignal("never"));
    BaseSignal::clearAll();
    EXPECT_EQ(NotingSignal::takeCalls(), "clear B; clear b; clear never; clear é; ");
    BaseSignal::clear({upper.id, lower.id, 7, upper.id});
    EXPECT_EQ(NotingSignal::takeCalls(), "clear B; clear b; clear B; ");
    lower.writeRaw(1, 5);
    upper.writeRaw(1, 3);
    accent.writeRaw(1, 4);
    Ids late{99};
    EXPECT_FALSE(BaseSignal::checkTimeout(5, late));
    EXPECT_THAT(late, ElementsAre(upper.id, accent.id));
    EXPECT_EQ(NotingSignal::takeCalls(), "read B; read b; read never; read é; ");
    EXPECT_TRUE(BaseSignalCompare()(&upper, &lower) && !BaseSignalCompare()(&lower, &lower));
}

TEST_F(CANTest, ClientClassesAreReachedThroughTheirVirtualOperations) {
    NotingSignal selector(classicSignal("Selector", {}, 1)); // reads one more than was written
    CANSignal plain(classicSignal("Plain", {12, 10})), branch(classicSignal("Branch", {31, 16, true, true}));
    NotingSignal acrossTheEnd(fdSignal("AcrossTheEnd", {504, 16}));
    CANSignal::canContainer[frameKey] = {&selector, &plain};
    CANSignal::canContainer[frameKey + 0x50000000000] = {&branch, &acrossTheEnd};
    const auto message = frame({3, 1, 2, 0x83, 4, 5, 6, 7});
    message->payload[63] = 0x3F;
    EXPECT_THAT(decode(*message), ElementsAre(selector.id, branch.id, plain.id));
    EXPECT_EQ(NotingSignal::takeCalls(),
              "write 8 bytes, 706050483020103; read Selector; write 2 bytes, 3f; ");
    EXPECT_EQ(plain.slot->raw, 0x020U);
    EXPECT_EQ(branch.slot->raw, 0xFFFFFFFFFFFF8304U);
    message->payload[0] = 0xFF; // read as invalid
    EXPECT_THAT(decode(*message), ElementsAre(selector.id, plain.id));
    // Classic signals are told the data length code.
    for (const auto& [length, code] : {std::pair(0, 0),
                                       {9, 9},
                                       {12, 9},
                                       {13, 10},
                                       {24, 12},
                                       {25, 13},
                                       {32, 13},
                                       {33, 14},
                                       {48, 14},
                                       {49, 15},
                                       {64, 15},
                                       {255, 15}}) {
        NotingSignal::takeCalls();
        message->length = static_cast<std::uint8_t>(length);
        decode(*message);
        EXPECT_THAT(NotingSignal::takeCalls(),
                    testing::StartsWith("write " + std::to_string(code) + " bytes, "));
    }
}

TEST_F(CANTest, FdSignalsNeedTheirPduAndTheirWholeByteRange) {
    constexpr std::uint64_t unwritten = 0xAAAAAAAA;
    const std::pair<canSignalDef_t, std::uint64_t> rows[] = {
        {fdSignal("whole range", {71, 24, true}), 0x030190},
        {fdSignal("range not received", {72, 24}), unwritten},
        {fdSignal("no bits behind the payload", {88, 0}), 0},
        {fdSignal("start byte kept in 8 bits", {2072, 8}), 2},
        {fdSignal("first PDU", {7, 16, true}, 0x10), 0x8081},
        {fdSignal("second PDU", {}, 0x010203), 0x90},
        {fdSignal("second PDU not received whole", {8, 8}, 0x010203), unwritten},
        {fdSignal("past the PDU into the next", {48, 8}, 0x10), 0x90},
        {fdSignal("absent PDU", {}, 0x30), unwritten},
        {fdSignal("low 24 bits of a longer identifier", {}, 0x1010203), unwritten},
    };
    for (const auto& [def, raw] : rows) {
        const CANSignal signal(def);
        const Ids ids = decode(*frame({0, 0, 0x10, 2, 0x80, 0x81, 1, 2, 3, 1, 0x90}, 2));
        EXPECT_EQ(signal.slot->raw, raw) << def.instance;
        EXPECT_EQ(ids.empty(), raw == unwritten) << def.instance;
    }
}

} // namespace
