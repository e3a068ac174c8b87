/// \file
/// What the classes of bus signals do alike: an identifier that is taken, and a registry that has lost a
/// signal.
#include "bus/CANSignal.h"
#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
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
