/// \file
/// CAN decoding in its plainest form, bit by bit and without derived fields, for the library to be compared
/// with. It works on the definitions as the client wrote them.
#pragma once

#include "bus/CANTest.h"

#include <map>
#include <optional>
#include <set>

/// Bit numbers of a field, from its least significant bit to its most significant one.
std::vector<int> fieldBits(int startbit, int bits, bool bigEndian);

/// The tables and values of a set of CAN signals.
class CANModel {
  public:
    struct Signal {
        canSignalDef_t def;
        std::uint64_t id = ~std::uint64_t{0}; ///< all ones: rejected
        SignalState state;
    };

    /// Identifiers count from `firstNumber` on.
    explicit CANModel(std::uint64_t firstNumber) : nextNumber(firstNumber) {}

    static std::uint64_t keyOf(const canSignalDef_t& def);
    void build(Signal& signal);
    void destroy(Signal& signal);
    std::vector<Signal*>& list(std::uint64_t key) { return frames[key]; }
    bool decode(const CANExtTraceMessage& message, std::uint8_t tslId);

    std::vector<unsigned long> ids;

  private:
    std::uint64_t nextNumber;
    std::set<const Signal*> registered;
    std::map<std::uint64_t, std::vector<Signal*>> frames;
};
