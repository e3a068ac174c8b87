/// \file
/// What the classes of bus signals do alike: an identifier that is taken, and a registry that has lost a
/// signal.
#include "bus/CANSignal.h"
#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
#include "input/DigitalSignal.h"
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

namespace {

using Registry = SignalTest;

/// Builds two signals of one identifier, has the second, which was refused, look like one that is not where
/// it was filed, and returns what is said.
template <class Signal, class Definition>
std::string linesOfClash(Definition definition, IdTable<std::vector<Signal*>>& filed, const auto& frames) {
    CapturedOutput output;
    static_cast<baseSignalDef_t&>(definition) = byteDefinition("first");
    BaseSignal::instanceCounter = 0;
    Signal first(definition);
    definition.instance = "second";
    BaseSignal::instanceCounter = 0;
    {
        Signal second(definition);
        EXPECT_EQ(second.id, ~std::uint64_t{0});
        EXPECT_EQ(BaseSignal::getInstance(first.id), &first);
        for (const auto& [key, signals] : frames)
            EXPECT_EQ(signals, std::vector{&first});
        filed.at(first.id).pop_back();
        second.id = first.id;
    }
    BaseSignal::defSignalStorage.instancesById[first.id] = &first;
    return output.take();
}

/// Refuses a signal and destroys it: what was entered of it must be gone with it.
template <class Signal, class Definition>
void refuseOne(std::uint64_t kindBit, const auto& filed) {
    BaseSignal holder(byteDefinition("holder"));
    auto definition = byteDefinition<Definition>("refused");
    if constexpr (requires { definition.positions; })
        definition.positions.resize(1);
    BaseSignal::instanceCounter = 0;
    BaseSignal::defSignalStorage.instancesById[kindBit] = &holder;
    {
        const Signal refused(definition);
        EXPECT_EQ(refused.id, ~std::uint64_t{0});
        definition.instance = "accepted";
        const Signal accepted(definition);
        EXPECT_EQ(filed.size(), 2U);
    }
    EXPECT_TRUE(filed.empty()) << std::hex << kindBit;
    BaseSignal::defSignalStorage.instancesById.clear();
}

TEST_F(Registry, RefusedSignalsAreForgottenWhenTheyAreDestroyed) {
    const CapturedOutput output;
    const SignalStorage& storage = BaseSignal::defSignalStorage;
    refuseOne<CANSignal, canSignalDef_t>(0x8000000000000000, storage.canSignals);
    refuseOne<LINSignal, linSignalDef_t>(0x4000000000000000, storage.linSignals);
    refuseOne<FlexRaySignal, flexRaySignalDef_t>(0x2000000000000000, storage.flexRaySignals);
    refuseOne<EthernetSignal, ethernetSignalDef_t>(0x1000000000000000, storage.ethernetSignals);
    EXPECT_FALSE(EthernetSignal::channelsInUse[0]) << "the last signal is gone";
    refuseOne<DigitalSignal, inputSignalDef_t>(0x0400000000000000, storage.inputSignals);
}

TEST_F(Registry, TakenIdentifiersAndLostSignalsAreReported) {
    SignalStorage& storage = BaseSignal::defSignalStorage;
    flexRaySignalDef_t onFlexRay;
    onFlexRay.positions.resize(1);
    ethernetSignalDef_t onEthernet;
    onEthernet.positions.resize(1);
    EXPECT_EQ(linesOfClash(canSignalDef_t(), storage.canSignals, CANSignal::canContainer),
              "[ERROR] CANSignal::CANSignal() gpId 0x8000000000000000 already exists"
              "[ERROR] CANSignal::~CANSignal() second instance not found in vector\n");
    EXPECT_EQ(linesOfClash(linSignalDef_t(), storage.linSignals, LINSignal::linContainer),
              "[ERROR] LINSignal::LINSignal() gpId 0x4000000000000000 already exists\n"
              "[ERROR] LINSignal::~LINSignal() secondinstance not found in vector\n");
    EXPECT_EQ(linesOfClash(onFlexRay, storage.flexRaySignals, FlexRaySignal::flexrayFrames),
              "[ERROR] FlexRaySignal::FlexRaySignal() gpId 0x2000000000000000 already exists\n"
              "[ERROR] FlexRaySignal::~FlexRaySignal() second instance not found in vector\n");
    EXPECT_EQ(linesOfClash(onEthernet, storage.ethernetSignals, EthernetSignal::ethernetFrames),
              "[ERROR] EthernetSignal::EthernetSignal() gpId 0x1000000000000000 already exists\n"
              "[ERROR] EthernetSignal::~EthernetSignal() second instance not found in vector\n");
}

} // namespace
