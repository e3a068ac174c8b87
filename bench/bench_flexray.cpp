// FlexRay frames of ten signals, plain, with update bits and in PDUs: decoding beside the least work that
// gives the same result, and asking whether a record is wanted.

#include "bus/FlexRaySignal.h"
#include "rktrace/TraceRecord.h"
#include "rkutil/ByteOrder.h"
#include "signal/ByteOrder.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <bit>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace {

constexpr unsigned slots = 64;
constexpr unsigned signalsPerFrame = 10;
constexpr std::size_t frameCount = 1024;
constexpr std::size_t payloadSize = 64;
constexpr std::uint8_t pduDataSize = 8;
constexpr std::ptrdiff_t pduSize = 4 + pduDataSize;

enum class Content { Plain, UpdateBits, Pdus };

/// Ten fields of 11 bits, two a PDU if they lie in PDUs, half of them big-endian, a third signed. Half of the
/// frames occur in every cycle, the others in every second one.
std::vector<flexRaySignalDef_t> definitionsOf(Content content) {
    std::vector<flexRaySignalDef_t> definitions;
    for (unsigned i = 0; i < slots * signalsPerFrame; ++i) {
        const unsigned slot = i / signalsPerFrame;
        const unsigned place = i % signalsPerFrame;
        const bool inPdu = content == Content::Pdus;
        flexRaySignalDef_t definition;
        definition.instance = std::to_string(slot) + "." + std::to_string(place);
        definition.bits = 11;
        definition.endian = place % 2 == 1;
        definition.type = place % 3 == 0 ? signalValue_t::Signed : signalValue_t::Unsigned;
        flexRayPosition_t position;
        position.type = true;
        position.slot = static_cast<std::uint16_t>(1 + slot);
        position.repetition = static_cast<std::uint8_t>(1 + slot % 2);
        const unsigned byte = inPdu ? 4 * (place % 2) : 4 * place;
        position.startBit = static_cast<std::uint16_t>(8 * byte + (definition.endian ? 6 : 1));
        if (content == Content::UpdateBits) {
            position.updateBit = static_cast<std::uint16_t>(8 * (payloadSize - 2) + place);
        } else if (inPdu) {
            position.pduId = 0x100 + place / 2;
        }
        definition.positions = {position};
        definitions.push_back(definition);
    }
    return definitions;
}

/// Frames of random slots, cycles and bytes.
std::vector<FlexRayExtTraceMessage> framesOf(Content content) {
    std::mt19937_64 random(20240607);
    std::vector<FlexRayExtTraceMessage> frames(frameCount);
    for (FlexRayExtTraceMessage& frame : frames) {
        frame.timestamp = random();
        frame.slot = static_cast<std::uint16_t>(1 + random() % slots);
        frame.cycle = static_cast<std::uint8_t>(random() % 32 * 2);
        frame.payload.resize(payloadSize);
        std::generate(frame.payload.begin(), frame.payload.end(),
                      [&random] { return static_cast<std::uint8_t>(random()); });
        for (std::uint8_t pdu = 0; content == Content::Pdus && pdu < 5; ++pdu) {
            const std::uint8_t header[] = {0, 1, pdu, pduDataSize};
            std::copy(std::begin(header), std::end(header), frame.payload.begin() + pduSize * pdu);
        }
        frame.data = frame.payload;
    }
    return frames;
}

/// The least work: a hash look-up of the frame, then one pass over flat descriptors that hold their values;
/// the chain of PDUs is walked once for fields of one PDU in a row.
class Probe {
  public:
    explicit Probe(const std::vector<flexRaySignalDef_t>& definitions) : buckets(bucketCount) {
        for (const flexRaySignalDef_t& definition : definitions) {
            const flexRayPosition_t& position = definition.positions.front();
            if (fields.size() % signalsPerFrame == 0) {
                enterFrame(position);
            }
            fields.push_back(fieldOf(definition, position));
        }
    }

    bool decode(const FlexRayExtTraceMessage& message, std::vector<unsigned long>& ids) {
        ids.clear();
        const Bucket& bucket =
            find(flexray::frameKey(0, message.channel, message.slot, message.frameKind, message.cycle));
        const std::size_t length = std::min(message.data.size(), message.payload.size());
        std::uint32_t pduId = none;
        std::size_t offset = 0;
        for (std::uint32_t i = bucket.begin; i < bucket.begin + bucket.count; ++i) {
            Field& field = fields[i];
            if (field.updateBit != none &&
                (message.payload[field.updateBit / 8] >> field.updateBit % 8 & 1) == 0) {
                continue;
            }
            if (field.pduId != pduId) {
                pduId = field.pduId;
                offset = pduId == none ? 0 : findPdu(message.payload, pduId);
            }
            const std::size_t start = offset + field.startByte;
            if (start + field.numBytes <= length) {
                field.store(wordAt(std::span(message.payload), start), message.timestamp);
                ids.push_back(i);
            }
        }
        return !ids.empty();
    }

    std::uint64_t raw(std::size_t definition) const { return fields[definition].raw; }

  private:
    static constexpr std::uint32_t none = ~0U;
    static constexpr std::size_t bucketCount = std::bit_ceil(std::size_t{4} * slots * flexray::cycleCount);

    struct Field {
        std::uint64_t mask, sign, raw, timestamp;
        std::uint32_t pduId, updateBit; // or none
        std::uint8_t startByte, numBytes, right;
        bool bigEndian, valid, modified;

        void store(std::uint64_t word, std::uint64_t time) {
            const std::uint64_t bits = ((bigEndian ? __builtin_bswap64(word) : word) >> right) & mask;
            const std::uint64_t value = (bits ^ sign) - sign;
            modified = value != raw;
            raw = value;
            timestamp = time;
            valid = true;
        }
    };
    struct Bucket {
        std::uint64_t key;
        std::uint32_t begin, count; // free when empty
    };

    static Field fieldOf(const flexRaySignalDef_t& definition, const flexRayPosition_t& position) {
        const int first = position.startBit % 8;
        const bool isSigned = definition.type == signalValue_t::Signed;
        return {(1ULL << definition.bits) - 1,
                isSigned ? 1ULL << (definition.bits - 1) : 0,
                0,
                0,
                position.pduId.value_or(none),
                position.updateBit ? *position.updateBit : none,
                static_cast<std::uint8_t>(position.startBit / 8),
                2,
                static_cast<std::uint8_t>(definition.endian ? 64 - (7 - first) - definition.bits : first),
                definition.endian,
                false,
                false};
    }

    void enterFrame(const flexRayPosition_t& position) {
        for (unsigned cycle = 0; cycle < flexray::cycleCount; cycle += position.repetition) {
            const std::uint64_t key =
                flexray::frameKey(0, 0, position.slot, flexray::staticKind, static_cast<std::uint8_t>(cycle));
            find(key) = {key, static_cast<std::uint32_t>(fields.size()), signalsPerFrame};
        }
    }

    /// The bucket of the key, or the one where it belongs.
    Bucket& find(std::uint64_t key) {
        std::size_t place = (key * 0x9E3779B97F4A7C15) >> (64 - std::countr_zero(bucketCount));
        while (buckets[place].count != 0 && buckets[place].key != key) {
            place = (place + 1) % bucketCount;
        }
        return buckets[place];
    }

    /// Where the data of the PDU begin; far out if it is not there.
    static std::size_t findPdu(const std::vector<std::uint8_t>& payload, std::uint32_t wanted) {
        for (std::size_t header = 0; header + 4 < payload.size(); header += 4U + payload[header + 3]) {
            const std::uint32_t id = bigEndian<3>(&payload[header]);
            if (payload[header + 3] == 0 || header + 4 + payload[header + 3] >= payload.size()) {
                break;
            }
            if (id == wanted) {
                return header + 4;
            }
        }
        return payload.size();
    }

    std::vector<Field> fields;
    std::vector<Bucket> buckets;
};

/// The signals of the library.
class Vehicle {
  public:
    explicit Vehicle(const std::vector<flexRaySignalDef_t>& definitions) {
        for (const flexRaySignalDef_t& definition : definitions) {
            signals.push_back(std::make_unique<FlexRaySignal>(definition));
        }
    }

    std::vector<std::unique_ptr<FlexRaySignal>> signals;
};

template <class Decode>
void runFrames(benchmark::State& state, Content content, Decode decode) {
    const std::vector<FlexRayExtTraceMessage> frames = framesOf(content);
    std::vector<unsigned long> ids;
    std::size_t next = 0;
    for (auto _ : state) {
        decode(frames[next], ids);
        benchmark::DoNotOptimize(ids.data());
        next = (next + 1) % frameCount;
    }
}

void decodeByLibrary(benchmark::State& state, Content content) {
    const Vehicle vehicle(definitionsOf(content));
    runFrames(state, content, [](const FlexRayExtTraceMessage& frame, std::vector<unsigned long>& ids) {
        FlexRaySignal::decodeMessage(frame, ids);
    });
}

void decodeByProbe(benchmark::State& state, Content content) {
    Probe probe(definitionsOf(content));
    runFrames(state, content, [&probe](const FlexRayExtTraceMessage& frame, std::vector<unsigned long>& ids) {
        probe.decode(frame, ids);
    });
}

/// Ends the program if probe and library disagree: a yardstick that does other work measures nothing.
void checkProbe(const char* name, Content content) {
    const std::vector<flexRaySignalDef_t> definitions = definitionsOf(content);
    const Vehicle vehicle(definitions);
    Probe probe(definitions);
    std::vector<unsigned long> ids;
    std::vector<unsigned long> probeIds;
    bool agree = true;
    for (const FlexRayExtTraceMessage& frame : framesOf(content)) {
        FlexRaySignal::decodeMessage(frame, ids);
        probe.decode(frame, probeIds);
        agree = agree && ids.size() == probeIds.size();
    }
    for (std::size_t i = 0; i < definitions.size(); ++i) {
        const signalSlot_t& slot = *vehicle.signals[i]->slot;
        agree = agree && slot.valid != 0 && slot.raw == probe.raw(i);
    }
    if (!agree) {
        std::cerr << name << ": probe and library disagree\n";
        std::exit(1);
    }
}

void query(benchmark::State& state, std::uint16_t slot) {
    const Vehicle vehicle(definitionsOf(Content::Plain));
    FlexRayExtTraceMessage frame = framesOf(Content::Plain).front();
    frame.slot = slot;
    std::vector<std::uint8_t> record;
    encodeRecord(frame, record);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            FlexRaySignal::signalsInUse(record.data(), record.data() + record.size(), 0));
    }
}

void registerDecoding(const char* name, Content content) {
    checkProbe(name, content);
    const std::string condition = std::string("/private/") + name;
    benchmark::RegisterBenchmark(("FlexRayDecode" + condition).c_str(), decodeByLibrary, content);
    benchmark::RegisterBenchmark(("FlexRayDecode_probe" + condition).c_str(), decodeByProbe, content);
}

} // namespace

int main(int argc, char** argv) {
    registerDecoding("10_signals", Content::Plain);
    registerDecoding("10_signals_with_update_bits", Content::UpdateBits);
    registerDecoding("10_signals_in_5_pdus", Content::Pdus);
    benchmark::RegisterBenchmark("RecordInUse/flexray/hit", query, std::uint16_t{1});
    benchmark::RegisterBenchmark("RecordInUse/flexray/miss", query, std::uint16_t{slots + 1});
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
