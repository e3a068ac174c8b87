// Ethernet frames: the analysis of their headers, frames known to carry signals or none, frames never seen
// before among many positions, and SOME/IP messages. Bare signals beside the least work that gives the same
// result. Times are per frame.

#include "bus/EthernetSignal.h"
#include "support/EthernetFrame.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

constexpr unsigned frameCount = 100;
constexpr unsigned signalsPerFrame = 8;

ethernetSignalDef_t signalOf(const ethernetPosition_t& position) {
    static unsigned built = 0;
    ethernetSignalDef_t definition;
    definition.instance = std::to_string(built++);
    definition.bits = 11;
    definition.positions = {position};
    return definition;
}

Octets frameTo(unsigned port, const Octets& payload = Octets(64, 0xA5)) {
    return FrameText{.sourcePort = 30490, .destinationPort = static_cast<std::uint16_t>(port)}.with(payload);
}

/// A few bare signals in each of many frames.
std::vector<ethernetSignalDef_t> bareDefinitions() {
    std::vector<ethernetSignalDef_t> definitions;
    for (unsigned i = 0; i < frameCount * signalsPerFrame; ++i) {
        definitions.push_back(
            signalOf({.startBit = static_cast<std::uint16_t>(i % signalsPerFrame * 16 + 3),
                      .destinationPort = static_cast<std::uint16_t>(i / signalsPerFrame + 1),
                      .ipProtocol = 17}));
    }
    return definitions;
}

class Signals {
  public:
    explicit Signals(const std::vector<ethernetSignalDef_t>& definitions) {
        for (const ethernetSignalDef_t& definition : definitions) {
            signals.push_back(std::make_unique<EthernetSignal>(definition, false, &storage));
        }
    }
    const EthernetSignal& operator[](std::size_t i) const { return *signals[i]; }

  private:
    SignalStorage storage;
    std::vector<std::unique_ptr<EthernetSignal>> signals;
};

/// Header analysis and frame hash as in the library, one look-up, one pass over a flat array of fields.
class Probe {
  public:
    explicit Probe(const std::vector<ethernetSignalDef_t>& definitions) {
        for (unsigned frame = 0; frame < frameCount; ++frame) {
            begins[keyOf(frameTo(frame + 1)).first] = std::size_t{frame} * signalsPerFrame;
        }
        for (const ethernetSignalDef_t& definition : definitions) {
            const std::uint16_t startBit = definition.positions[0].startBit;
            fields.push_back(
                {startBit / 8U, startBit % 8U, (1ULL << definition.bits) - 1, 0, 0, 0, false, false});
            fields.back().id = fields.size();
        }
    }

    bool decode(const Octets& frame, std::uint64_t time, std::vector<unsigned long>& ids) {
        ids.clear();
        const auto [key, payload] = keyOf(frame);
        const auto begin = begins.find(key);
        if (begin == begins.end()) {
            return false;
        }
        for (std::size_t i = begin->second; i < begin->second + signalsPerFrame; ++i) {
            Field& field = fields[i];
            const std::size_t start = payload + field.startByte;
            if (start + sizeof(std::uint64_t) <= frame.size()) {
                std::uint64_t word = 0;
                std::memcpy(&word, frame.data() + start, sizeof word);
                const std::uint64_t raw = word >> field.shift & field.mask;
                field.modified = raw != field.raw;
                field.raw = raw;
                field.timestamp = time;
                field.valid = true;
                ids.push_back(field.id);
            }
        }
        return !ids.empty();
    }
    std::uint64_t raw(std::size_t i) const { return fields[i].raw; }

  private:
    struct Field {
        std::uint32_t startByte, shift;
        std::uint64_t mask, id, raw, timestamp;
        bool valid, modified;
    };

    static std::pair<std::uint32_t, std::size_t> keyOf(const Octets& frame) {
        miiFrameInfo_t info{};
        MIITraceMessage::analyzeFrame(frame.data(), frame.size(), info);
        return {static_cast<std::uint32_t>(hashFrame(info, 0)), info.payloadOffset};
    }

    std::unordered_map<std::uint32_t, std::size_t> begins;
    std::vector<Field> fields;
};

void analyze(benchmark::State& state) {
    const Octets frame = frameTo(1);
    for (auto _ : state) {
        miiFrameInfo_t info{};
        benchmark::DoNotOptimize(MIITraceMessage::analyzeFrame(frame.data(), frame.size(), info));
        benchmark::DoNotOptimize(info);
    }
}

/// Decodes the messages in turn, again and again; `decode` is the library's unless another is given.
template <class Decode>
void decodeInTurn(benchmark::State& state, const std::vector<MIITraceMessage>& messages, Decode decode) {
    std::vector<unsigned long> ids;
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(decode(messages[next], ids));
        next = next + 1 < messages.size() ? next + 1 : 0;
    }
}

bool byLibrary(const MIITraceMessage& message, std::vector<unsigned long>& ids) {
    return EthernetSignal::decodeMessage(message, ids);
}

/// Frames to ports from `first` on.
std::vector<MIITraceMessage> messagesTo(unsigned first) {
    std::vector<MIITraceMessage> messages;
    for (unsigned i = 0; i < frameCount; ++i) {
        messages.push_back({i, frameTo(first + i), 0});
    }
    return messages;
}

void known(benchmark::State& state, unsigned firstPort) {
    const Signals signals(bareDefinitions());
    decodeInTurn(state, messagesTo(firstPort), byLibrary);
}

void knownByProbe(benchmark::State& state) {
    Probe probe(bareDefinitions());
    decodeInTurn(state, messagesTo(1), [&](const MIITraceMessage& message, std::vector<unsigned long>& ids) {
        return probe.decode(message.frame, message.timestamp, ids);
    });
}

/// Ends the program if probe and library disagree: a yardstick that does other work measures nothing.
void checkProbe() {
    const std::vector<ethernetSignalDef_t> definitions = bareDefinitions();
    const Signals signals(definitions);
    Probe probe(definitions);
    std::vector<unsigned long> ids;
    std::vector<unsigned long> probeIds;
    for (const MIITraceMessage& message : messagesTo(1)) {
        byLibrary(message, ids);
        probe.decode(message.frame, message.timestamp, probeIds);
        if (ids.size() != signalsPerFrame || probeIds.size() != signalsPerFrame) {
            std::cerr << "probe and library do not write all signals\n";
            std::exit(1);
        }
    }
    for (std::size_t i = 0; i < definitions.size(); ++i) {
        if (signals[i].slot->raw != probe.raw(i)) {
            std::cerr << "probe and library differ in a value\n";
            std::exit(1);
        }
    }
}

/// Every frame comes from an address never seen before; one in two carries a signal.
void firstSight(benchmark::State& state, unsigned positions) {
    std::vector<ethernetSignalDef_t> definitions;
    for (unsigned i = 0; i < positions; ++i) {
        definitions.push_back(signalOf({.sourcePort = static_cast<std::uint16_t>(i % 3 == 0 ? 30490 : 0),
                                        .destinationPort = static_cast<std::uint16_t>(2 * i + 2),
                                        .ipProtocol = static_cast<std::uint16_t>(i % 2 == 0 ? 17 : 0)}));
    }
    const Signals signals(definitions);
    std::vector<MIITraceMessage> messages = messagesTo(1);
    std::vector<unsigned long> ids;
    std::uint64_t address = 0x020000000000;
    for (auto _ : state) {
        Octets& frame = messages[address % frameCount].frame;
        ++address;
        for (std::size_t i = 0; i < 6; ++i) {
            frame[6 + i] = static_cast<std::uint8_t>(address >> (40 - 8 * i));
        }
        benchmark::DoNotOptimize(byLibrary(messages[address % frameCount], ids));
    }
}

/// Twenty messages in one datagram, with a signal in each.
void someIp(benchmark::State& state) {
    std::vector<ethernetSignalDef_t> definitions;
    Octets payload;
    for (unsigned i = 0; i < 20; ++i) {
        definitions.push_back(signalOf({.ethSignalType = ethSignalPosType_t::SOMEIP,
                                        .destinationPort = 1,
                                        .serviceId = 0x1234,
                                        .methodEventId = 0x8000 + i}));
        append(payload, 0x12348000ULL + i, 4);
        append(payload, 8, 4);
        payload.resize(payload.size() + 16);
    }
    payload.push_back(0);
    const Signals signals(definitions);
    decodeInTurn(state, {{1, frameTo(1, payload), 0}}, byLibrary);
}

} // namespace

int main(int argc, char** argv) {
    checkProbe();
    benchmark::RegisterBenchmark("AnalyzeFrame", analyze);
    benchmark::RegisterBenchmark("EthernetDecode/8_signals", [](auto& state) { known(state, 1); });
    benchmark::RegisterBenchmark("EthernetDecode_probe/8_signals", knownByProbe);
    benchmark::RegisterBenchmark("EthernetDecode/known_negative", [](auto& state) { known(state, 2000); });
    for (const unsigned positions : {10U, 1000U, 10'000U}) {
        benchmark::RegisterBenchmark(("EthernetDecode/first_sight/" + std::to_string(positions)).c_str(),
                                     [positions](auto& state) { firstSight(state, positions); })
            ->Iterations(20'000); // signals are built once
    }
    benchmark::RegisterBenchmark("EthernetDecode/someip/20_messages", someIp);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
