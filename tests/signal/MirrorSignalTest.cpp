/// \file
/// Mirrors of private signals: a second object on another signal's slot.
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

namespace {

using MirrorSignal = SignalTest;

TEST_F(MirrorSignal, FieldsAfterConstruction) {
    SignalStorage storage;
    BaseSignal parent(fullDefinition("Parent"), false, &storage);
    parent.id = 44;
    parent.writeRaw(3, 1);
    parent.physical();
    const BaseSignal mirror(&parent);
    EXPECT_EQ(mirror.slot, &parent.privateSlot);
    EXPECT_FALSE(mirror.initSmData || mirror.shmem || mirror.modified);
    EXPECT_EQ(mirror.key, 0);
    EXPECT_EQ(mirror.shmId, -1);
    EXPECT_EQ(mirror.value, 0.0);
    EXPECT_EQ(mirror.id, 44U);
    EXPECT_EQ(mirror.storage, &storage);
    EXPECT_EQ(mirror.privateSlot.size | mirror.privateSlot.raw | mirror.privateSlot.timestamp, 0U);
    EXPECT_EQ(mirror.d_lsbBit | mirror.d_startByte | mirror.d_bytes | mirror.d_shift, 0);
    EXPECT_EQ(mirror.d_maksBits | mirror.d_signBit | mirror.d_rawMask, 0U);
    EXPECT_EQ(storage.instancesByName, (std::map<std::string, BaseSignal*>{{"Parent", &parent}}));
    EXPECT_EQ(testing::PrintToString(mirror.def), testing::PrintToString(parent.def));
    EXPECT_EQ(mirror.def.reference, 77U);
    EXPECT_EQ(mirror.def.multiplexer, 7);
    EXPECT_EQ(mirror.def.comment, "not shown");
}

TEST_F(MirrorSignal, SharesValueAndKeepsItsOwnModified) {
    BaseSignal parent(byteDefinition("S")), mirror(&parent);
    unsigned long raw = 0, timestamp = 0;
    parent.writeRaw(4, 10);
    EXPECT_TRUE(mirror.read(raw, timestamp));
    EXPECT_EQ(raw, 4U);
    EXPECT_EQ(timestamp, 10U);
    EXPECT_TRUE(parent.isModified() && !mirror.isModified());
    mirror.physical();
    EXPECT_EQ(parent.value, 0.0);

    mirror.writeRaw(~0UL, 11);
    mirror.writeTS(12);
    EXPECT_TRUE(parent.read(raw, timestamp));
    EXPECT_EQ(raw, ~0UL);
    EXPECT_EQ(timestamp, 12U);
    parent.writeRaw(~0UL, 13);
    EXPECT_TRUE(!parent.isModified() && mirror.isModified());
    mirror.clear();
    EXPECT_FALSE(parent.read(raw, timestamp));
    EXPECT_EQ(raw, 0U);
}

TEST_F(MirrorSignal, DestructionRemovesTheParentFromTheRegistry) {
    BaseSignal parent(byteDefinition("Parent"));
    parent.id = 44;
    BaseSignal::defSignalStorage.instancesById[44] = &parent;
    const CapturedOutput output;
    BaseSignal::debug = 1;
    { const BaseSignal mirror(&parent); }
    BaseSignal::debug = 0;
    EXPECT_EQ(output.out.text(), "[DEBUG] BaseSignal::BaseSignal() child Parent created \n"
                                 "[DEBUG] BaseSignal::BaseSignal() " +
                                     freshText("Parent") +
                                     "\n[DEBUG] BaseSignal::~BaseSignal() Parent deleted\n");
    EXPECT_EQ(BaseSignal::getInstance("Parent"), nullptr);
    EXPECT_EQ(BaseSignal::getInstance(44UL), nullptr);
    EXPECT_EQ(parent.slot->size, 104U);
}

TEST_F(MirrorSignal, WithoutParentStaysEmpty) {
    const BaseSignal bystander(byteDefinition(""));
    BaseSignal::debug = 1;
    {
        const CapturedOutput output;
        const BaseSignal orphan(static_cast<BaseSignal*>(nullptr));
        EXPECT_EQ(output.out.text() + output.err.text(), "[ERROR] BaseSignal::BaseSignal() no parent\n");
        EXPECT_EQ(orphan.slot, nullptr);
        EXPECT_EQ(orphan.storage, nullptr);
        EXPECT_EQ(orphan.shmId, -1);
        BaseSignal::debug = 0;
    }
    EXPECT_EQ(BaseSignal::getInstance(""), &bystander);
}

} // namespace
