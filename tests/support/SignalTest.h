/// \file
/// The fixture of tests that build signals.
#pragma once

#include "bus/CANSignal.h"
#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
#include "input/LoggerStatusSignal.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

/// Every test starts with the class-wide switches and the running number of identifiers as a program starts
/// with them, and must have taken its signals out of the default registry and all class-wide tables when it
/// ends.
class SignalTest : public testing::Test {
  protected:
    void SetUp() override { resetSwitches(); }

    void TearDown() override {
        resetSwitches();
        expectNoSignals();
        BaseSignal::defSignalStorage = SignalStorage();
    }

    static void expectNoSignals() {
        const SignalStorage& storage = BaseSignal::defSignalStorage;
        EXPECT_TRUE(storage.instancesByName.empty() && storage.instancesById.empty());
        EXPECT_TRUE(storage.canSignals.empty() && CANSignal::canContainer.empty());
        EXPECT_TRUE(storage.linSignals.empty() && LINSignal::linContainer.empty());
        EXPECT_TRUE(storage.flexRaySignals.empty() && FlexRaySignal::flexrayFrames.empty());
        EXPECT_TRUE(storage.ethernetSignals.empty() && EthernetSignal::ethernetFrames.empty());
        EXPECT_TRUE(EthernetSignal::positiveList.empty() && EthernetSignal::negativeList.empty());
        EXPECT_THAT(EthernetSignal::channelsInUse, testing::Each(false));
        EXPECT_TRUE(storage.inputSignals.empty() && InputSignal::inputContainer.empty());
        EXPECT_TRUE(LoggerStatusSignal::allInstancesLoggerStatusSignals.empty());
    }

    static void resetSwitches() {
        BaseSignal::debug = 0;
        BaseSignal::detachOnly = false;
        BaseSignal::instanceCounter = 0;
    }
};

/// The definition of an unsigned little-endian signal of one byte, at bit 0, with scale 1 and offset 0.
template <class Definition = baseSignalDef_t>
Definition byteDefinition(const std::string& instance) {
    Definition definition;
    definition.instance = instance;
    definition.signal = "Signal";
    definition.bits = 8;
    return definition;
}

/// The identifiers that decoding a message reports, added to none of those that were there before.
template <class Signal>
std::vector<unsigned long> decodedIds(const auto& message, const auto&... arguments) {
    std::vector<unsigned long> ids{1, 2};
    const bool reported = Signal::decodeMessage(message, ids, arguments...);
    EXPECT_EQ(reported, !ids.empty());
    return ids;
}

/// Validity, value and time stamp of a signal never written, as it prints them.
inline const std::string freshState =
    "valid=false,value=0 (0xaaaaaaaa),timestamp=1970-01-01 00:00:01.431655765 (0x55555555)";

/// What a signal called "Signal" in this state prints.
inline std::string signalText(const std::string& instance, const std::string& state = freshState,
                              bool shared = false) {
    return "instance=" + instance + ",signal=Signal,shmem=" + (shared ? "true" : "false") + "," + state;
}
