/// \file
/// The fixture of tests that build signals.
#pragma once

#include "signal/BaseSignal.h"

#include <gtest/gtest.h>

#include <string>

/// Every test starts with the class-wide switches and the running number of identifiers as a program starts
/// with them, and must have taken its signals out of the default registry when it ends.
class SignalTest : public testing::Test {
  protected:
    void SetUp() override { resetSwitches(); }

    void TearDown() override {
        resetSwitches();
        EXPECT_TRUE(BaseSignal::defSignalStorage.instancesByName.empty());
        EXPECT_TRUE(BaseSignal::defSignalStorage.instancesById.empty());
        BaseSignal::defSignalStorage = SignalStorage();
    }

    static void resetSwitches() {
        BaseSignal::debug = 0;
        BaseSignal::detachOnly = false;
        BaseSignal::instanceCounter = 0;
    }
};

/// The definition of an unsigned little-endian signal of one byte, at bit 0, with scale 1 and offset 0.
inline baseSignalDef_t byteDefinition(const std::string& instance, const std::string& signal = "Signal") {
    baseSignalDef_t definition;
    definition.instance = instance;
    definition.signal = signal;
    definition.bits = 8;
    return definition;
}

/// A definition with every field given.
inline baseSignalDef_t fullDefinition(const std::string& instance) {
    baseSignalDef_t definition = byteDefinition(instance, "Speed");
    definition.reference = 77;
    definition.channel = 65;
    definition.unit = "1/min °";
    definition.type = signalValue_t::Signed;
    definition.startbit = 65535;
    definition.bits = 64;
    definition.scale = 0.1;
    definition.offset = -40;
    definition.endian = definition.multiplexed = true;
    definition.multiplexer = 7;
    definition.mux = 1000;
    definition.valueDescriptions = {{10, "ten"}, {~std::uint64_t{0}, "all"}, {2, ""}};
    definition.udn = "n_mot";
    definition.comment = "not shown";
    definition.tslId = 200;
    return definition;
}

/// What a signal called "Signal", never written, prints.
inline std::string freshText(const std::string& instance, bool shared = false) {
    return "instance=" + instance + ",signal=Signal,shmem=" + (shared ? "true" : "false") +
           ",valid=false,value=0 (0xaaaaaaaa),timestamp=1970-01-01 00:00:01.431655765 (0x55555555)";
}
