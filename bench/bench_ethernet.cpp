// Ethernet frames: the analysis of their headers, frames known to carry signals or none, frames never seen
// before among many positions. Decoding of bare signals and of those in PDUs and SOME/IP messages beside the
// least work that gives the same result. Times are per frame.

#include "BusBench.h"
#include "bus/EthernetSignal.h"
#include "rkutil/ByteOrder.h"
#include "signal/ByteOrder.h"
#include "support/EthernetFrame.h"

#include <array>

namespace {

constexpr unsigned signalsPerFrame = 8;

Octets frameTo(unsigned port, const Octets& payload = Octets(64, 0xA5)) {
    return FrameText{.sourcePort = 30490, .destinationPort = static_cast<std::uint16_t>(port)}.with(payload);
}

struct Ethernet {
    using Signal = EthernetSignal;
    using Definition = ethernetSignalDef_t;
    using Message = MIITraceMessage;
    static constexpr const char* name = "Ethernet";

    static void decode(const Message& message, std::vector<unsigned long>& ids, SignalStorage* storage) {
        EthernetSignal::decodeMessage(message, ids, storage);
    }

    template <class Field>
    class Probe;
};

/// Frames are told apart by their destination port alone, with a hash over all that is read of their headers.
/// The headers of containers are read once a frame.
template <class Field>
class Ethernet::Probe {
  public:
    explicit Probe(const std::vector<ethernetSignalDef_t>& definitions) : table(definitions.size()) {
        for (std::size_t i = 0; i < definitions.size(); ++i) {
            const ethernetPosition_t& position = definitions[i].positions.front();
            Field& field = table.fields.emplace_back(definitions[i], position.startBit, i);
            type = position.ethSignalType;
            field.container = type == ethSignalPosType_t::IPDU
                                  ? position.pduId
                                  : position.serviceId << 16 | position.methodEventId;
            if (i + 1 == definitions.size() ||
                definitions[i + 1].positions.front().destinationPort != position.destinationPort) {
                const Octets frame = frameTo(position.destinationPort);
                miiFrameInfo_t info{};
                MIITraceMessage::analyzeFrame(frame.data(), frame.size(), info);
                table.enter(keyOf(info, 0), begin);
                begin = table.fields.size();
            }
        }
    }

    void decode(const MIITraceMessage& message, std::vector<unsigned long>& ids) {
        ids.clear();
        miiFrameInfo_t info{};
        const std::span frame(message.frame);
        if (!MIITraceMessage::analyzeFrame(frame.data(), frame.size(), info)) {
            return;
        }
        const std::span<Field> fields = table.find(keyOf(info, message.channel));
        if (fields.empty()) {
            return;
        }
        if (type == ethSignalPosType_t::DEFAULT) {
            for (Field& field : fields) {
                storeAt(info.payloadOffset, field, message, ids);
            }
        } else {
            readContainers(frame, info.payloadOffset);
            std::uint32_t container = ProbeField::none;
            std::size_t offset = 0;
            for (Field& field : fields) {
                if (field.container != container) {
                    container = field.container;
                    offset = dataOf(container);
                }
                storeAt(offset, field, message, ids);
            }
        }
    }

    ProbeTable<Field> table;

  private:
    static std::uint64_t keyOf(const miiFrameInfo_t& info, std::uint8_t channel) {
        constexpr std::uint64_t odd = 0x9E3779B97F4A7C15;
        const std::uint64_t macs = (info.sourceMac * odd) ^ (info.destinationMac << 1);
        const std::uint64_t addresses = std::uint64_t{info.sourceIp} << 32 | info.destinationIp;
        const std::uint64_t rest =
            std::uint64_t{info.sourcePort} << 48 | std::uint64_t{info.destinationPort} << 32 |
            std::uint64_t{info.vlanId} << 16 | std::uint64_t{info.ipProtocol} << 8 | channel;
        return macs ^ (addresses * (odd + 2)) ^ (rest * (odd + 4)) ^ info.vlan;
    }

    void storeAt(std::size_t offset, Field& field, const MIITraceMessage& message,
                 std::vector<unsigned long>& ids) {
        const std::size_t start = offset + field.startByte;
        if (start + field.numBytes <= message.frame.size()) {
            field.store(wordAt(std::span(message.frame), start), message.timestamp);
            ids.push_back(field.id);
        }
    }

    void readContainers(std::span<const std::uint8_t> frame, std::size_t header) {
        const std::size_t headerSize = type == ethSignalPosType_t::IPDU ? 8 : 16;
        containers = 0;
        while (header + headerSize < frame.size() && containers < identifiers.size()) {
            const std::size_t data = header + headerSize;
            const std::size_t length = bigEndian<4>(&frame[header + 4]);
            if (length >= frame.size() - data || (length == 0 && type == ethSignalPosType_t::IPDU)) {
                break;
            }
            identifiers[containers] = bigEndian<4>(&frame[header]);
            begins[containers++] = data;
            header = data + length;
        }
    }

    /// Where the data of a container begin; far out if it is not there.
    std::size_t dataOf(std::uint32_t identifier) const {
        for (std::size_t i = 0; i < containers; ++i) {
            if (identifiers[i] == identifier) {
                return begins[i];
            }
        }
        return 1 << 20;
    }

    ethSignalPosType_t type = ethSignalPosType_t::DEFAULT;
    std::size_t begin = 0;
    std::size_t containers = 0;
    std::array<std::uint32_t, 128> identifiers;
    std::array<std::size_t, 128> begins;
};

ethernetSignalDef_t signalOf(const ethernetPosition_t& position) {
    static unsigned built = 0;
    ethernetSignalDef_t definition;
    definition.instance = std::to_string(built++);
    definition.bits = 11;
    definition.endian = built % 2 == 1;
    definition.positions = {position};
    return definition;
}

Octets randomOctets(std::size_t count) {
    static std::mt19937_64 random(20240607);
    Octets octets(count);
    std::generate(octets.begin(), octets.end(), [] { return static_cast<std::uint8_t>(random()); });
    return octets;
}

/// Fields of 11 bits, every second one big-endian, in frames to ports from 1 on.
/// \{
/// A few in the payload of each frame.
BusWorkload<Ethernet> bareWorkload(const std::string& name, unsigned signals) {
    BusWorkload<Ethernet> workload{name, {}, {}};
    std::vector<MIITraceMessage> palette;
    for (unsigned frame = 1; frame <= signals / signalsPerFrame; ++frame) {
        for (unsigned i = 0; i < signalsPerFrame; ++i) {
            workload.definitions.push_back(signalOf({.startBit = static_cast<std::uint16_t>(i * 16 + 3),
                                                     .destinationPort = static_cast<std::uint16_t>(frame),
                                                     .ipProtocol = 17}));
        }
        palette.push_back({0, frameTo(frame, randomOctets(64)), 0});
    }
    workload.frames = shuffled(palette);
    return workload;
}

/// In each of `containers` PDUs or SOME/IP messages a few; 8 data bytes in each.
BusWorkload<Ethernet> containerWorkload(const std::string& name, ethSignalPosType_t type, unsigned frames,
                                        unsigned containers, unsigned signalsEach) {
    BusWorkload<Ethernet> workload{name, {}, {}};
    std::vector<MIITraceMessage> palette;
    for (unsigned frame = 1; frame <= frames; ++frame) {
        Octets payload;
        for (unsigned container = 0; container < containers; ++container) {
            for (unsigned i = 0; i < signalsEach; ++i) {
                workload.definitions.push_back(signalOf({.ethSignalType = type,
                                                         .startBit = static_cast<std::uint16_t>(i * 16 + 3),
                                                         .destinationPort = static_cast<std::uint16_t>(frame),
                                                         .ipProtocol = 17,
                                                         .pduId = 0x12348000 + container,
                                                         .serviceId = 0x1234,
                                                         .methodEventId = 0x8000 + container}));
            }
            append(payload, 0x12348000ULL + container, 4);
            append(payload, 8, 4);
            payload = payload + randomOctets(type == ethSignalPosType_t::IPDU ? 8 : 16);
        }
        payload.push_back(0); // a container ends before the end
        palette.push_back({0, frameTo(frame, payload), 0});
    }
    workload.frames = shuffled(palette);
    return workload;
}
/// \}

void analyze(benchmark::State& state) {
    const Octets frame = frameTo(1);
    for (auto _ : state) {
        miiFrameInfo_t info{};
        benchmark::DoNotOptimize(MIITraceMessage::analyzeFrame(frame.data(), frame.size(), info));
        benchmark::DoNotOptimize(info);
    }
}

/// Frames to `count` ports from `first` on.
std::vector<MIITraceMessage> messagesTo(unsigned first, unsigned count) {
    std::vector<MIITraceMessage> messages;
    for (unsigned i = 0; i < count; ++i) {
        messages.push_back({i, frameTo(first + i), 0});
    }
    return messages;
}

void knownNegative(benchmark::State& state) {
    OwnSignals<Ethernet> signals(bareWorkload("negative", 800), false);
    const std::vector<MIITraceMessage> messages = messagesTo(2000, 100);
    std::vector<unsigned long> ids;
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(EthernetSignal::decodeMessage(messages[next], ids, &signals.storage));
        next = next + 1 < messages.size() ? next + 1 : 0;
    }
}

/// Every frame comes from an address never seen before; one in two carries a signal.
void firstSight(benchmark::State& state, unsigned positions) {
    constexpr unsigned frameCount = 100;
    BusWorkload<Ethernet> workload{"first", {}, {}};
    for (unsigned i = 0; i < positions; ++i) {
        workload.definitions.push_back(
            signalOf({.sourcePort = static_cast<std::uint16_t>(i % 3 == 0 ? 30490 : 0),
                      .destinationPort = static_cast<std::uint16_t>(2 * i + 2),
                      .ipProtocol = static_cast<std::uint16_t>(i % 2 == 0 ? 17 : 0)}));
    }
    OwnSignals<Ethernet> signals(workload, false);
    std::vector<MIITraceMessage> messages = messagesTo(1, frameCount);
    std::vector<unsigned long> ids;
    std::uint64_t address = 0x020000000000;
    for (auto _ : state) {
        Octets& frame = messages[address % frameCount].frame;
        ++address;
        for (std::size_t i = 0; i < 6; ++i) {
            frame[6 + i] = static_cast<std::uint8_t>(address >> (40 - 8 * i));
        }
        benchmark::DoNotOptimize(
            EthernetSignal::decodeMessage(messages[address % frameCount], ids, &signals.storage));
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<BusWorkload<Ethernet>> workloads{
        bareWorkload("8_signals", 800),
        bareWorkload("8_of_4000", 4000),
        bareWorkload("8_of_20000", 20'000),
        containerWorkload("8_signals_in_4_ipdus", ethSignalPosType_t::IPDU, 100, 4, 2),
        containerWorkload("20_signals_in_20_someip", ethSignalPosType_t::SOMEIP, 40, 20, 1),
        containerWorkload("8_of_20000_in_4_someip", ethSignalPosType_t::SOMEIP, 2500, 4, 2),
    };
    registerContests(workloads);
    benchmark::RegisterBenchmark("AnalyzeFrame", analyze);
    benchmark::RegisterBenchmark("EthernetDecode/known_negative", knownNegative);
    for (const unsigned positions : {10U, 1000U, 10'000U}) {
        benchmark::RegisterBenchmark(("EthernetDecode/first_sight/" + std::to_string(positions)).c_str(),
                                     [positions](auto& state) { firstSight(state, positions); })
            ->Iterations(20'000); // signals are built once
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
