/// \file
/// The least work that decodes CAN frames with the result of the library: the yardstick of its benchmarks.
///
/// One hash look-up of the frame's key, then one pass over a flat array of descriptors: extraction, store of
/// raw value, time stamp, validity and change mark, identifier appended. Nothing else: no signal objects, no
/// debug output, no multiplexers, no CAN FD ranges, no clients that look in. The values lie in the
/// descriptors themselves, or, shared, in one System V segment a signal under `pthread_mutex_trylock`.
#pragma once

#include "bus/CANSignal.h"

#include <cstdint>
#include <vector>

class LimitProbe {
  public:
    LimitProbe(const std::vector<canSignalDef_t>& definitions, bool shared);
    ~LimitProbe();
    LimitProbe(const LimitProbe&) = delete;
    LimitProbe& operator=(const LimitProbe&) = delete;

    bool decodePrivate(const CANExtTraceMessage& message, std::vector<unsigned long>& ids);
    bool decodeShared(const CANExtTraceMessage& message, std::vector<unsigned long>& ids);

    /// The raw value of the definition with this index, to check the probe against the library.
    std::uint64_t raw(std::size_t definition) const;

  private:
    struct PrivateField {
        std::uint64_t mask, sign, id, raw, timestamp;
        std::uint8_t right;
        bool bigEndian, valid, modified;
    };
    struct SharedField {
        std::uint64_t mask, sign, id;
        signalSlot_t* slot;
        std::uint8_t right;
        bool bigEndian, modified;
    };
    struct Bucket {
        std::uint64_t key;
        std::uint32_t begin, end; // empty when equal
    };

    const Bucket* find(const CANExtTraceMessage& message) const;
    template <class Field, class Store>
    bool decode(std::vector<Field>& fields, const CANExtTraceMessage& message,
                std::vector<unsigned long>& ids, Store&& store);

    std::vector<Bucket> buckets;
    int shift = 64;
    std::vector<PrivateField> privateFields;
    std::vector<SharedField> sharedFields;
    std::vector<std::size_t> fieldOfDefinition;
    std::vector<int> segments;
};
