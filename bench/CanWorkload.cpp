#include "CanWorkload.h"

#include "definition/dbc/DbcFile.h"

#include <cstdio>
#include <map>
#include <random>
#include <unistd.h>

namespace {

constexpr std::size_t frameCount = 1024;

/// Frames of random content over the identifiers of the definitions, each as long as its signals need.
std::vector<CANExtTraceMessage> randomFrames(const std::vector<canSignalDef_t>& definitions) {
    std::map<std::uint64_t, CANExtTraceMessage> kinds;
    for (const canSignalDef_t& definition : definitions) {
        CANExtTraceMessage& kind = kinds[std::uint64_t{definition.extended} << 32 | definition.msgId];
        kind.channel = definition.channel;
        kind.canId = definition.msgId;
        kind.frameFormat = (definition.extended ? 1u : 0u) + (definition.canFD ? 2u : 0u);
        kind.length = definition.canFD ? 64 : 8;
    }
    std::vector<CANExtTraceMessage> palette;
    for (const auto& [key, kind] : kinds) {
        palette.push_back(kind);
    }
    std::mt19937_64 random(20240607);
    std::vector<CANExtTraceMessage> frames;
    for (std::size_t i = 0; i < frameCount; ++i) {
        CANExtTraceMessage frame = palette[random() % palette.size()];
        frame.timestamp = 1'000'000 * i;
        for (std::size_t byte = 0; byte < frame.length; ++byte) {
            frame.payload[byte] = static_cast<std::uint8_t>(random());
        }
        frames.push_back(frame);
    }
    return frames;
}

} // namespace

double CanWorkload::signalsPerFrame() const {
    std::map<std::uint64_t, std::size_t> signals;
    for (const canSignalDef_t& definition : definitions) {
        ++signals[std::uint64_t{definition.extended} << 32 | definition.msgId];
    }
    std::size_t sum = 0;
    for (const CANExtTraceMessage& frame : frames) {
        sum += signals[std::uint64_t{frame.isExtended()} << 32 | frame.canId];
    }
    return static_cast<double>(sum) / static_cast<double>(frames.size());
}

CanWorkload generatedWorkload(std::size_t signals) {
    constexpr unsigned signalsPerMessage = 8;
    CanWorkload workload;
    workload.name = std::to_string(signals);
    for (std::size_t i = 0; i < signals; ++i) {
        const auto message = static_cast<std::uint32_t>(i / signalsPerMessage);
        const auto place = static_cast<unsigned>(i % signalsPerMessage);
        canSignalDef_t definition;
        definition.instance = "Bench" + std::to_string(message) + "." + std::to_string(place);
        definition.signal = definition.instance;
        definition.endian = place % 2 == 1;
        definition.startbit = static_cast<std::uint16_t>(8 * place + (definition.endian ? 6 : 1));
        definition.bits = 6;
        definition.type = place % 3 == 0 ? signalValue_t::Signed : signalValue_t::Unsigned;
        definition.msgId = 0x100 + message;
        workload.definitions.push_back(definition);
    }
    workload.frames = randomFrames(workload.definitions);
    return workload;
}

std::optional<CanWorkload> dbcWorkload(const Recording& recording) {
    const auto text = readRecording(recording);
    if (!text) {
        return std::nullopt;
    }
    CanWorkload workload;
    workload.name = recording.name;
    for (const auto& message : rksignal::parseDbc(*text, recording.file).messages) {
        for (const auto& signal : message.signals) {
            canSignalDef_t definition = signal.can();
            definition.multiplexer = 0; // every signal is there in every frame
            workload.definitions.push_back(definition);
        }
    }
    workload.frames = randomFrames(workload.definitions);
    return workload;
}

BenchSignals::BenchSignals(const CanWorkload& workload, bool shared) : shared(shared) {
    for (canSignalDef_t definition : workload.definitions) {
        definition.instance += ".bench" + std::to_string(getpid());
        signals.push_back(std::make_unique<CANSignal>(definition, shared, &storage));
    }
}

BenchSignals::~BenchSignals() {
    for (auto& signal : signals) {
        const std::string keyFile = "/tmp/" + signal->def.instance;
        signal.reset();
        if (shared) {
            std::remove(keyFile.c_str());
        }
    }
}
