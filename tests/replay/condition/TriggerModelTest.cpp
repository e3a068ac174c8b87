/// \file
/// The index of conditions against a model that looks at all of them at every frame.
#include "condition/Triggers.h"
#include "value/Replay.h"

#include <gtest/gtest.h>

#include <random>

namespace rksignal {
namespace {

constexpr const char* definitions = R"(BO_ 1 A: 8 X
 SG_ One : 0|2@1+ (1,0) [0|0] "" X
 SG_ Two : 2|2@1- (0.5,0) [0|0] "" X
BO_ 2 B: 8 X
 SG_ Mux M : 0|1@1+ (1,0) [0|0] "" X
 SG_ Zero m0 : 1|1@1+ (1,0) [0|0] "" X
 SG_ One m1 : 8|2@1+ (1,0) [0|0] "" X
)";

/// Of a signal by its number.
std::optional<std::uint64_t> timeoutOf(std::size_t signal) {
    return 400'000'000 + signal % 3 * 200'000'000;
}

struct Dice : std::mt19937 {
    using std::mt19937::mt19937;
    unsigned operator()(std::size_t sides) {
        return static_cast<unsigned>(std::mt19937::operator()() % sides);
    }
};

/// Frames of all lengths on two channels, with pauses in which signals time out.
std::string randomLog(Dice dice) {
    std::string log;
    for (unsigned i = 0, tenth = 10; i < 1500; ++i) {
        tenth += dice(7) == 0 ? dice(6) : 0;
        const char* const data[] = {"", "00", "01", "03", "0C", "0001", "0102", "0103", "0F"};
        log += "(" + std::to_string(tenth / 10) + "." + std::to_string(tenth % 10) + ") can";
        log += std::to_string(dice(2));
        log += " 00" + std::to_string(1 + dice(3)) + "#";
        log += std::string(data[dice(9)]) + "\n";
    }
    return log;
}

std::vector<std::string> randomExpressions(Dice dice, const Catalog& catalog) {
    const auto name = [&] { return catalog.signals()[dice(catalog.signals().size())]->def.instance; };
    std::vector<std::string> expressions;
    for (int i = 0; i < 30; ++i) {
        std::string text =
            "!(" + name() + " > 0)"; // in steps: the order of operands is the compiler's choice
        text += dice(2) != 0 ? " && " : " || ";
        text += name();
        text += " != " + std::to_string(dice(3));
        text += " || " + name() + " > 2";
        expressions.push_back(text);
    }
    return expressions;
}

/// The library's getTrigger after every frame and every time-out. Without edge trigger, where it fires again
/// and again, only conditions with a signal that looks other than before count.
struct Model : ValueSink {
    Model(const Catalog& catalog, std::vector<std::unique_ptr<ExpParser>> parsers, bool edge)
        : catalog(catalog), parsers(std::move(parsers)), edge(edge), before(look()) {}

    void reached(std::uint64_t now) override {
        std::map<std::uint64_t, std::vector<unsigned long>> stale; // by time
        for (std::size_t i = 0; i < catalog.signals().size(); ++i) {
            const BaseSignal& signal = *catalog.signals()[i];
            stale[signal.slot->valid != 0 ? signal.slot->timestamp + *timeoutOf(i) : now].push_back(
                signal.id);
        }
        for (const auto& [time, ids] : stale) {
            if (time < now) {
                BaseSignal::clear(ids, catalog.signals()[0]->storage);
                evaluate(time);
            }
        }
    }
    void written(const MessageInfo& /*message*/, std::span<const unsigned long> /*ids*/) override {}
    void decoded(const MessageInfo& message) override { evaluate(message.timestamp); }

    /// The values of all signals; -100 is none.
    std::map<const BaseSignal*, double> look() const {
        std::map<const BaseSignal*, double> values;
        for (const auto& signal : catalog.signals()) {
            values[signal.get()] = signal->slot->valid != 0 ? signal->physical() : -100;
        }
        return values;
    }

    void evaluate(std::uint64_t time) {
        std::map<const BaseSignal*, double> now = look();
        for (std::size_t i = 0; i < parsers.size(); ++i) {
            const auto changed = [&](const BaseSignal* signal) { return now[signal] != before[signal]; };
            const auto& signals = parsers[i]->signals;
            if ((edge || std::any_of(signals.begin(), signals.end(), changed)) && parsers[i]->getTrigger()) {
                firings.push_back(std::to_string(time) + " " + std::to_string(i));
            }
        }
        before = now;
    }

    const Catalog& catalog;
    std::vector<std::unique_ptr<ExpParser>> parsers;
    bool edge;
    std::vector<std::string> firings;
    std::map<const BaseSignal*, double> before;
};

struct Recorder : FiringSink {
    void fired(const Firing& each) override {
        firings.push_back(std::to_string(each.timestamp) + " " + std::to_string(each.trigger));
    }
    std::vector<std::string> firings;
};

std::vector<std::string> firings(const std::string& log, unsigned seed, bool edge, bool byModel) {
    Catalog catalog;
    catalog.addDbcText(definitions, "bound", 0);
    catalog.addDbcText(definitions, "any"); // decodes the frames of channel 0 once more
    std::vector<std::unique_ptr<ExpParser>> parsers;
    std::vector<Condition> conditions;
    for (const std::string& text : randomExpressions(Dice(seed), catalog)) {
        parsers.push_back(std::make_unique<ExpParser>(text.c_str(), edge, &catalog.storage()));
        conditions.emplace_back(text, catalog, ConditionOptions{.edgeTrigger = edge});
    }
    Model model(catalog, std::move(parsers), edge);
    Triggers triggers(catalog, std::move(conditions), {.timeoutOf = timeoutOf});
    Recorder recorder;
    triggers.addFiringSink(recorder);
    Trace trace;
    trace.addMemory(std::span(reinterpret_cast<const std::uint8_t*>(log.data()), log.size()), "random.log");
    Replay(catalog, byModel ? static_cast<ValueSink&>(model) : triggers).run(trace);
    return byModel ? model.firings : recorder.firings;
}

TEST(TriggerModel, FiresAsIfAllConditionsWereTriedAtEveryFrame) {
    for (const unsigned seed : {1U, 2U, 3U, 4U}) {
        const std::string log = randomLog(Dice(seed));
        const auto expected = firings(log, seed, seed % 2 == 0, true);
        EXPECT_GT(expected.size(), 100U);
        EXPECT_EQ(firings(log, seed, seed % 2 == 0, false), expected) << "seed " << seed;
    }
}

} // namespace
} // namespace rksignal
