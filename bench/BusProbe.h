/// \file
/// The parts of limit probes of LIN, FlexRay and Ethernet: the least work that decodes frames with the result
/// of the library, as LimitProbe does for CAN.
///
/// One hash look-up of the frame's key gives a run of flat descriptors; each cuts its field out of 8 bytes
/// and keeps raw value, time stamp, validity and change mark. Private values lie in the descriptors
/// themselves, shared ones in a System V segment a signal under `pthread_mutex_trylock`. Nothing else: no
/// signal objects, no debug output, no clients that look in. What a bus adds is in its benchmark.
#pragma once

#include "signal/BaseSignal.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <vector>

/// Where a field lies and how it is cut out.
struct ProbeField {
    static constexpr std::uint32_t none = ~0U;

    std::uint64_t mask = 0, sign = 0;
    std::uint64_t id = 0;           ///< index of the definition
    std::uint32_t container = none; ///< what the frame is searched for; the bytes count from its data
    std::uint32_t updateBit = none;
    std::uint16_t startByte = 0;
    std::uint8_t numBytes = 0;
    std::uint8_t right = 0; ///< shift of the 8 bytes from `startByte` on, taken in the field's byte order
    bool bigEndian = false, modified = false;
    bool valid = false; ///< of a private value

    ProbeField() = default;
    ProbeField(const baseSignalDef_t& definition, unsigned startBit, std::size_t id)
        : mask(definition.bits >= 64 ? ~0ULL : (1ULL << definition.bits) - 1),
          sign(definition.type == signalValue_t::Signed ? 1ULL << (definition.bits - 1U) : 0), id(id),
          startByte(static_cast<std::uint16_t>(startBit / 8)), bigEndian(definition.endian) {
        const unsigned before = bigEndian ? 7 - startBit % 8 : startBit % 8;
        numBytes = static_cast<std::uint8_t>((before + definition.bits + 7) / 8);
        right = static_cast<std::uint8_t>(bigEndian ? 64 - before - definition.bits : before);
    }

    /// Makes the field one that is cut out of the first 8 bytes of the frame.
    void countFromFrame() {
        right = static_cast<std::uint8_t>(bigEndian ? right - 8 * startByte : right + 8 * startByte);
        startByte = 0;
    }

    /// From 8 bytes, byte 0 least significant.
    std::uint64_t valueIn(std::uint64_t word) const {
        const std::uint64_t bits = ((bigEndian ? __builtin_bswap64(word) : word) >> right) & mask;
        return (bits ^ sign) - sign;
    }
};

struct PrivateProbeField : ProbeField {
    using ProbeField::ProbeField;
    std::uint64_t raw = 0, timestamp = 0;

    void store(std::uint64_t word, std::uint64_t time) {
        const std::uint64_t value = valueIn(word);
        modified = value != raw;
        raw = value;
        timestamp = time;
        valid = true;
    }
    bool isValid() const { return valid; }
    std::uint64_t rawValue() const { return raw; }
};

struct SharedProbeField : ProbeField {
    using ProbeField::ProbeField;
    signalSlot_t* slot = newSlot();

    void store(std::uint64_t word, std::uint64_t time) {
        const std::uint64_t value = valueIn(word);
        while (pthread_mutex_trylock(&slot->mutex) != 0) {
        }
        modified = value != slot->raw;
        slot->raw = value;
        slot->timestamp = time;
        slot->valid = 1;
        pthread_mutex_unlock(&slot->mutex);
    }
    bool isValid() const { return slot->valid != 0; }
    std::uint64_t rawValue() const { return slot->raw; }

  private:
    /// In a segment that ends with the program.
    static signalSlot_t* newSlot() {
        const int segment = shmget(IPC_PRIVATE, sizeof(signalSlot_t), IPC_CREAT | 0600);
        void* const address = segment < 0 ? reinterpret_cast<void*>(-1) : shmat(segment, nullptr, 0);
        if (segment >= 0) {
            shmctl(segment, IPC_RMID, nullptr);
        }
        if (address == reinterpret_cast<void*>(-1)) {
            throw std::bad_alloc();
        }
        return static_cast<signalSlot_t*>(address);
    }
};

/// The fields of all frames, found by frame key. Keys are not 0.
template <class Field>
class ProbeTable {
  public:
    /// Room for so many keys.
    explicit ProbeTable(std::size_t keys)
        : buckets(std::bit_ceil(2 * keys + 2)), shift(64 - std::countr_zero(buckets.size())) {}

    /// Files the fields from number `begin` to the last one under a key.
    void enter(std::uint64_t key, std::size_t begin) {
        place(key) = {key, static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(fields.size())};
    }

    /// The fields of a frame; none if it is not there.
    std::span<Field> find(std::uint64_t key) {
        const Bucket& bucket = place(key);
        return {fields.data() + bucket.begin, fields.data() + bucket.end};
    }

    std::vector<Field> fields;

  private:
    struct Bucket {
        std::uint64_t key;
        std::uint32_t begin, end;
    };

    Bucket& place(std::uint64_t key) {
        std::size_t at = (key * 0x9E3779B97F4A7C15) >> shift;
        while (buckets[at].key != key && buckets[at].key != 0) {
            at = (at + 1) & (buckets.size() - 1);
        }
        return buckets[at];
    }

    std::vector<Bucket> buckets;
    int shift;
};
