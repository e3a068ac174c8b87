// Fixed work on one hot path of librksignal, for a tool that counts instructions. What counts happens inside
// the function `measuredWork`; what prepares it, and a first run that fills tables and compiles programs, lie
// outside:
//
//     valgrind --tool=callgrind --toggle-collect=measuredWork hot_paths can/private
//
// Prints how much it did, e.g. `4096 frame`. Without arguments it lists the paths, with `--compiler` it names
// the compiler that made it. check_instructions.py counts them all.

#include "CanWorkload.h"
#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
#include "event/EventParser.h"
#include "expression/ExpParser.h"
#include "support/EthernetFrame.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <unistd.h>
#include <vector>

/// The mark. Exported under its plain name, and never inlined, so that tools find it.
extern "C" [[gnu::noinline, gnu::visibility("default")]] std::size_t
measuredWork(const std::function<std::size_t()>& work) {
    const std::size_t count = work();
    asm volatile("" : : "r"(count) : "memory"); // no tail call, which would leave the function too early
    return count;
}

namespace {

/// Does the work and says how often.
using Work = std::function<std::size_t()>;

constexpr std::size_t rounds = 4;
constexpr unsigned fewFrames = 64, fieldsPerFrame = 8;

template <class Class, class Message>
Work decodeAll(std::vector<Message> messages, const std::shared_ptr<SignalStorage>& storage) {
    return [messages = std::move(messages), ids = std::vector<unsigned long>(), storage]() mutable {
        for (std::size_t round = 0; round < rounds; ++round) {
            for (const Message& message : messages) {
                bool hasWritten = false;
                if constexpr (std::is_same_v<Class, EthernetSignal>) {
                    hasWritten = Class::decodeMessage(message, ids, storage.get());
                } else {
                    hasWritten = Class::decodeMessage(message, ids, 0, storage.get());
                }
                if (!hasWritten) {
                    std::fputs("a frame has given no signal a value\n", stderr);
                    std::exit(2);
                }
            }
        }
        return rounds * messages.size();
    };
}

Work can(CanWorkload workload, bool shared) {
    const auto signals = std::make_shared<BenchSignals>(workload, shared);
    return decodeAll<CANSignal>(std::move(workload.frames),
                                std::shared_ptr<SignalStorage>(signals, &signals->storage));
}

Work canPrivate() {
    return can(generatedWorkload(1000), false);
}
Work canShared() {
    return can(generatedWorkload(200), true);
}

/// Frames of 64 bytes with eight fields in the first eight.
Work canFd() {
    CanWorkload workload = generatedWorkload(1000);
    for (canSignalDef_t& definition : workload.definitions) {
        definition.canFD = true;
    }
    for (CANExtTraceMessage& frame : workload.frames) {
        frame.frameFormat |= 2;
        frame.length = 64;
    }
    return can(std::move(workload), false);
}

/// The first field of a frame says which of the other seven it carries.
Work canMultiplexed() {
    CanWorkload workload = generatedWorkload(1000);
    for (std::size_t i = 0; i < workload.definitions.size(); ++i) {
        canSignalDef_t& definition = workload.definitions[i];
        definition.type = signalValue_t::Unsigned;
        definition.multiplexer = i % 8 == 0;
        definition.mux = static_cast<std::uint16_t>(i % 8 / 2);
    }
    const auto signals = std::make_shared<BenchSignals>(workload, false);
    for (std::size_t i = 0; i < signals->signals.size(); ++i) {
        if (i % 8 != 0) {
            signals->signals[i]->fileUnderMultiplexer();
        }
    }
    for (CANExtTraceMessage& frame : workload.frames) {
        frame.payload[0] &= 0b1110; // the values 0 to 3 and 4 to 7, that nobody has
    }
    return decodeAll<CANSignal>(std::move(workload.frames),
                                std::shared_ptr<SignalStorage>(signals, &signals->storage));
}

/// Signals of one class, and the storage that they are in.
template <class Signal>
struct Signals {
    SignalStorage storage;
    std::vector<std::unique_ptr<Signal>> signals;
};

/// Eight fields of 7 bits in each of some frames; `place` puts them into their frame.
template <class Signal, class Definition>
std::shared_ptr<SignalStorage> signalsOf(const std::function<void(Definition&, unsigned frame)>& place) {
    const QuietOutput quiet;
    const auto owner = std::make_shared<Signals<Signal>>();
    for (unsigned frame = 0; frame < fewFrames; ++frame) {
        for (unsigned field = 0; field < fieldsPerFrame; ++field) {
            Definition definition;
            definition.instance = std::to_string(frame) + "." + std::to_string(field);
            definition.startbit = static_cast<std::uint16_t>(8 * field);
            definition.bits = 7;
            definition.type = field % 3 == 0 ? signalValue_t::Signed : signalValue_t::Unsigned;
            place(definition, frame);
            owner->signals.push_back(std::make_unique<Signal>(definition, false, &owner->storage));
        }
    }
    return {owner, &owner->storage};
}

Work lin() {
    std::vector<LINTraceMessage> messages;
    for (unsigned frame = 0; frame < fewFrames; ++frame) {
        LINTraceMessage& message = messages.emplace_back();
        message.timestamp = frame + 1;
        message.protectedId = static_cast<std::uint8_t>(frame);
        const auto byte = static_cast<std::uint8_t>(frame);
        message.data = {byte, 1, byte, 3, byte, 5, byte, 7};
    }
    return decodeAll<LINSignal>(
        std::move(messages),
        signalsOf<LINSignal, linSignalDef_t>([](auto& definition, unsigned f) { definition.msgId = f; }));
}

/// Bare fields, or fields in the second of two PDUs.
Work flexRay(bool inPdus) {
    std::vector<FlexRayExtTraceMessage> messages;
    for (unsigned frame = 0; frame < fewFrames; ++frame) {
        FlexRayExtTraceMessage& message = messages.emplace_back();
        message.timestamp = frame + 1;
        message.slot = static_cast<std::uint16_t>(1 + frame);
        message.payload.assign(32, static_cast<std::uint8_t>(0xA5 + frame));
        const std::uint8_t first[] = {0, 0, 1, 4};
        const std::uint8_t second[] = {0, 0, 2, 8};
        std::copy(std::begin(first), std::end(first), message.payload.begin());
        std::copy(std::begin(second), std::end(second), message.payload.begin() + 8);
        message.data = message.payload;
    }
    return decodeAll<FlexRaySignal>(
        std::move(messages), signalsOf<FlexRaySignal, flexRaySignalDef_t>([=](auto& definition, unsigned f) {
            flexRayPosition_t position;
            position.type = true;
            position.slot = static_cast<std::uint16_t>(1 + f);
            position.repetition = 1;
            position.startBit = definition.startbit;
            if (inPdus) {
                position.pduId = 2;
            }
            definition.positions = {position};
        }));
}

/// Bare fields, or fields in the second of two SOME/IP messages.
Work ethernet(bool inSomeIp) {
    Octets payload(64, 0xA5);
    if (inSomeIp) {
        payload.clear();
        for (const std::uint64_t event : {1U, 2U}) {
            append(payload, 0x12348000ULL + event, 4);
            append(payload, 8, 4);
            payload.resize(payload.size() + 16, 0x5A);
        }
        payload.push_back(0);
    }
    std::vector<MIITraceMessage> messages;
    for (unsigned frame = 0; frame < fewFrames; ++frame) {
        MIITraceMessage& message = messages.emplace_back();
        message.timestamp = frame + 1;
        message.frame = FrameText{.destinationPort = static_cast<std::uint16_t>(1 + frame)}.with(payload);
    }
    return decodeAll<EthernetSignal>(
        std::move(messages),
        signalsOf<EthernetSignal, ethernetSignalDef_t>([=](auto& definition, unsigned f) {
            ethernetPosition_t position{.startBit = definition.startbit,
                                        .destinationPort = static_cast<std::uint16_t>(1 + f),
                                        .ipProtocol = 17};
            if (inSomeIp) {
                position.ethSignalType = ethSignalPosType_t::SOMEIP;
                position.serviceId = 0x1234;
                position.methodEventId = 0x8002;
            }
            definition.positions = {position};
        }));
}

/// Signals that have values and are found as s0, s1, ...; key files of shared ones are removed with them.
class NamedSignals {
  public:
    explicit NamedSignals(bool shared) {
        const QuietOutput quiet;
        for (unsigned i = 0; i < fieldsPerFrame; ++i) {
            baseSignalDef_t definition;
            definition.instance = "hotPath" + std::to_string(i) + "." + std::to_string(getpid());
            definition.bits = 16;
            definition.scale = 0.5;
            signals.push_back(std::make_unique<BaseSignal>(definition, shared));
            signals.back()->writeRaw(100 + i, 1);
            storage.instancesByName["s" + std::to_string(i)] = signals.back().get();
        }
    }
    ~NamedSignals() {
        const QuietOutput quiet;
        for (auto& signal : signals) {
            const std::string keyFile = "/tmp/" + signal->def.instance;
            signal.reset();
            std::remove(keyFile.c_str());
        }
    }
    NamedSignals(const NamedSignals&) = delete;
    NamedSignals& operator=(const NamedSignals&) = delete;

    SignalStorage storage;
    std::vector<std::unique_ptr<BaseSignal>> signals;
};

constexpr const char* condition = "(s0 + s1) * 2 - s2 / 4 > 10 || s3 < 3 && s4 != 0";

Work evaluate(bool shared) {
    const auto signals = std::make_shared<NamedSignals>(shared);
    const auto expression = std::make_shared<ExpParser>(condition, false, &signals->storage);
    return [signals, expression] {
        constexpr std::size_t times = 5000;
        bool result = false;
        for (std::size_t i = 0; i < times; ++i) {
            expression->getExpResult(result);
        }
        return times;
    };
}

Work compile() {
    const auto signals = std::make_shared<NamedSignals>(false);
    return [=] {
        constexpr std::size_t times = 100;
        for (std::size_t i = 0; i < times; ++i) {
            const ExpParser expression(condition, false, &signals->storage);
        }
        return times;
    };
}

Work writeSlots(bool shared) {
    const auto signals = std::make_shared<NamedSignals>(shared);
    return [=] {
        constexpr unsigned times = 2000;
        for (unsigned i = 0; i < times; ++i) {
            for (const auto& signal : signals->signals) {
                signal->writeRaw(i, i);
            }
        }
        return times * signals->signals.size();
    };
}

Work readSlots(bool shared) {
    const auto signals = std::make_shared<NamedSignals>(shared);
    return [=] {
        constexpr unsigned times = 2000;
        double value = 0;
        unsigned long timestamp = 0;
        for (unsigned i = 0; i < times; ++i) {
            for (const auto& signal : signals->signals) {
                signal->read(value, timestamp);
            }
        }
        return times * signals->signals.size();
    };
}

/// Conditions with remarks between them, that make names rare.
Work scanEvent(std::size_t remarkWords) {
    std::string text;
    for (unsigned i = 0; text.size() < 400'000; ++i) {
        text +=
            "CAN.signal" + std::to_string(i % 500) + " > " + std::to_string(i % 97) + " && GPS.Speed < 5\n//";
        for (std::size_t word = 0; word < remarkWords; ++word) {
            text += word % 7 == 0 ? " the door" : " is open";
        }
        text += '\n';
    }
    return [text = std::move(text)] {
        const EventParser parser(text);
        return text.size();
    };
}

struct Path {
    const char *name, *unit;
    std::function<Work()> prepare;
};

const std::vector<Path>& paths() {
    static const std::vector<Path> all = {
        {"can/private", "frame", canPrivate},
        {"can/shared", "frame", canShared},
        {"can/fd", "frame", canFd},
        {"can/multiplexed", "frame", canMultiplexed},
        {"lin", "frame", lin},
        {"flexray/bare", "frame", [] { return flexRay(false); }},
        {"flexray/pdus", "frame", [] { return flexRay(true); }},
        {"ethernet/bare", "frame", [] { return ethernet(false); }},
        {"ethernet/someip", "frame", [] { return ethernet(true); }},
        {"expression/private", "evaluation", [] { return evaluate(false); }},
        {"expression/shared", "evaluation", [] { return evaluate(true); }},
        {"expression/compile", "text", compile},
        {"event/rare_names", "byte", [] { return scanEvent(200); }},
        {"event/dense_names", "byte", [] { return scanEvent(2); }},
        {"slot/write/private", "write", [] { return writeSlots(false); }},
        {"slot/write/shared", "write", [] { return writeSlots(true); }},
        {"slot/read/private", "read", [] { return readSlots(false); }},
        {"slot/read/shared", "read", [] { return readSlots(true); }},
    };
    return all;
}

int run(const Path& path) {
    const Work work = path.prepare();
    work();
    std::printf("%zu %s\n", measuredWork(work), path.unit);
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    const char* const wanted = count == 2 ? arguments[1] : "";
    if (std::strcmp(wanted, "--compiler") == 0) {
#ifdef __clang__
        std::puts("clang " __VERSION__);
#else
        std::puts("g++ " __VERSION__);
#endif
        return 0;
    }
    for (const Path& path : paths()) {
        if (std::strcmp(wanted, path.name) == 0) {
            return run(path);
        }
        if (count == 1) {
            std::puts(path.name);
        }
    }
    if (count != 1) {
        std::fputs("usage: hot_paths [PATH | --compiler]\n", stderr);
    }
    return count == 1 ? 0 : 2;
}
