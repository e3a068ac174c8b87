// The second look-up under the key of the multiplexer's value.

#include "bus/CANTest.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

/// Reads what the test says, whatever was written.
class ScriptedRead : public CANSignal {
  public:
    using CANSignal::CANSignal;
    using CANSignal::read;
    bool read(unsigned long& raw, unsigned long& timestamp) override {
        raw = scriptedRaw;
        timestamp = 0;
        return scriptedValid;
    }
    unsigned long scriptedRaw = 0;
    bool scriptedValid = true;
};

} // namespace

class CANMultiplex : public CANTest {
  protected:
    static constexpr std::uint64_t keyOf(std::uint64_t raw) { return frameKey + (raw + 1) * multiplexerStep; }
};

TEST_F(CANMultiplex, DecodesTheBranchOfTheValueRightAfterTheMultiplexer) {
    const CANSignal before(classicSignal("Before", {24, 8}));
    const CANSignal selector(multiplexer(classicSignal("Selector")));
    CANSignal three(classicSignal("Three", {8, 8}));
    CANSignal four(classicSignal("Four", {8, 8}));
    CANSignal threeToo(classicSignal("ThreeToo", {16, 8}));
    const CANSignal after(classicSignal("After", {32, 8}));
    move(three, frameKey, frameKey + 0x40000000000);
    move(threeToo, frameKey, frameKey + 0x40000000000);
    move(four, frameKey, frameKey + 0x50000000000);
    EXPECT_THAT(decode(*frame({3, 4, 5, 6, 7})),
                ElementsAre(before.id, selector.id, three.id, threeToo.id, after.id));
    EXPECT_EQ(three.slot->raw, 4U);
    EXPECT_EQ(threeToo.slot->raw, 5U);
    EXPECT_EQ(four.slot->raw, unwritten);
    EXPECT_THAT(decode(*frame({4, 8, 9, 9, 9})), ElementsAre(before.id, selector.id, four.id, after.id));
    EXPECT_EQ(four.slot->raw, 8U);
    EXPECT_EQ(three.slot->raw, 4U);
    EXPECT_THAT(decode(*frame({5, 8})), ElementsAre(before.id, selector.id, after.id));
}

TEST_F(CANMultiplex, TermsOfSeveralMultiplexersAddUp) {
    const CANSignal first(multiplexer(classicSignal("First")));
    const CANSignal second(multiplexer(classicSignal("Second", {8, 8})));
    CANSignal both(classicSignal("Both", {16, 8}));
    CANSignal secondAlone(classicSignal("SecondAlone", {16, 8}));
    move(both, frameKey, frameKey + 0x40000000000 + 0x10000000000);
    move(secondAlone, frameKey, frameKey + 0x10000000000);
    EXPECT_THAT(decode(*frame({3, 0, 5})), ElementsAre(first.id, second.id, both.id));
    EXPECT_EQ(secondAlone.slot->raw, unwritten);
    EXPECT_THAT(decode(*frame({3, 0, 6})), ElementsAre(first.id, second.id, both.id)); // starts anew
    EXPECT_EQ(both.slot->raw, 6U);
}

TEST_F(CANMultiplex, TermIsAddedModulo64Bits) {
    const struct {
        const char* name;
        Field selector;
        std::uint64_t key;
    } rows[] = {
        {"Highest16Bits", {0, 16}, frameKey + 0x0100000000000000},
        {"Highest15BitsAbove1", {1, 15, false, true}, frameKey},
        {"MinusTwo", {24, 8, false, true}, frameKey - multiplexerStep},
        {"Bit24IsShiftedOut", {24, 25}, frameKey + 0x0500FF0000000000},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const CANSignal selector(multiplexer(classicSignal("Selector", row.selector)));
        CANSignal branch(classicSignal("Branch", {40, 8}));
        move(branch, frameKey, row.key);
        const auto message = frame({0xFF, 0xFF, 0xFF, 0xFE, 0, 5, 1});
        if (row.key != frameKey) {
            EXPECT_THAT(decode(*message), ElementsAre(selector.id, branch.id));
        } else { // minus one plus one: the frame's own signals are decoded once more in between
            EXPECT_THAT(decode(*message), ElementsAre(selector.id, selector.id, branch.id, branch.id));
            EXPECT_FALSE(branch.isModified());
        }
        EXPECT_EQ(branch.slot->raw, 5U);
    }
}

TEST_F(CANMultiplex, TheValueIsTheOneReadBack) {
    ScriptedRead selector(multiplexer(classicSignal("Selector")));
    CANSignal two(classicSignal("Two", {8, 8}));
    CANSignal seven(classicSignal("Seven", {8, 8}));
    move(two, frameKey, keyOf(2));
    move(seven, frameKey, keyOf(7));
    selector.scriptedRaw = 7;
    EXPECT_THAT(decode(*frame({2, 1})), ElementsAre(selector.id, seven.id));
    selector.scriptedValid = false;
    EXPECT_THAT(decode(*frame({2, 1})), ElementsAre(selector.id));
}

TEST_F(CANMultiplex, ASecondStageSelectorSelectsNothing) {
    const CANSignal selector(multiplexer(classicSignal("Selector")));
    CANSignal nested(multiplexer(classicSignal("Nested", {8, 8})));
    CANSignal leaf(classicSignal("Leaf", {16, 8}));
    move(nested, frameKey, keyOf(1));
    move(leaf, frameKey, keyOf(1) + 3 * multiplexerStep);
    EXPECT_THAT(decode(*frame({1, 2, 3})), ElementsAre(selector.id, nested.id));
    EXPECT_EQ(leaf.slot->raw, unwritten);
}

TEST_F(CANMultiplex, FdSecondStageIsWrittenUnreportedAndUnchecked) {
    const CANSignal selector(multiplexer(fdSignal("Selector")));
    canSignalDef_t classic = classicSignal("Classic", {8, 8});
    CANSignal inside(fdSignal("Inside", {8, 8}));
    CANSignal beyondLength(fdSignal("BeyondLength", {480, 32}));
    CANSignal acrossTheEnd(fdSignal("AcrossTheEnd", {496, 32}));
    CANSignal acrossTheEndBig(fdSignal("AcrossTheEndBig", {503, 32, true}));
    CANSignal beyondPayload(fdSignal("BeyondPayload", {2032, 16}));
    CANSignal inAPdu(fdSignal("InAPdu", {16, 8}, 0x777777)); // not looked for
    CANSignal reported(classic);
    for (CANSignal* const signal :
         {&inside, &beyondLength, &acrossTheEnd, &acrossTheEndBig, &beyondPayload, &inAPdu}) {
        move(*signal, fdFrameKey, fdFrameKey + 2 * multiplexerStep);
    }
    move(reported, frameKey, fdFrameKey + 2 * multiplexerStep);
    const auto message = fdFrame(counting(64, 1));
    message->length = 4;
    EXPECT_THAT(decode(*message), ElementsAre(selector.id, reported.id));
    const std::pair<CANSignal*, std::uint64_t> rows[] = {{&inside, 2},
                                                         {&beyondLength, 0x403F3E3D},
                                                         {&acrossTheEnd, 0x403F},
                                                         {&acrossTheEndBig, 0x3F400000},
                                                         {&beyondPayload, 0},
                                                         {&inAPdu, 3},
                                                         {&reported, 2}};
    for (const auto& [signal, raw] : rows) {
        EXPECT_EQ(signal->slot->raw, raw) << signal->def.instance;
        EXPECT_EQ(signal->slot->valid, 1) << signal->def.instance;
    }
}
