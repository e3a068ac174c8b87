#include "bus/CANSignal.h"

#include "bus/CANKey.h"
#include "rktrace/TraceRecord.h"
#include "rkutil/ByteOrder.h"
#include "signal/Diagnostics.h"
#include "signal/FieldRange.h"
#include "signal/SignalFiling.h"

#include <ostream>

FrameTable<CANSignal> CANSignal::canContainer;

namespace {

const char* yesOrNo(bool value) {
    return value ? "yes" : "no";
}

std::uint64_t plainKey(const canSignalDef_t& definition) {
    return can::frameKey(definition.tslId, definition.channel, definition.msgId, definition.extended,
                         definition.canFD);
}

void traceCreated(const CANSignal& signal, LogSite site) {
    logDebug(site, "canContainer:");
    filing::dump(CANSignal::containerOf(signal.storage), site);
    LogLine line(LogLevel::Debug);
    line.out() << site << signal.def.instance << " created " << (signal.shmem ? "(shared memory) " : "")
               << (signal.def.multiplexer != 0 ? "(multiplexer) " : "");
    if (signal.def.multiplexed) {
        line.out() << "(multiplexed, mux = " << std::dec << signal.def.mux << ") ";
    }
    line.out() << signal << '\n';
}

} // namespace

CANSignal::CANSignal(const canSignalDef_t& def, bool shm, SignalStorage* storage)
    : Defined{def}, BaseSignal(definition, def.canFD ? DefUse::Copy : DefUse::Refer, shm, storage) {
    constexpr LogSite site{"CANSignal", "CANSignal"};
    if (definition.canFD) {
        if (!checkSignalDefinition(definition)) {
            id = filing::rejectedId;
            return;
        }
        // From here on the codec sees the bytes from startByte on.
        this->def.startbit &= 7;
        cInit();
    }
    if (!filing::enter(*this, can::kindBit, this->storage->canSignals, site, /*endLine=*/false)) {
        return;
    }
    frameKey = plainKey(definition);
    FrameTable<CANSignal>& container = containerOf(this->storage);
    if (debug) {
        logDebug(site, "canKey=", std::hex, frameKey, std::dec);
        if (!container.contains(frameKey)) {
            logDebug(site, "insert into canContainer: ", def);
        }
    }
    container.file(frameKey, this);
    if (debug) {
        traceCreated(*this, site);
    }
}

CANSignal::~CANSignal() {
    filing::leave(*this, storage->canSignals, {"CANSignal", "~CANSignal"});
    FrameTable<CANSignal>& container = containerOf(storage);
    container.unfile(frameKey, this);
    container.unfileByHand(this);
}

void CANSignal::fileUnderMultiplexer() {
    if (id == filing::rejectedId) {
        return;
    }
    FrameTable<CANSignal>& container = containerOf(storage);
    container.unfile(frameKey, this);
    frameKey = plainKey(definition) + can::multiplexerTerm(def.mux);
    container.file(frameKey, this);
}

bool CANSignal::checkSignalDefinition(canSignalDef_t& def) {
    return setFieldRange(def, def, bitfield::byteRange(def.startbit, def.bits, def.endian));
}

bool CANSignal::signalsInUse(const unsigned char* record, const unsigned char* /*ignored*/,
                             unsigned char tslId, SignalStorage* storage) {
    if (filing::storageOrDefault(storage).canSignals.empty()) {
        return false;
    }
    const std::uint32_t identifier = bigEndian<4>(record + recordAt::canIdentifier);
    const std::uint8_t channel = record[recordAt::canChannel];
    // The record's identifier word carries the flags where the key has them.
    const bool inUse = containerOf(storage).contains(can::frameKey(tslId, channel, identifier, false, false));
    if (debug) {
        logDebug({"CANSignal", "signalsInUse"}, inUse ? "found" : "not found", ": channel ", std::dec,
                 unsigned{channel}, ", msgId 0x", std::hex, identifier, std::dec);
    }
    return inUse;
}

std::ostream& operator<<(std::ostream& out, const canSignalDef_t& definition) {
    out << static_cast<const baseSignalDef_t&>(definition) << ",msgId=" << definition.msgId
        << ",extended=" << yesOrNo(definition.extended) << ",canFD=" << yesOrNo(definition.canFD)
        << ",message=" << definition.message << ",sender=" << definition.sender << ",pduId=";
    if (definition.pduId) {
        out << *definition.pduId;
    } else {
        out << "none";
    }
    return out << ",startByte=" << unsigned{definition.startByte}
               << ",numBytes=" << unsigned{definition.numBytes};
}

std::ostream& operator<<(std::ostream& out, const CANSignal& signal) {
    return filing::print(out, signal);
}
