#include "LimitProbe.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <new>
#include <sys/ipc.h>
#include <sys/shm.h>

namespace {

constexpr std::uint64_t golden = 0x9E3779B97F4A7C15;

std::uint64_t keyOf(std::uint8_t channel, std::uint32_t id, bool extended, bool canFd) {
    return 0x8000000000000000 | std::uint64_t{channel} << 32 | std::uint64_t{extended} << 31 |
           std::uint64_t{canFd} << 30 | id;
}

/// Where the field lies in the word of the first 8 payload bytes taken in its byte order.
int shiftRight(const canSignalDef_t& definition) {
    if (!definition.endian) {
        return definition.startbit;
    }
    const int msbFromTop = definition.startbit / 8 * 8 + 7 - definition.startbit % 8;
    return std::max(0, 64 - msbFromTop - definition.bits);
}

signalSlot_t* newSegment(std::vector<int>& segments) {
    const int segment = shmget(IPC_PRIVATE, sizeof(signalSlot_t), IPC_CREAT | 0600);
    void* const address = segment < 0 ? reinterpret_cast<void*>(-1) : shmat(segment, nullptr, 0);
    if (segment >= 0) {
        segments.push_back(segment);
        shmctl(segment, IPC_RMID, nullptr); // gone with the last detach
    }
    if (address == reinterpret_cast<void*>(-1)) {
        throw std::bad_alloc();
    }
    return static_cast<signalSlot_t*>(address);
}

} // namespace

LimitProbe::LimitProbe(const std::vector<canSignalDef_t>& definitions, bool shared)
    : fieldOfDefinition(definitions.size()) {
    std::map<std::uint64_t, std::vector<std::size_t>> frames;
    for (std::size_t i = 0; i < definitions.size(); ++i) {
        const canSignalDef_t& d = definitions[i];
        frames[keyOf(d.channel, d.msgId, d.extended, d.canFD)].push_back(i);
    }
    buckets.resize(std::bit_ceil(4 * frames.size()));
    shift = 64 - std::countr_zero(buckets.size());
    for (const auto& [key, members] : frames) {
        const auto begin = static_cast<std::uint32_t>(privateFields.size() + sharedFields.size());
        std::size_t place = (key * golden) >> shift;
        while (buckets[place].begin != buckets[place].end) {
            place = (place + 1) & (buckets.size() - 1);
        }
        buckets[place] = {key, begin, begin + static_cast<std::uint32_t>(members.size())};
        for (const std::size_t i : members) {
            const canSignalDef_t& d = definitions[i];
            const std::uint64_t mask = d.bits >= 64 ? ~0ull : (1ull << d.bits) - 1;
            const std::uint64_t sign =
                d.type == signalValue_t::Signed && d.bits < 64 ? 1ull << (d.bits - 1) : 0;
            const auto right = static_cast<std::uint8_t>(shiftRight(d));
            fieldOfDefinition[i] = privateFields.size() + sharedFields.size();
            if (shared) {
                sharedFields.push_back({mask, sign, i, newSegment(segments), right, d.endian, false});
            } else {
                privateFields.push_back({mask, sign, i, 0, 0, right, d.endian, false, false});
            }
        }
    }
}

LimitProbe::~LimitProbe() {
    for (const SharedField& field : sharedFields) {
        shmdt(field.slot);
    }
}

const LimitProbe::Bucket* LimitProbe::find(const CANExtTraceMessage& message) const {
    const std::uint64_t key =
        keyOf(message.channel, message.canId, message.frameFormat & 1, message.frameFormat & 2);
    for (std::size_t place = (key * golden) >> shift;; place = (place + 1) & (buckets.size() - 1)) {
        const Bucket& bucket = buckets[place];
        if (bucket.key == key || bucket.begin == bucket.end) {
            return &bucket;
        }
    }
}

/// `store` keeps the raw value in its field.
template <class Field, class Store>
bool LimitProbe::decode(std::vector<Field>& fields, const CANExtTraceMessage& message,
                        std::vector<unsigned long>& ids, Store&& store) {
    ids.clear();
    const Bucket& bucket = *find(message);
    std::uint64_t little = 0;
    std::memcpy(&little, message.payload.data(), sizeof little);
    const std::uint64_t big = __builtin_bswap64(little);
    for (std::uint32_t i = bucket.begin; i < bucket.end; ++i) {
        Field& field = fields[i];
        const std::uint64_t bits = ((field.bigEndian ? big : little) >> field.right) & field.mask;
        store(field, (bits ^ field.sign) - field.sign);
        ids.push_back(field.id);
    }
    return !ids.empty();
}

bool LimitProbe::decodePrivate(const CANExtTraceMessage& message, std::vector<unsigned long>& ids) {
    return decode(privateFields, message, ids, [&message](PrivateField& field, std::uint64_t raw) {
        field.modified = raw != field.raw;
        field.raw = raw;
        field.timestamp = message.timestamp;
        field.valid = true;
    });
}

bool LimitProbe::decodeShared(const CANExtTraceMessage& message, std::vector<unsigned long>& ids) {
    return decode(sharedFields, message, ids, [&message](SharedField& field, std::uint64_t raw) {
        signalSlot_t& slot = *field.slot;
        while (pthread_mutex_trylock(&slot.mutex) != 0) {
        }
        field.modified = raw != slot.raw;
        slot.raw = raw;
        slot.timestamp = message.timestamp;
        slot.valid = 1;
        pthread_mutex_unlock(&slot.mutex);
    });
}

std::uint64_t LimitProbe::raw(std::size_t definition) const {
    const std::size_t field = fieldOfDefinition[definition];
    return sharedFields.empty() ? privateFields[field].raw : sharedFields[field].slot->raw;
}
