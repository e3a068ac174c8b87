#include "reliability/SoakProcesses.h"

#include "condition/Triggers.h"
#include "rkutil/LogUtil.h"
#include "signal/SlotHolder.h"
#include "signal/SlotView.h"
#include "value/Replay.h"

#include <bit>
#include <cstring>
#include <fstream>
#include <memory>
#include <string_view>
#include <vector>

namespace soak {

namespace {

constexpr useconds_t pause = 1'000; // between two rounds of a process, microseconds

/// What this process has for itself, in KiB.
std::uint64_t ownMemory() {
    std::ifstream status("/proc/self/status");
    std::string word;
    std::uint64_t amount = 0;
    while (word != "RssAnon:" && status >> word) {
    }
    status >> amount;
    return amount;
}

void noteMemory(const Record& record, ReaderCounts& counts) {
    counts.retries = slotLockRetries();
    counts.memory = ownMemory();
    if (!record.isWarm) {
        counts.memoryAfterWarmUp = counts.memory;
    }
}

/// Message lines are counted, not printed.
void countRescues(Record& record) {
    LogUtil::setReceiver([&record](LogLevel, std::string_view text) {
        record.rescued += text.find("died while it held the lock") != std::string_view::npos ? 1 : 0;
    });
}

std::string databaseText(const std::string& prefix) {
    std::string text = "VERSION \"\"\nBU_: ECU\n";
    for (unsigned message = 0; message < messages; ++message) {
        text += "BO_ " + std::to_string(message) + " " + prefix + std::to_string(message) + ": 8 ECU\n";
        for (unsigned i = 0; i < signalsInMessage; ++i) {
            text += " SG_ S" + std::to_string(i) + " : " + std::to_string(16 * i) +
                    "|16@1+ (1,0) [0|65535] \"\" ECU\n";
        }
    }
    return text;
}

/// The conditions: each fires when a signal goes above the middle of its range.
constexpr unsigned watchedSignal(unsigned trigger) {
    return trigger * (signals / triggers);
}

/// How often they must fire, by what is sent alone. A first value that is above counts as well.
class ExpectedFirings {
  public:
    void send(unsigned message, std::uint64_t timestamp) {
        for (unsigned trigger = 0; trigger < triggers; ++trigger) {
            if (watchedSignal(trigger) / signalsInMessage == message) {
                const bool isAbove = valueAt(timestamp, watchedSignal(trigger)) > 0x8000;
                number += isAbove && !wasAbove[trigger] ? 1 : 0;
                wasAbove[trigger] = isAbove;
            }
        }
    }
    std::uint64_t number = 0;

  private:
    std::array<bool, triggers> wasAbove{};
};

class Counter : public rksignal::FiringSink, public rksignal::ValueSink {
  public:
    explicit Counter(Record& record) : record(record) {}

    void fired(const rksignal::Firing&) override { ++record.firings; }
    void written(const rksignal::MessageInfo&, std::span<const unsigned long> ids) override {
        record.values += ids.size();
    }

  private:
    Record& record;
};

/// Sends the frames that are due by now.
class Frames {
  public:
    Frames(Record& record, rksignal::MessageSink& sink) : record(record), sink(sink), start(clockTime()) {
        record.firstTime = start;
    }

    void sendDue() {
        const std::uint64_t now = clockTime();
        for (; record.frames * frameTime <= now - start; ++record.frames) {
            const std::uint64_t sinceStart = record.frames * frameTime, timestamp = start + sinceStart;
            const auto message = static_cast<unsigned>(record.frames % messages);
            CANExtTraceMessage frame{.timestamp = timestamp, .length = 8, .canId = message, .payload = {}};
            const std::uint64_t payload = payloadAt(timestamp);
            std::memcpy(frame.payload.data(), &payload, sizeof payload);
            expected.send(message, timestamp);
            sink.receive(frame);
            record.longestDelay = std::max(record.longestDelay, now - start - sinceStart);
        }
        record.expectedFirings = expected.number;
    }

  private:
    Record& record;
    rksignal::MessageSink& sink;
    ExpectedFirings expected;
    const std::uint64_t start;
};

/// The signals that a process shares by itself.
std::vector<std::unique_ptr<BaseSignal>> build(const std::string& prefix, unsigned first, unsigned count) {
    BaseSignal::detachOnly = true;
    std::vector<std::unique_ptr<BaseSignal>> built;
    for (unsigned i = 0; i < count; ++i) {
        baseSignalDef_t definition;
        definition.instance = instanceOf(prefix, (first + i) % signals);
        definition.bits = 16;
        built.push_back(std::make_unique<BaseSignal>(definition, true));
    }
    return built;
}

} // namespace

void write(Record& record, const std::string& prefix) {
    countRescues(record);
    BaseSignal::detachOnly = true; // the slots are looked at afterwards
    rksignal::Catalog catalog(rksignal::SignalPlace::Shared);
    catalog.addDbcText(databaseText(prefix), "soak.dbc");
    for (const auto& signal : catalog.signals()) {
        if (signal->slot == &signal->privateSlot) {
            record.lacksRoom = true;
            return;
        }
    }
    std::vector<rksignal::Condition> conditions;
    for (unsigned trigger = 0; trigger < triggers; ++trigger) {
        conditions.emplace_back("t" + std::to_string(trigger) + " = " +
                                    instanceOf(prefix, watchedSignal(trigger)) + " > 32768",
                                catalog, rksignal::ConditionOptions{.edgeTrigger = true});
    }
    rksignal::Triggers evaluated(catalog, std::move(conditions));
    Counter counter(record);
    evaluated.addFiringSink(counter);
    evaluated.addValueSink(counter);
    rksignal::Replay replay(catalog, evaluated);
    Frames frames(record, replay);
    ++record.ready;
    for (unsigned round = 0; !record.writerEnds; ++round) {
        frames.sendDue();
        if (round % 32 == 0) {
            noteMemory(record, record.ofWriter);
        }
        usleep(pause);
    }
    noteMemory(record, record.ofWriter);
    record.decoded = rksignal::ReplayStatistics::sum(replay.statistics().decoded);
}

void read(Record& record, const std::string& prefix, unsigned number) {
    countRescues(record);
    ReaderCounts& counts = record.ofReaders[number];
    const bool takesPart = number % 2 == 0;
    const auto own = build(prefix, 0, takesPart ? signals : 0);
    std::vector<SlotView> views;
    for (unsigned i = 0; i < signals && !takesPart; ++i) {
        views.emplace_back(instanceOf(prefix, i));
    }
    ++record.ready;
    for (unsigned round = 0; !record.readersEnd; ++round) {
        for (unsigned i = 0; i < signals; ++i) {
            unsigned long raw = 0, timestamp = 0;
            auto state = SlotView::State::Value;
            const std::uint64_t begin = clockTime();
            if (!takesPart) {
                state = views[i].read(raw, timestamp);
            } else if (!own[i]->read(raw, timestamp)) {
                state = SlotView::State::NoValue;
            }
            counts.latencies.count(clockTime() - begin);
            counts.held += state == SlotView::State::Held ? 1 : 0;
            counts.check(state == SlotView::State::Value, raw, timestamp, i);
        }
        if (round % 32 == 0) {
            noteMemory(record, counts);
        }
        usleep(pause);
    }
    noteMemory(record, counts);
}

void visit(Record& record, const std::string& prefix, unsigned first) {
    countRescues(record);
    ++record.visits;
    ReaderCounts counts;
    const auto signalsHere = build(prefix, first, 50);
    for (int round = 0; round < 20'000; ++round) {
        for (unsigned i = 0; i < signalsHere.size(); ++i) {
            unsigned long raw = 0, timestamp = 0;
            const bool valid = signalsHere[i]->read(raw, timestamp);
            counts.check(valid, raw, timestamp, (first + i) % signals);
        }
        record.tornInVisits += counts.torn;
        counts.torn = 0;
    }
}

} // namespace soak
