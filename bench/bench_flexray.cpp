// FlexRay frames of ten signals, plain, with update bits and in PDUs: decoding beside the least work that
// gives the same result, and asking whether a record is wanted. Times are per frame.

#include "BusBench.h"
#include "bus/FlexRaySignal.h"
#include "rktrace/TraceRecord.h"
#include "rkutil/ByteOrder.h"
#include "signal/ByteOrder.h"

namespace {

constexpr unsigned signalsPerFrame = 10;
constexpr std::size_t payloadSize = 64;
constexpr std::uint8_t pduDataSize = 8;
constexpr std::ptrdiff_t pduSize = 4 + pduDataSize;

enum class Content { Plain, UpdateBits, Pdus };

/// Ten fields of 11 bits, two a PDU if they lie in PDUs, half of them big-endian, a third signed. Half of the
/// frames occur in every cycle, the others in every second one.
std::vector<flexRaySignalDef_t> definitionsOf(Content content, std::size_t signals) {
    std::vector<flexRaySignalDef_t> definitions;
    for (unsigned i = 0; i < signals; ++i) {
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

/// Frames of random bytes in random cycles, equally many in each slot. With update bits so many that no
/// processor learns by heart which of them are set, as it does in a few thousand frames that come again and
/// again: traffic does not.
std::vector<FlexRayExtTraceMessage> framesOf(Content content, std::size_t signals) {
    std::mt19937_64 random(20240607);
    std::vector<FlexRayExtTraceMessage> palette(signals / signalsPerFrame);
    std::uint16_t slot = 0;
    for (FlexRayExtTraceMessage& frame : palette) {
        frame.slot = ++slot;
    }
    const std::size_t perCycle = content == Content::UpdateBits ? 1024 : 64;
    std::vector<FlexRayExtTraceMessage> frames = shuffled(palette, perCycle * flexray::cycleCount);
    for (FlexRayExtTraceMessage& frame : frames) {
        frame.cycle = static_cast<std::uint8_t>(random() % (flexray::cycleCount / 2) * 2);
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

struct FlexRay {
    using Signal = FlexRaySignal;
    using Definition = flexRaySignalDef_t;
    using Message = FlexRayExtTraceMessage;
    static constexpr const char* name = "FlexRay";

    static void decode(const Message& message, std::vector<unsigned long>& ids, SignalStorage* storage) {
        FlexRaySignal::decodeMessage(message, ids, 0, storage);
    }

    template <class Field>
    class Probe;
};

/// The chain of PDUs is walked once for fields of one PDU in a row.
template <class Field>
class FlexRay::Probe {
  public:
    explicit Probe(const std::vector<flexRaySignalDef_t>& definitions)
        : table(definitions.size() / signalsPerFrame * flexray::cycleCount) {
        for (std::size_t i = 0; i < definitions.size(); ++i) {
            const flexRayPosition_t& position = definitions[i].positions.front();
            Field& field = table.fields.emplace_back(definitions[i], position.startBit, i);
            field.container = position.pduId.value_or(ProbeField::none);
            field.updateBit = position.updateBit ? *position.updateBit : ProbeField::none;
            if (i % signalsPerFrame == signalsPerFrame - 1) {
                enterFrame(position);
            }
        }
    }

    void decode(const FlexRayExtTraceMessage& message, std::vector<unsigned long>& ids) {
        ids.clear();
        const std::uint64_t key =
            flexray::frameKey(0, message.channel, message.slot, message.frameKind, message.cycle);
        const std::span payload(message.payload);
        const std::size_t length = std::min(message.data.size(), payload.size());
        std::uint32_t container = ProbeField::none;
        std::size_t offset = 0;
        for (Field& field : table.find(key)) {
            if (field.updateBit != ProbeField::none &&
                (payload[field.updateBit / 8] >> field.updateBit % 8 & 1) == 0) {
                continue;
            }
            if (field.container != container) {
                container = field.container;
                offset = findPdu(message.payload, container);
            }
            const std::size_t start = offset + field.startByte;
            if (start + field.numBytes <= length) {
                field.store(wordAt(payload, start), message.timestamp);
                ids.push_back(field.id);
            }
        }
    }

    ProbeTable<Field> table;

  private:
    /// The last fields are those of a frame.
    void enterFrame(const flexRayPosition_t& position) {
        for (unsigned cycle = 0; cycle < flexray::cycleCount; cycle += position.repetition) {
            table.enter(
                flexray::frameKey(0, 0, position.slot, flexray::staticKind, static_cast<std::uint8_t>(cycle)),
                table.fields.size() - signalsPerFrame);
        }
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
};

BusWorkload<FlexRay> workloadOf(const std::string& name, Content content, std::size_t signals) {
    return {name, definitionsOf(content, signals), framesOf(content, signals)};
}

void query(benchmark::State& state, std::uint16_t slot) {
    OwnSignals<FlexRay> signals(workloadOf("query", Content::Plain, 640), false);
    FlexRayExtTraceMessage frame = framesOf(Content::Plain, 640).front();
    frame.slot = slot;
    std::vector<std::uint8_t> record;
    encodeRecord(frame, record);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            FlexRaySignal::signalsInUse(record.data(), record.data() + record.size(), 0, &signals.storage));
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<BusWorkload<FlexRay>> workloads{
        workloadOf("10_signals", Content::Plain, 640),
        workloadOf("10_signals_with_update_bits", Content::UpdateBits, 640),
        workloadOf("10_signals_in_5_pdus", Content::Pdus, 640),
        workloadOf("10_of_4000", Content::Plain, 4000),
        workloadOf("10_of_20000", Content::Plain, 20'000),
        workloadOf("10_of_20000_in_5_pdus", Content::Pdus, 20'000),
    };
    registerContests(workloads);
    benchmark::RegisterBenchmark("RecordInUse/flexray/hit", query, std::uint16_t{1});
    benchmark::RegisterBenchmark("RecordInUse/flexray/miss", query, std::uint16_t{65});
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
