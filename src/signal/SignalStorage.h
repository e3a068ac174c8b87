/// \file
/// The registry in which signals are found by name, by identifier and by kind.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

class BaseSignal;
class CANSignal;
class FlexRaySignal;
class EthernetSignal;
class InputSignal;
class LINSignal;

/// The signals of one client. Signals enter it when they are built and leave it when they are destroyed; it
/// does not own them and must outlive them. Not locked: signals are built, destroyed and looked up on one
/// thread. The tables by kind are keyed by signal identifier.
class SignalStorage {
  public:
    std::map<std::string, BaseSignal*> instancesByName;
    std::map<std::uint64_t, BaseSignal*> instancesById;
    std::map<std::uint64_t, std::vector<CANSignal*>> canSignals;
    std::map<std::uint64_t, std::vector<FlexRaySignal*>> flexRaySignals;
    std::map<std::uint64_t, std::vector<EthernetSignal*>> ethernetSignals;
    std::map<std::uint64_t, std::vector<InputSignal*>> inputSignals;
    std::map<std::uint64_t, std::vector<LINSignal*>> linSignals;
};
