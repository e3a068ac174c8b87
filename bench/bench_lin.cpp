// LIN frames of eight signals: decoding beside the least work that gives the same result. Times are per
// frame.

#include "BusBench.h"
#include "bus/LINKey.h"
#include "bus/LINSignal.h"
#include "signal/ByteOrder.h"

namespace {

constexpr unsigned signalsPerFrame = 8;
constexpr unsigned framesPerChannel = 60; // further identifiers are those of diagnosis

struct Lin {
    using Signal = LINSignal;
    using Definition = linSignalDef_t;
    using Message = LINTraceMessage;
    static constexpr const char* name = "Lin";

    static void decode(const Message& message, std::vector<unsigned long>& ids, SignalStorage* storage) {
        LINSignal::decodeMessage(message, ids, 0, storage);
    }

    template <class Field>
    struct Probe {
        explicit Probe(const std::vector<Definition>& definitions) : table(definitions.size()) {
            for (std::size_t begin = 0; begin < definitions.size(); begin += signalsPerFrame) {
                for (std::size_t i = begin; i < begin + signalsPerFrame; ++i) {
                    table.fields.emplace_back(definitions[i], definitions[i].startbit, i);
                    table.fields.back().countFromFrame();
                }
                table.enter(lin::frameKey(0, definitions[begin].channel, definitions[begin].msgId), begin);
            }
        }

        void decode(const Message& message, std::vector<unsigned long>& ids) {
            ids.clear();
            if (message.data.empty()) {
                return;
            }
            const std::uint64_t word = wordAt(std::span(message.data), 0);
            for (Field& field : table.find(lin::frameKey(0, message.channel, message.protectedId))) {
                field.store(word, message.timestamp);
                ids.push_back(field.id);
            }
        }

        ProbeTable<Field> table;
    };
};

/// Fields of six bits, half of them big-endian, a third signed. Every fourth frame has but six data bytes,
/// and so two fields that are zero.
BusWorkload<Lin> workloadOf(std::size_t signals) {
    BusWorkload<Lin> workload;
    workload.name = std::to_string(signals);
    std::vector<LINTraceMessage> palette;
    std::mt19937_64 random(20240607);
    for (unsigned frame = 0; frame < signals / signalsPerFrame; ++frame) {
        linSignalDef_t definition;
        definition.msgId = frame % framesPerChannel;
        definition.channel = static_cast<std::uint8_t>(frame / framesPerChannel);
        for (unsigned place = 0; place < signalsPerFrame; ++place) {
            definition.instance = std::to_string(frame) + "." + std::to_string(place);
            definition.bits = 6;
            definition.endian = place % 2 == 1;
            definition.type = place % 3 == 0 ? signalValue_t::Signed : signalValue_t::Unsigned;
            definition.startbit = static_cast<std::uint16_t>(8 * place + (definition.endian ? 6 : 1));
            workload.definitions.push_back(definition);
        }
        LINTraceMessage message;
        message.channel = definition.channel;
        message.protectedId = static_cast<std::uint8_t>(definition.msgId);
        message.data.resize(frame % 4 == 3 ? 6 : 8);
        std::generate(message.data.begin(), message.data.end(),
                      [&random] { return static_cast<std::uint8_t>(random()); });
        palette.push_back(message);
    }
    workload.frames = shuffled(palette);
    return workload;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<BusWorkload<Lin>> workloads{workloadOf(480), workloadOf(4000), workloadOf(20'000)};
    registerContests(workloads);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
