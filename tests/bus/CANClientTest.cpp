/// \file
/// Clients' own classes of CAN signals: their virtual operations are those that are called.
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
    std::string codes; // what classic signals are told as the length
    for (const unsigned length : {0U, 9U, 12U, 13U, 24U, 25U, 32U, 33U, 48U, 49U, 64U, 255U}) {
        message->length = static_cast<std::uint8_t>(length);
        NotingSignal::takeCalls();
        decode(*message);
        const std::string calls = NotingSignal::takeCalls();
        codes += calls.substr(6, calls.find(" bytes") - 5);
    }
    EXPECT_EQ(codes, "0 9 9 10 12 13 13 14 14 15 15 15 ");
}

} // namespace
