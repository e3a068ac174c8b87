#include "audit/Audit.h"

#include "audit/AuditCheck.h"
#include "audit/Checks.h"
#include "value/Replay.h"

#include <algorithm>
#include <initializer_list>
#include <span>
#include <tuple>

namespace rksignal {

/// Hands each message to the survey and to a replay, then to the checks.
class AuditEngine final : public ValueSink {
  public:
    AuditEngine(Catalog& catalog, const AuditSettings& settings)
        : context(catalog), replay(catalog, *this, {.strict = settings.strict}), skipped(settings.skipped) {
        using enum AuditRule;
        if (!catalog.messages().empty()) { // otherwise all is undefined
            addUnlessSkipped({NeverSeen, Undefined}, [&] { return makeCoverageCheck(context); });
        }
        addUnlessSkipped({WrongLength}, [&] { return makeLengthCheck(context); });
        addUnlessSkipped({LostMessages, CycleTime, BusGap, TimeBackwards},
                         [&] { return makeTimeCheck(context); });
        addUnlessSkipped({CounterStuck, CounterJump}, [&] { return makeCounterCheck(context, settings); });
        addUnlessSkipped({Checksum}, [&] { return makeChecksumCheck(context, settings); });
        addUnlessSkipped({OutOfRange, NoText}, [&] { return makeRangeCheck(context); });
        addUnlessSkipped({Constant}, [&] { return makeConstantCheck(context); });
        addUnlessSkipped({TwoChannels}, [&] { return makeChannelCheck(context); });
    }

    template <class Frame>
    void receiveFrame(const Frame& frame, std::span<const std::uint8_t> payload) {
        known = false;
        context.survey.receive(frame);
        replay.receive(frame);
        if (const FrameStatistics* const statistics = context.survey.latest()) {
            const AuditedFrame audited{*statistics, frame.timestamp, payload, known};
            for (const auto& check : checks) {
                check->received(audited);
            }
        }
    }

    template <class Message>
    void receiveInput(const Message& message) {
        context.survey.receive(message);
        replay.receive(message);
    }

    void pass(PassedMessage kind, std::uint64_t timestamp) {
        context.survey.pass(kind, timestamp);
        replay.pass(kind, timestamp);
    }

    void written(const MessageInfo& message, std::span<const unsigned long> ids) override {
        for (const unsigned long id : ids) {
            const std::size_t signal = context.catalog.indexOf(id);
            unsigned long raw = 0;
            unsigned long time = 0;
            context.catalog.signals()[signal]->read(raw, time);
            const AuditedValue value{signal, raw, message.timestamp, message.origin};
            for (const auto& check : checks) {
                check->written(value);
            }
        }
        for (ValueSink* const sink : sinks) {
            sink->written(message, ids);
        }
    }

    void decoded(const MessageInfo& message) override {
        known = true;
        for (ValueSink* const sink : sinks) {
            sink->decoded(message);
        }
    }

    void reached(std::uint64_t timestamp) override {
        for (ValueSink* const sink : sinks) {
            sink->reached(timestamp);
        }
    }

    void signalsAdded() override {
        for (ValueSink* const sink : sinks) {
            sink->signalsAdded();
        }
    }

    void withdrawn(const MessageInfo& message, std::span<const unsigned long> ids) override {
        for (ValueSink* const sink : sinks) {
            sink->withdrawn(message, ids);
        }
    }

    bool closed() const override {
        return std::ranges::any_of(sinks, [](const ValueSink* sink) { return sink->closed(); });
    }

    void addSink(ValueSink& sink) { sinks.push_back(&sink); }

    std::vector<Finding> findings() {
        replay.finish();
        std::vector<Finding> found;
        for (const auto& check : checks) {
            check->report(found);
        }
        std::erase_if(found, [this](const Finding& finding) {
            return skipped.test(static_cast<std::size_t>(finding.rule));
        });
        const auto order = [](const Finding& finding) {
            return std::tuple(-static_cast<int>(finding.severity), finding.rule, finding.first);
        };
        std::ranges::stable_sort(found, {}, order);
        return found;
    }

    AuditContext context;
    Replay replay;

  private:
    template <class Make>
    void addUnlessSkipped(std::initializer_list<AuditRule> rules, Make&& make) {
        if (!std::all_of(rules.begin(), rules.end(),
                         [this](AuditRule rule) { return skipped.test(static_cast<std::size_t>(rule)); })) {
            checks.push_back(make());
        }
    }

    std::bitset<auditRules> skipped;
    std::vector<std::unique_ptr<AuditCheck>> checks;
    std::vector<ValueSink*> sinks;
    bool known = false;
};

Audit::Audit(Catalog& catalog, const AuditSettings& settings)
    : engine(std::make_unique<AuditEngine>(catalog, settings)) {}

Audit::~Audit() = default;

void Audit::addValueSink(ValueSink& sink) {
    engine->addSink(sink);
}

void Audit::receive(const CANExtTraceMessage& frame) {
    const std::size_t length = std::min<std::size_t>(frame.length, frame.payload.size());
    engine->receiveFrame(frame, {frame.payload.data(), length});
}

void Audit::receive(const LINTraceMessage& frame) {
    engine->receiveFrame(frame, frame.data);
}

void Audit::receive(const FlexRayExtTraceMessage& frame) {
    engine->receiveFrame(frame, {});
}

void Audit::receive(const MIITraceMessage& frame) {
    engine->receiveFrame(frame, {});
}

void Audit::receive(const EthernetTraceMessage& frame) {
    if (frame.kind == EthernetTraceMessage::Frame) {
        engine->receiveFrame(frame, {});
    } else {
        engine->receiveInput(frame);
    }
}

void Audit::receive(const GpioTraceMessage& message) {
    engine->receiveInput(message);
}

void Audit::receive(const AnalogTraceMessage& message) {
    engine->receiveInput(message);
}

void Audit::receive(const KeyboardMessage& message) {
    engine->receiveInput(message);
}

void Audit::receive(const SystemMessage& message) {
    engine->receiveInput(message);
}

void Audit::receive(const GPSTraceMessage& message) {
    engine->receiveInput(message);
}

void Audit::pass(PassedMessage kind, std::uint64_t timestamp) {
    engine->pass(kind, timestamp);
}

bool Audit::closed() const {
    return engine->closed();
}

std::vector<Finding> Audit::findings() {
    return engine->findings();
}

const Survey& Audit::survey() const {
    return engine->context.survey;
}

const ReplayStatistics& Audit::statistics() const {
    return engine->replay.statistics();
}

} // namespace rksignal
