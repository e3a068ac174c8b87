/// \file
/// What the classes of bus signals do alike: an identifier that is taken, and a registry that has lost a
/// signal.
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

namespace {

using Registry = SignalTest;

/// Builds a signal of a taken identifier, which is refused, and destroys it: once as it is, once after the
/// storage has lost it. \return what is said
template <class Signal, class Definition>
std::string linesOfClash(const auto& frames, auto& filed) {
    CapturedOutput output;
    auto definition = byteDefinition<Definition>("first");
    if constexpr (requires { definition.positions; })
        definition.positions.resize(1);
    BaseSignal::instanceCounter = 0;
    Signal first(definition);
    definition.instance = "second";
    for (const bool isLost : {false, true}) {
        EXPECT_EQ(filed.size(), 1U) << "what was entered of the refused signal is gone with it";
        output.take();
        BaseSignal::instanceCounter = 0;
        Signal second(definition);
        EXPECT_EQ(second.id, ~std::uint64_t{0});
        EXPECT_EQ(BaseSignal::getInstance(first.id), &first);
        for (const auto& [key, signals] : frames)
            EXPECT_EQ(signals, std::vector{&first});
        if (isLost) {
            filed.at(first.id).pop_back();
            second.id = first.id;
        }
    }
    BaseSignal::defSignalStorage.instancesById[first.id] = &first;
    return output.take();
}

TEST_F(Registry, TakenIdentifiersAndLostSignalsAreReported) {
    SignalStorage& storage = BaseSignal::defSignalStorage;
    const auto onCan = linesOfClash<CANSignal, canSignalDef_t>(CANSignal::canContainer, storage.canSignals);
    EXPECT_EQ(onCan, "[ERROR] CANSignal::CANSignal() gpId 0x8000000000000000 already exists"
                     "[ERROR] CANSignal::~CANSignal() second instance not found in vector\n");
    const auto onLin = linesOfClash<LINSignal, linSignalDef_t>(LINSignal::linContainer, storage.linSignals);
    EXPECT_EQ(onLin, "[ERROR] LINSignal::LINSignal() gpId 0x4000000000000000 already exists\n"
                     "[ERROR] LINSignal::~LINSignal() secondinstance not found in vector\n");
    const auto onFlexRay =
        linesOfClash<FlexRaySignal, flexRaySignalDef_t>(FlexRaySignal::flexrayFrames, storage.flexRaySignals);
    EXPECT_EQ(onFlexRay, "[ERROR] FlexRaySignal::FlexRaySignal() gpId 0x2000000000000000 already exists\n"
                         "[ERROR] FlexRaySignal::~FlexRaySignal() second instance not found in vector\n");
    const auto onEthernet = linesOfClash<EthernetSignal, ethernetSignalDef_t>(EthernetSignal::ethernetFrames,
                                                                              storage.ethernetSignals);
    EXPECT_EQ(onEthernet, "[ERROR] EthernetSignal::EthernetSignal() gpId 0x1000000000000000 already exists\n"
                          "[ERROR] EthernetSignal::~EthernetSignal() second instance not found in vector\n");
    EXPECT_FALSE(EthernetSignal::channelsInUse[0]) << "the last signal is gone";
}

} // namespace
