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
 SG_ Two : 2|2@1- (-0.5,0.25) [0|0] "" X
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

/// Whose limits are not exact in binary.
constexpr const char* scaledDefinitions = R"(BO_ 1 A: 8 X
 SG_ Tenth : 0|16@1+ (0.1,-40) [0|0] "" X
 SG_ Falling : 16|16@1- (-0.3,0.7) [0|0] "" X
 SG_ Huge : 32|32@1- (1e6,3) [0|0] "" X
)";

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
    const auto comparison = [&] {
        const char* const operators[] = {" < ", " <= ", " > ", " >= ", " == ", " != "};
        const std::string number = dice(2) != 0 ? "-0.25" : std::to_string(dice(4));
        const std::string signal = name();
        const std::string compares = operators[dice(6)];
        return dice(3) == 0 ? number + compares + signal : signal + compares + number;
    };
    for (int i = 0; i < 60; ++i) {
        std::string text = comparison();
        for (std::size_t terms = dice(3); terms > 0; --terms) {
            const std::string left = "(" + text + (dice(3) != 0 ? ") && " : ") || ");
            text = left + (dice(4) == 0 ? name() : comparison());
        }
        expressions.push_back(text);
    }
    return expressions;
}

/// Raw values that come in pairs around those whose physical values, as a person writes them, are limits of
/// the conditions.
std::string logAroundLimits(Dice dice) {
    std::string log;
    for (unsigned i = 0; i < 3000; ++i) {
        char line[64];
        const auto near = [&] { return 1000 * dice(5) + dice(5) - 2; };
        const unsigned tenth = near() & 0xFFFF;
        const unsigned falling = near() & 0xFFFF;
        (void)std::snprintf(line, sizeof line, "(%u.0) can0 001#%02X%02X%02X%02X%08X\n", 10 + i / 10,
                            tenth & 0xFF, tenth >> 8, falling & 0xFF, falling >> 8,
                            __builtin_bswap32(near()));
        log += line;
    }
    return log;
}

std::vector<std::string> expressionsWithLimits(Dice dice, const Catalog& /*catalog*/) {
    std::vector<std::string> expressions;
    const char* const operators[] = {" < ", " <= ", " > ", " >= ", " == "};
    for (int raw = 0; raw < 5000; raw += 1000) {
        for (int near = raw - 1; near <= raw + 1; ++near) {
            const std::string tenth = std::to_string(near / 10 - 40) + "." + std::to_string(near % 10);
            char falling[32];
            (void)std::snprintf(falling, sizeof falling, "%.1f", -0.3 * near + 0.7);
            expressions.push_back("A.Tenth" + std::string(operators[dice(5)]) + tenth);
            expressions.push_back("A.Falling" + std::string(operators[dice(5)]) + falling +
                                  " && A.Tenth >= " + tenth);
            expressions.push_back("A.Huge" + std::string(operators[dice(5)]) + std::to_string(near) +
                                  "000003");
        }
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
            const bool isDue = std::any_of(signals.begin(), signals.end(), changed);
            if (bool result = false; isDue) {
                TriggerCounts& count = counts[i];
                ++(!parsers[i]->getExpResult(result) ? count.isUnknown
                   : result                          ? count.isTrue
                                                     : count.isFalse);
            }
            if ((edge || isDue) && parsers[i]->getTrigger()) {
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
    std::map<std::size_t, TriggerCounts> counts; ///< without firings
};

struct Recorder : FiringSink {
    void fired(const Firing& each) override {
        firings.push_back(std::to_string(each.timestamp) + " " + std::to_string(each.trigger));
    }
    std::vector<std::string> firings;
};

struct Drive {
    std::vector<std::string> files; ///< bound to a channel each, and the last one to none
    std::string log;
    std::vector<std::string> (*expressions)(Dice dice, const Catalog& catalog);
};

/// All firings, then how often each condition was true, false, and unknown.
std::vector<std::string> firings(const Drive& drive, unsigned seed, bool edge, bool byModel) {
    Catalog catalog;
    for (std::size_t i = 0; i < drive.files.size(); ++i) {
        const bool isLast = i + 1 == drive.files.size(); // decodes the frames of all channels once more
        catalog.addDbcText(drive.files[i], "file", isLast ? std::nullopt : std::optional<std::uint8_t>(i));
    }
    std::vector<std::unique_ptr<ExpParser>> parsers;
    std::vector<Condition> conditions;
    for (const std::string& text : drive.expressions(Dice(seed), catalog)) {
        parsers.push_back(std::make_unique<ExpParser>(text.c_str(), edge, &catalog.storage()));
        conditions.emplace_back(text, catalog, ConditionOptions{.edgeTrigger = edge});
        EXPECT_TRUE(conditions.back().isUsable()) << text;
    }
    Model model(catalog, std::move(parsers), edge);
    Triggers triggers(catalog, std::move(conditions), {.timeoutOf = timeoutOf});
    Recorder recorder;
    triggers.addFiringSink(recorder);
    Trace trace;
    const std::string& log = drive.log;
    trace.addMemory(std::span(reinterpret_cast<const std::uint8_t*>(log.data()), log.size()), "random.log");
    Replay(catalog, byModel ? static_cast<ValueSink&>(model) : triggers).run(trace);
    std::vector<std::string> all = byModel ? model.firings : recorder.firings;
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        const TriggerCounts counts = byModel ? model.counts[i] : triggers.counts(i);
        all.push_back(triggers.condition(i).name() + ": " + std::to_string(counts.isTrue) + " " +
                      std::to_string(counts.isFalse) + " " + std::to_string(counts.isUnknown));
    }
    return all;
}

TEST(TriggerModel, FiresAsIfAllConditionsWereTriedAtEveryFrame) {
    for (const unsigned seed : {1U, 2U, 3U, 4U}) {
        const Drive drives[] = {{{definitions, definitions}, randomLog(Dice(seed)), randomExpressions},
                                {{scaledDefinitions}, logAroundLimits(Dice(seed)), expressionsWithLimits}};
        for (const Drive& drive : drives) {
            const auto expected = firings(drive, seed, seed % 2 == 0, true);
            EXPECT_GT(expected.size(), 200U);
            EXPECT_EQ(firings(drive, seed, seed % 2 == 0, false), expected) << "seed " << seed;
        }
    }
}

} // namespace
} // namespace rksignal
