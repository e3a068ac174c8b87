/// \file
/// Slots of writers as a source of values: what is told when they come, change, lose their values and go.
#include "live/SlotReplay.h"
#include "condition/Triggers.h"
#include "support/CapturedOutput.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace rksignal {
namespace {

struct SlotReplayTest : testing::Test {
    enum Index : std::size_t { First, Second, Other };

    SlotReplayTest() {
        catalog.addDbcText("BO_ 1 A" + number +
                               ": 8 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"\"\n"
                               " SG_ T : 8|8@1+ (1,0) [0|0] \"\"\nBO_ 2 B" +
                               number +
                               ": 8 X\n"
                               " SG_ S : 0|8@1+ (1,0) [0|0] \"\"\n",
                           "slots.dbc");
    }
    ~SlotReplayTest() override {
        for (std::size_t signal = First; signal <= Other; ++signal) {
            build(signal).reset(); // removes what a child has left
            std::ostringstream claim;
            unlink(("/tmp/" + name(signal)).c_str());
            claim << "/tmp/.rksignal-key-" << std::hex << keys.at(signal);
            unlink(claim.str().c_str());
        }
    }

    const std::string& name(std::size_t signal) { return catalog.signals()[signal]->def.instance; }
    /// As a writer does.
    std::unique_ptr<BaseSignal> build(std::size_t signal) {
        auto built = std::make_unique<BaseSignal>(catalog.signals()[signal]->def, true, &storage);
        keys.at(signal) = built->key;
        return built;
    }

    const std::string number = std::to_string(getpid());
    CapturedOutput output;
    SignalStorage storage;
    Catalog catalog;
    std::array<key_t, 3> keys{};
};

/// What a sink is told, `TIME NAME=RAW ...` and `-NAME`.
struct Told : ValueSink {
    explicit Told(const Catalog& catalog) : catalog(catalog) {}
    void reached(std::uint64_t timestamp) override { last = timestamp; }
    void written(const MessageInfo& message, std::span<const unsigned long> ids) override {
        EXPECT_EQ(message.timestamp, last);
        text << message.timestamp << ' ';
        for (const unsigned long id : ids) {
            const std::size_t index = catalog.indexOf(id);
            text << index << '=' << catalog.signals()[index]->slot->raw << ' ';
        }
    }
    void withdrawn(const MessageInfo&, std::span<const unsigned long> ids) override {
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        text << '-' << catalog.indexOf(ids[0]) << ' ';
        EXPECT_FALSE(catalog.signals()[catalog.indexOf(ids[0])]->read(raw, timestamp));
    }

    const Catalog& catalog;
    std::uint64_t last = 0;
    std::ostringstream text;
};

TEST_F(SlotReplayTest, TellsWhatBecomesOfSlots) {
    using Connection = SlotReplay::Connection;
    Told told(catalog);
    SlotReplay slots(catalog, told);
    std::array<std::unique_ptr<BaseSignal>, 3> writer;
    const auto lock = [&](int word) { writer[Second]->slot->mutex.__data.__lock = word; };
    const auto remove = [&](std::size_t signal) { writer.at(signal).reset(); };
    const struct {
        const char* what;
        std::function<void()> step;
        std::string told;
        std::array<Connection, 3> connections;
    } steps[] = {
        {"nothing there", [] {}, "", {Connection::Missing, Connection::Missing, Connection::Missing}},
        {"built",
         [&] {
             for (const std::size_t signal : {First, Second, Other}) {
                 EXPECT_NE(access(("/tmp/" + name(signal)).c_str(), F_OK), 0);
                 writer.at(signal) = build(signal);
             }
         },
         "",
         {Connection::NoValue, Connection::NoValue, Connection::NoValue}},
        {"in the order of time, a message at once",
         [&] {
             writer[Other]->writeRaw(7, 300);
             writer[Second]->writeRaw(2, 100);
             writer[First]->writeRaw(1, 100);
         },
         "100 0=1 1=2 300 2=7 ",
         {Connection::Live, Connection::Live, Connection::Live}},
        {"nothing new", [] {}, "", {Connection::Live, Connection::Live, Connection::Live}},
        {"the same value again",
         [&] { writer[Other]->writeRaw(7, 400); },
         "400 2=7 ",
         {Connection::Live, Connection::Live, Connection::Live}},
        {"cleared",
         [&] { writer[First]->clear(); },
         "-0 ",
         {Connection::NoValue, Connection::Live, Connection::Live}},
        {"held",
         [&] {
             writer[Second]->writeRaw(3, 500);
             lock(1);
         },
         "",
         {Connection::NoValue, Connection::Held, Connection::Live}},
        {"released", [&] { lock(0); }, "500 1=3 ", {Connection::NoValue, Connection::Live, Connection::Live}},
        {"removed",
         [&] {
             remove(Other);
             remove(First);
         },
         "-2 ",
         {Connection::Removed, Connection::Live, Connection::Removed}},
        {"back",
         [&] {
             writer[Other] = build(Other);
             writer[Other]->writeRaw(8, 600);
         },
         "600 2=8 ",
         {Connection::Removed, Connection::Live, Connection::Live}},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.what);
        step.step();
        slots.lookUp();
        slots.poll();
        EXPECT_EQ(told.text.str(), step.told);
        told.text.str("");
        for (const std::size_t signal : {First, Second, Other}) {
            EXPECT_EQ(slots.connection(signal), step.connections.at(signal)) << signal;
        }
    }
    EXPECT_EQ(slots.statistics().count(Connection::Live), 2);
    EXPECT_EQ(slots.statistics().values, 6);
    EXPECT_EQ(slots.statistics().withdrawn, 2);
}

TEST_F(SlotReplayTest, TriggersFireOnTheValuesOfAnotherProcess) {
    struct Firings : FiringSink {
        void fired(const Firing& firing) override { times.push_back(firing.timestamp); }
        std::vector<std::uint64_t> times;
    } firings;
    std::vector<Condition> conditions;
    conditions.emplace_back("fast = " + name(First) + " > 100 && " + name(Other) + " == 6", catalog);
    ASSERT_TRUE(conditions[0].isUsable());
    Triggers triggers(catalog, std::move(conditions));
    triggers.addFiringSink(firings);
    SlotReplay slots(catalog, triggers);
    const pid_t child = fork();
    if (child == 0) {
        const auto gear = build(Other);
        const auto speed = build(First);
        gear->writeRaw(6, 1000);
        speed->writeRaw(101, 2000);
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    slots.lookUp();
    slots.poll();
    slots.poll();
    EXPECT_EQ(firings.times, std::vector<std::uint64_t>{2000});
}

} // namespace
} // namespace rksignal
