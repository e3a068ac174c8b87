#include "signal/SignalDefinition.h"

#include <ostream>

std::ostream& operator<<(std::ostream& out, signalValue_t type) {
    switch (type) {
    case signalValue_t::Unsigned:
        return out << "unsigned";
    case signalValue_t::Signed:
        return out << "signed";
    case signalValue_t::Float:
        return out << "float";
    case signalValue_t::Double:
        return out << "double";
    }
    return out;
}

std::ostream& operator<<(std::ostream& out, const baseSignalDef_t& definition) {
    out << std::dec << "instance=" << definition.instance << ",signal=" << definition.signal
        << ",channel=" << unsigned{definition.channel} << ",unit=" << definition.unit
        << ",type=" << definition.type << ",startbit=" << definition.startbit
        << ",bits=" << unsigned{definition.bits} << ",scale=" << definition.scale
        << ",offset=" << definition.offset << ",endian=" << (definition.endian ? "BIG" : "LITTLE")
        << ",multiplexed=" << (definition.multiplexed ? "yes" : "no") << ",mux=" << definition.mux
        << ",tslId=" << unsigned{definition.tslId};
    if (!definition.udn.empty()) {
        out << ",udn=" << definition.udn;
    }
    if (!definition.valueDescriptions.empty()) {
        out << '\n' << "value description table" << std::endl;
        for (const auto& [raw, text] : definition.valueDescriptions) {
            out << raw << ": " << text << std::endl;
        }
    }
    return out;
}
