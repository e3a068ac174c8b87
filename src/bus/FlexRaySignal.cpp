#include "bus/FlexRaySignal.h"

#include "rktrace/TraceRecord.h"
#include "rkutil/ByteOrder.h"
#include "signal/Diagnostics.h"
#include "signal/FieldRange.h"
#include "signal/PositionChildren.h"
#include "signal/SignalFiling.h"

#include <algorithm>
#include <ostream>

FrameTable<FlexRaySignal> FlexRaySignal::flexrayFrames;

namespace {

constexpr LogSite constructionSite{"FlexRaySignal", "FlexRaySignal"};

template <class Number>
void writeOptional(std::ostream& out, const std::optional<Number>& number) {
    if (number) {
        out << *number;
    } else {
        out << "none";
    }
}

void writeCycles(std::ostream& out, const std::array<bool, flexray::cycleCount>& cycles) {
    for (std::size_t cycle = 0; cycle < cycles.size(); ++cycle) {
        if (cycles[cycle]) {
            out << cycle;
        }
        out << (cycle + 1 < cycles.size() ? "," : "");
    }
}

void writePosition(std::ostream& out, const flexRayPosition_t& position) {
    out << "[startBit=" << position.startBit << ",type=" << (position.type ? "static" : "dynamic")
        << ",slot=" << position.slot << ",baseCycle=" << unsigned{position.baseCycle}
        << ",repetition=" << unsigned{position.repetition} << ",startByte=" << unsigned{position.startByte}
        << ",numBytes=" << unsigned{position.numBytes} << ",updateBit=";
    writeOptional(out, position.updateBit);
    out << ",pduId=";
    writeOptional(out, position.pduId);
    out << ",cycle=";
    writeCycles(out, position.cycle);
    out << "]";
}

} // namespace

FlexRaySignal::FlexRaySignal(const flexRaySignalDef_t& def, bool shm, SignalStorage* storage)
    : Defined{def}, BaseSignal(definition, DefUse::Copy, shm, storage) {
    if (!checkSignalDefinition(definition)) {
        id = filing::rejectedId;
        return;
    }
    for (flexRayPosition_t& position : definition.positions) {
        position.cycle = flexray::cyclesOf(position.baseCycle, position.repetition);
    }
    if (!filing::enter(*this, flexray::kindBit, this->storage->flexRaySignals, constructionSite)) {
        return;
    }
    if (!definition.positions.empty()) {
        const flexRayPosition_t& first = definition.positions.front();
        frameKeyBase = flexray::frameKeyBase(definition.tslId, definition.channel, first.slot, first.type);
    }
    takePlace();
    if (debug) {
        logDebug(constructionSite, definition.instance, " created ", shm ? "(shared memory);" : ";", *this,
                 std::dec);
    }
    addPositionChildren(*this);
}

FlexRaySignal::FlexRaySignal(FlexRaySignal* parent, const flexRaySignalDef_t& def)
    : Defined{def}, BaseSignal(parent) {
    if (parent == nullptr) {
        return;
    }
    // Slot, segment and channel stay those of the parent's first position, on purpose.
    frameKeyBase = parent->frameKeyBase;
    takePlace();
    if (debug) {
        logDebug(constructionSite, "child ", definition.instance, " created ", shmem ? "(shared memory)" : "",
                 *this, std::dec);
    }
}

FlexRaySignal::~FlexRaySignal() {
    if (storage != nullptr) {
        filing::leave(*this, storage->flexRaySignals, {"FlexRaySignal", "~FlexRaySignal"});
    }
    leaveFrames();
    children.clear(); // while the slot that they share is still there
}

void FlexRaySignal::leaveFrames() {
    FrameTable<FlexRaySignal>& frames = framesOf(storage);
    for (std::size_t cycle = 0; cycle < flexray::cycleCount; ++cycle) {
        if (filedCycles[cycle]) {
            frames.unfile(filedKeyBase + flexray::cycleTerm(static_cast<std::uint8_t>(cycle)), this);
        }
    }
    frames.unfileByHand(this);
}

void FlexRaySignal::takePlace() {
    if (definition.positions.empty()) {
        return;
    }
    const flexRayPosition_t& position = definition.positions.front();
    filedKeyBase = frameKeyBase;
    for (std::uint8_t cycle = position.baseCycle; cycle < flexray::cycleCount; ++cycle) {
        if (position.cycle[cycle]) {
            framesOf(storage).file(filedKeyBase + flexray::cycleTerm(cycle), this);
            filedCycles.set(cycle);
        }
    }
    useFirstPosition(*this);
}

bool FlexRaySignal::checkSignalDefinition(flexRaySignalDef_t& def) {
    return std::all_of(def.positions.begin(), def.positions.end(), [&def](flexRayPosition_t& position) {
        if (!setFieldRange(position, def, bitfield::byteRange(position.startBit, def.bits, def.endian))) {
            return false;
        }
        position.repetition = std::max<std::uint8_t>(position.repetition, 1);
        return true;
    });
}

bool FlexRaySignal::signalsInUse(const unsigned char* record, const unsigned char* recordEnd,
                                 unsigned char tslId, SignalStorage* storage) {
    if (filing::storageOrDefault(storage).flexRaySignals.empty() ||
        recordEnd - record <= static_cast<std::ptrdiff_t>(recordAt::flexRayCycle) || // it has no cycle
        !flexray::carriesSignals(record[recordAt::flexRayKind])) {
        return false;
    }
    const auto slot = static_cast<std::uint16_t>(bigEndian<2>(record + recordAt::flexRaySlot));
    const std::uint64_t key =
        flexray::frameKey(tslId, record[recordAt::flexRayChannel], slot, record[recordAt::flexRayKind],
                          record[recordAt::flexRayCycle]);
    const bool inUse = framesOf(storage).contains(key);
    if (debug) {
        logDebug({"FlexRaySignal", "signalsInUse"}, "id = ", std::hex, key, std::dec,
                 inUse ? " in use " : " not in use");
    }
    return inUse;
}

std::ostream& operator<<(std::ostream& out, const flexRaySignalDef_t& definition) {
    out << static_cast<const baseSignalDef_t&>(definition);
    if (definition.positions.empty()) {
        out << "[no positions]";
    }
    for (const flexRayPosition_t& position : definition.positions) {
        writePosition(out, position);
    }
    return out;
}

std::ostream& operator<<(std::ostream& out, const FlexRaySignal& signal) {
    return filing::print(out, signal);
}
