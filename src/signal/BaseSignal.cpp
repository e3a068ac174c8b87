#include "signal/BaseSignal.h"

#include "rkutil/printTime.h"
#include "signal/BitField.h"
#include "signal/Diagnostics.h"
#include "signal/SignalFiling.h"
#include "signal/SlotPool.h"
#include "signal/StorageTables.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <iomanip>

int BaseSignal::debug = 0;
bool BaseSignal::detachOnly = false;
SegmentAccess BaseSignal::segmentAccess;
std::uint64_t BaseSignal::instanceCounter = 0;
SignalStorage BaseSignal::defSignalStorage;

using filing::storageOrDefault;

namespace {

/// A word as hexadecimal digits, zero-padded to `digits`.
struct Hex {
    std::uint64_t word;
    int digits;

    friend std::ostream& operator<<(std::ostream& out, const Hex& hex) {
        const char fill = out.fill('0');
        out << std::hex << std::setw(hex.digits) << hex.word << std::dec;
        out.fill(fill);
        return out;
    }
};

/// The bytes of a payload word as `b0-b1-...-b7`.
struct PayloadBytes {
    unsigned long payload;

    friend std::ostream& operator<<(std::ostream& out, const PayloadBytes& bytes) {
        for (int byte = 0; byte < 8; ++byte) {
            out << (byte == 0 ? "" : "-") << Hex{bytes.payload >> (8 * byte) & 0xFF, 2};
        }
        return out;
    }
};

/// Whether a value that was just read from the slot was one: looked at last, since `clear`, which takes no
/// lock, takes it away first.
bool isStillValid(const signalSlot_t& slot) {
    std::atomic_signal_fence(std::memory_order_acquire);
    return slot.valid != 0;
}

/// A private slot for a signal that keeps its value there, unless it asked for shared memory.
signalSlot_t& newPrivateSlot(bool shared) {
    return (shared ? SlotPool::spare() : SlotPool::inUse()).take().slot;
}

} // namespace

/// Holds the lock of a slot in shared memory for one operation; a private slot needs none.
class BaseSignal::SlotLock {
  public:
    explicit SlotLock(BaseSignal& signal) : signal(signal) {
        if (signal.shmem) {
            signal.lock();
        }
    }
    ~SlotLock() {
        if (signal.shmem) {
            signal.unlock();
        }
    }
    SlotLock(const SlotLock&) = delete;
    SlotLock& operator=(const SlotLock&) = delete;

  private:
    BaseSignal& signal;
};

BaseSignal::BaseSignal(const baseSignalDef_t& definition, bool sharedMemory, SignalStorage* registry)
    : shmem(sharedMemory), storage(&storageOrDefault(registry)), privateSlot(newPrivateSlot(sharedMemory)),
      modified(sharedMemory ? ownModified : PrivateSlot::of(privateSlot).modified), slot(&privateSlot),
      def(*new baseSignalDef_t(definition)) {
    ownsDef = true;
    create();
}

BaseSignal::BaseSignal(baseSignalDef_t& definition, DefUse use, bool sharedMemory, SignalStorage* registry)
    : shmem(sharedMemory), storage(&storageOrDefault(registry)), privateSlot(newPrivateSlot(sharedMemory)),
      modified(sharedMemory ? ownModified : PrivateSlot::of(privateSlot).modified), slot(&privateSlot),
      def(use == DefUse::Copy ? *new baseSignalDef_t(definition) : definition) {
    ownsDef = use == DefUse::Copy;
    create();
}

void BaseSignal::create() {
    constexpr LogSite site{"BaseSignal", "BaseSignal"};
    if (!storage->instancesByName.try_emplace(def.instance, this).second) {
        logError(site, def.instance, " already exists");
    }
    if (shmem) {
        createSharedMemory();
    }
    if (initSmData && slot == &privateSlot) { // a shared one was initialised before others could find it
        privateSlot.initialise(def.signal);
    }
    cInit();
    if (debug) {
        logDebug(site, def.instance, " created ", shmem ? "(shared memory)" : "");
        logDebug(site, *this);
    }
}

BaseSignal::BaseSignal(BaseSignal* parent)
    : initSmData(false), privateSlot(SlotPool::spare().take().slot), modified(ownModified),
      def(parent != nullptr ? *new baseSignalDef_t(parent->def) : *new baseSignalDef_t()) {
    ownsDef = true;
    constexpr LogSite site{"BaseSignal", "BaseSignal"};
    if (parent == nullptr) {
        logError(site, "no parent");
        return;
    }
    id = parent->id;
    shmem = parent->shmem;
    slot = parent->slot;
    storage = parent->storage;
    if (debug) {
        logDebug(site, "child ", def.instance, " created ", shmem ? "(shared memory)" : "");
        logDebug(site, *this);
    }
}

BaseSignal::~BaseSignal() {
    constexpr LogSite site{"BaseSignal", "~BaseSignal"};
    countChange();
    if (storage != nullptr) {
        if (const auto named = storage->instancesByName.find(def.instance);
            named != storage->instancesByName.end()) { // quicker than erasing by name
            storage->instancesByName.erase(named);
        }
        storage->instancesById.erase(id);
    }
    const bool noSegment = shmem && shmId < 0;
    if (shmem && !noSegment) {
        releaseSharedMemory();
    }
    if (debug) {
        logDebug(site, def.instance, " deleted", noSegment ? " (no shared memory found)" : "");
    }
    if (ownsDef) {
        delete &def;
    }
    SlotPool::giveBack(PrivateSlot::of(privateSlot));
}

/// What decoders have worked out about the signals of this one's tables is out of date.
void BaseSignal::countChange() {
    StorageTables* const own = storage != nullptr ? storage->ownTables.get() : nullptr;
    (own != nullptr ? own->changes : ChangeCounter::classWide()).count();
}

void BaseSignal::cInit() {
    countChange();
    const int bits = def.bits;
    d_lsbBit = static_cast<std::uint8_t>(bitfield::leastSignificantBit(def.startbit, bits, def.endian));
    d_startByte = d_lsbBit / 8;
    d_shift = d_lsbBit % 8;
    d_bytes = static_cast<std::uint8_t>((d_lsbBit + bits - 1) / 8 - d_startByte + 1);
    d_maksBits = bitfield::ones(bits);
    d_signBit = bitfield::signBit(bits);
    d_rawMask = bitfield::maskInPayload(d_maksBits, d_startByte, d_shift, d_bytes, def.endian);
    if (debug) {
        logDebug({"BaseSignal", "cInit"}, def.instance, ":d_lsbBit=", std::dec, unsigned{d_lsbBit},
                 ",d_startByte=", unsigned{d_startByte}, ",d_bytes=", unsigned{d_bytes},
                 ",d_shift=", unsigned{d_shift}, std::hex, ",d_maksBits=", d_maksBits,
                 ",d_signBit=", d_signBit, ",d_rawMask=", Hex{d_rawMask, 16});
    }
}

unsigned long BaseSignal::decode(unsigned long payload) {
    std::uint64_t item = bitfield::extract(payload, d_lsbBit, d_maksBits, def.endian);
    if (def.type == signalValue_t::Signed) {
        item = bitfield::signExtended(item, d_maksBits, d_signBit);
    }
    if (debug) {
        constexpr LogSite site{"BaseSignal", "decode"};
        logDebug(site, def.instance, ": ", PayloadBytes{payload});
        logDebug(site, def.instance, ": ", def.endian ? "big" : "little", " endian, bits = ", std::dec,
                 unsigned{def.bits}, ", startbit = ", def.startbit, std::hex, ", maskBits = ", d_maksBits,
                 ", signBit = ", d_signBit, ", item = ", Hex{item, 16});
    }
    slot->raw = item;
    return item;
}

double BaseSignal::physical() {
    const std::uint64_t raw = slot->raw;
    double number = 0.0;
    switch (def.type) {
    case signalValue_t::Unsigned:
        number = static_cast<double>(raw);
        break;
    case signalValue_t::Signed:
        number = static_cast<double>(static_cast<std::int64_t>(raw));
        break;
    case signalValue_t::Float:
        number = std::bit_cast<float>(static_cast<std::uint32_t>(raw));
        break;
    case signalValue_t::Double:
        number = std::bit_cast<double>(raw);
        break;
    default:
        return value;
    }
    value = number * def.scale + def.offset;
    return value;
}

void BaseSignal::traceValue(const char* operation, const char* remark) {
    physical();
    logDebug({"BaseSignal", operation}, remark, *this);
}

bool BaseSignal::read(double& physicalValue, unsigned long& timestamp) {
    const SlotLock guard(*this);
    physicalValue = physical();
    timestamp = slot->timestamp;
    if (debug) {
        traceValue("read");
    }
    return isStillValid(*slot);
}

bool BaseSignal::read(unsigned long& raw, unsigned long& timestamp) {
    const SlotLock guard(*this);
    raw = slot->raw;
    timestamp = slot->timestamp;
    if (debug) {
        traceValue("read");
    }
    return isStillValid(*slot);
}

bool BaseSignal::writeTS(unsigned long timestamp) {
    const SlotLock guard(*this);
    slot->timestamp = timestamp;
    return true;
}

bool BaseSignal::write(unsigned long payload, unsigned long timestamp) {
    const SlotLock guard(*this);
    const std::uint64_t old = slot->raw;
    finishWrite("write", old, decode(payload), timestamp);
    return true;
}

bool BaseSignal::write(const unsigned char* data, unsigned long length, unsigned long timestamp) {
    unsigned long payload = 0;
    if (length != 0) {
        std::memcpy(&payload, data, length < sizeof payload ? length : sizeof payload);
    }
    return write(payload, timestamp);
}

bool BaseSignal::writeRaw(unsigned long raw, unsigned long timestamp) {
    const SlotLock guard(*this);
    finishWrite("writeRaw", slot->raw, raw, timestamp);
    return true;
}

void BaseSignal::finishWrite(const char* operation, std::uint64_t old, std::uint64_t raw,
                             std::uint64_t timestamp) {
    slot->raw = raw;
    slot->timestamp = timestamp;
    slot->valid = 1;
    modified = raw != old;
    if (debug) {
        traceValue(operation, modified ? "" : "(no change) ");
    }
}

bool BaseSignal::isModified() const {
    return modified;
}

void BaseSignal::clear() {
    slot->clear();
    value = 0.0;
    modified = true;
}

void BaseSignal::invalidate() {
    const SlotLock guard(*this);
    clear();
}

std::string BaseSignal::getUnit() const {
    return def.unit;
}

double BaseSignal::getScaleFactor() const {
    return def.scale;
}

double BaseSignal::getOffset() const {
    return def.offset;
}

std::uint8_t BaseSignal::getBits() const {
    return def.bits;
}

signalValue_t BaseSignal::getType() const {
    return def.type;
}

std::string BaseSignal::getValueDescription(unsigned long raw) const {
    const auto entry = def.valueDescriptions.find(raw);
    return entry != def.valueDescriptions.end() ? entry->second : std::string();
}

BaseSignal* BaseSignal::getInstance(const std::string& instance, SignalStorage* storage) {
    const auto& instances = storageOrDefault(storage).instancesByName;
    const auto entry = instances.find(instance);
    return entry != instances.end() ? entry->second : nullptr;
}

BaseSignal* BaseSignal::getInstance(unsigned long id, SignalStorage* storage) {
    return storageOrDefault(storage).instancesById.lookup(id);
}

std::map<std::string, BaseSignal*>& BaseSignal::getAllInstances() {
    return defSignalStorage.instancesByName;
}

void BaseSignal::clearAll(SignalStorage* storage) {
    for (const auto& [name, signal] : storageOrDefault(storage).instancesByName) {
        signal->clear();
    }
}

void BaseSignal::clear(const std::vector<unsigned long>& ids, SignalStorage* storage) {
    std::vector<unsigned long> wanted = ids;
    std::sort(wanted.begin(), wanted.end());
    // One walk for all of them; each group of signals that share an identifier stays in name order.
    std::vector<std::pair<unsigned long, BaseSignal*>> found;
    for (const auto& [name, signal] : storageOrDefault(storage).instancesByName) {
        if (std::binary_search(wanted.begin(), wanted.end(), signal->id)) {
            found.emplace_back(signal->id, signal);
        }
    }
    const auto byId = [](const auto& left, const auto& right) { return left.first < right.first; };
    std::stable_sort(found.begin(), found.end(), byId);
    for (const unsigned long id : ids) {
        const auto [first, last] = std::equal_range(found.begin(), found.end(), std::pair(id, nullptr), byId);
        std::for_each(first, last, [](const auto& entry) { entry.second->clear(); });
    }
}

bool BaseSignal::checkTimeout(unsigned long limit, std::vector<unsigned long>& ids, SignalStorage* storage) {
    ids.clear();
    for (const auto& [name, signal] : storageOrDefault(storage).instancesByName) {
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (signal->read(raw, timestamp) && timestamp < limit) {
            ids.push_back(signal->id);
        }
    }
    return false;
}

std::ostream& operator<<(std::ostream& out, const BaseSignal& signal) {
    const signalSlot_t& slot = *signal.slot;
    out << std::dec << std::boolalpha << "instance=" << signal.def.instance << ",signal=" << signal.def.signal
        << ",shmem=" << signal.shmem << ",valid=" << (slot.valid != 0) << ",value=" << signal.value << " (0x"
        << std::hex << slot.raw << ")"
        << ",timestamp=";
    printTime(out, slot.timestamp);
    return out << " (0x" << std::hex << slot.timestamp << ")" << std::dec;
}
