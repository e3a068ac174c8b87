#include "bus/EthernetSignal.h"

#include "bus/EthernetKey.h"
#include "rkutil/macaddr.h"
#include "signal/Diagnostics.h"
#include "signal/FieldRange.h"
#include "signal/PositionChildren.h"
#include "signal/SignalFiling.h"

#include <algorithm>
#include <arpa/inet.h>
#include <ostream>

EthernetTables ethernet::classWideTables(ChangeCounter::classWide());

std::array<bool, 256>& EthernetSignal::channelsInUse = ethernet::classWideTables.channelsInUse;
EthernetFrameTable& EthernetSignal::ethernetFrames = ethernet::classWideTables.frames;
FrameTable<EthernetSignal>& EthernetSignal::positiveList = ethernet::classWideTables.positive;
FrameKeySet& EthernetSignal::negativeList = ethernet::classWideTables.negative;

EthernetTables& ethernet::makeTables(StorageTables& own) {
    own.ethernet = std::make_unique<EthernetTables>(own.changes);
    return static_cast<EthernetTables&>(*own.ethernet);
}

EthernetTables& EthernetSignal::tablesOf(const SignalStorage* storage) {
    return ethernet::tablesOf(storage);
}

EthernetSignal::EthernetSignal(const ethernetSignalDef_t& def, bool shared, SignalStorage* storage)
    : Defined{def}, BaseSignal(definition, DefUse::Copy, shared, storage) {
    constexpr LogSite site{"EthernetSignal", "EthernetSignal"};
    if (!checkSignalDefinition(definition)) {
        id = filing::rejectedId;
        return;
    }
    if (!filing::enter(*this, ethernet::kindBit, this->storage->ethernetSignals, site)) {
        return;
    }
    tablesOf(this->storage).channelsInUse[definition.channel] = true;
    fileAtPosition();
    if (debug) {
        logDebug(site, definition.instance, " created ", shared ? "(shared memory);" : ";", *this);
    }
    addPositionChildren(*this);
}

EthernetSignal::EthernetSignal(EthernetSignal* parent, const ethernetSignalDef_t& def)
    : Defined{def}, BaseSignal(parent) {
    if (parent == nullptr) {
        return;
    }
    fileAtPosition();
    if (debug) {
        logDebug({"EthernetSignal", "EthernetSignal"}, "child ", definition.instance, " created ",
                 shmem ? "(shared memory)" : "");
    }
}

/// Binds the signal to its position, if it has one.
void EthernetSignal::fileAtPosition() {
    if (definition.positions.empty()) {
        cInit();
        return;
    }
    frameHash.setFrame(position(), definition.channel);
    tablesOf(storage).frames.file(&frameHash, this);
    useFirstPosition(*this);
}

EthernetSignal::~EthernetSignal() {
    if (storage == nullptr) {
        return; // a child without parent
    }
    filing::leave(*this, storage->ethernetSignals, {"EthernetSignal", "~EthernetSignal"});
    EthernetTables& tables = tablesOf(storage);
    tables.frames.erase(&frameHash); // whoever else is listed there: the address is about to be gone
    tables.frames.unfileByHand(this);
    tables.forget(this);
    children.clear();
    if (storage->ethernetSignals.empty()) {
        tables.clear();
    }
}

bool EthernetSignal::checkSignalDefinition(ethernetSignalDef_t& def) {
    return std::all_of(def.positions.begin(), def.positions.end(), [&def](ethernetPosition_t& position) {
        const int lastByte = bitfield::lastBit(position.startBit, def.bits, def.endian) / 8;
        return setFieldRange(position, def, bitfield::byteRangeTo(lastByte, position.startBit));
    });
}

const ethernetPosition_t& EthernetSignal::position() const {
    static const ethernetPosition_t none;
    return definition.positions.empty() ? none : definition.positions.front();
}

std::ostream& operator<<(std::ostream& out, ethSignalPosType_t type) {
    switch (type) {
    case ethSignalPosType_t::DEFAULT:
        return out << "DEFAULT";
    case ethSignalPosType_t::IPDU:
        return out << "IPDU";
    case ethSignalPosType_t::SPDU:
        return out << "SPDU";
    case ethSignalPosType_t::SOMEIP:
        return out << "SOME/IP";
    }
    return out;
}

namespace {

void writePosition(std::ostream& out, const ethernetPosition_t& position) {
    out << std::dec << std::boolalpha << "[ethSignalType=" << position.ethSignalType
        << ",startBit=" << position.startBit << ",sourceMac=";
    macaddr_t(position.sourceMac).print(out);
    out << ",destinationMac=";
    macaddr_t(position.destinationMac).print(out);
    out << ",sourceIp=" << inet_ntoa({position.sourceIp});
    out << ",destinationIp=" << inet_ntoa({position.destinationIp}); // a statement of its own: one buffer
    out << ",sourcePort=" << position.sourcePort << ",destinationPort=" << position.destinationPort
        << ",ipProtocol=" << position.ipProtocol << ",vlan=" << position.vlan << ",vlanId=" << position.vlanId
        << ",pduId=" << position.pduId << ",messageId=" << position.messageId
        << ",serviceId=" << position.serviceId << ",methodEventId=" << position.methodEventId
        << ",startByte=" << position.startByte << ",numBytes=" << unsigned{position.numBytes} << "]";
}

} // namespace

std::ostream& operator<<(std::ostream& out, const ethernetSignalDef_t& definition) {
    out << static_cast<const baseSignalDef_t&>(definition);
    if (definition.positions.empty()) {
        return out << "[no positions]";
    }
    for (const ethernetPosition_t& position : definition.positions) {
        writePosition(out, position);
    }
    return out;
}

std::ostream& operator<<(std::ostream& out, const EthernetSignal& signal) {
    return filing::print(out, signal) << std::dec;
}
