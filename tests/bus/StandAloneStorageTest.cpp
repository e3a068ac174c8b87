/// \file
/// Storages that stand alone: what is built, decoded and destroyed in one is not seen in another, whatever
/// thread it belongs to.
#include "input/AnalogSignal.h"
#include "input/DigitalSignal.h"
#include "input/GPSSignal.h"
#include "input/KeyboardSignal.h"
#include "support/EthernetFrame.h"
#include "support/SignalTest.h"

#include <random>
#include <set>
#include <thread>

namespace {

using Ids = std::vector<unsigned long>;
using Built = std::unique_ptr<BaseSignal>;

template <class Signal, class Definition>
Built built(const Definition& definition, SignalStorage& storage) {
    return std::make_unique<Signal>(definition, false, &storage);
}

template <class Signal>
Built input(const char* name, SignalStorage& storage) {
    auto definition = byteDefinition<inputSignalDef_t>(name);
    definition.bits = 32;
    return built<Signal>(definition, storage);
}

template <std::uint32_t canId>
Built can(SignalStorage& storage) {
    auto definition = byteDefinition<canSignalDef_t>("can" + std::to_string(canId));
    definition.msgId = canId;
    return built<CANSignal>(definition, storage);
}

template <std::uint32_t canId>
void sendCan(SignalStorage& storage, std::uint8_t value, Ids& ids) {
    CANSignal::decodeMessage(CANExtTraceMessage{.length = 8, .canId = canId, .payload = {value}}, ids, 0,
                             &storage);
}

Built flexRay(SignalStorage& storage) {
    auto definition = byteDefinition<flexRaySignalDef_t>("flexray");
    definition.positions = {{.type = true, .slot = 5, .repetition = 64},
                            {.type = true, .slot = 5, .baseCycle = 60}};
    return built<FlexRaySignal>(definition, storage);
}

Built ethernet(SignalStorage& storage) {
    auto definition = byteDefinition<ethernetSignalDef_t>("ethernet");
    definition.positions = {{.destinationPort = 2000}, {.destinationPort = 2001}};
    return built<EthernetSignal>(definition, storage);
}

void sendStatus(SignalStorage& storage, std::uint8_t value, Ids& ids) {
    InputSignal::decodeMessage(SystemMessage(0, SystemMessage::Status, std::to_string(value)), ids, &storage);
    LoggerStatusSignal::updateTimestamp(7, &storage);
}

/// A way to build a signal, and to send it a message.
struct Kind {
    Built (*build)(SignalStorage& storage);
    void (*send)(SignalStorage& storage, std::uint8_t value, Ids& ids);
};

const Kind kinds[] = {
    {can<0>, sendCan<0>},
    {can<1>, sendCan<1>},
    {[](auto& storage) { return built<LINSignal>(byteDefinition<linSignalDef_t>("lin"), storage); },
     [](auto& storage, auto value, auto& ids) {
         LINSignal::decodeMessage({value, {value}, 0, 0}, ids, 0, &storage);
     }},
    {flexRay,
     [](auto& storage, auto value, auto& ids) {
         FlexRaySignal::decodeMessage({1, flexray::staticKind, 0, {value, value}, 5, 0, {value, value}}, ids,
                                      0, &storage);
     }},
    {ethernet,
     [](auto& storage, auto value, auto& ids) {
         EthernetSignal::decodeMessage(MIITraceMessage{1, FrameText{}.with({value}), 0}, ids, &storage);
     }},
    {[](auto& storage) { return input<KeyboardSignal>("RC.F5", storage); },
     [](auto& storage, auto value, auto& ids) {
         InputSignal::decodeMessage(KeyboardMessage{1, 5, value}, ids, &storage);
     }},
    {[](auto& storage) { return input<DigitalSignal>("digital", storage); },
     [](auto& storage, auto value, auto& ids) {
         InputSignal::decodeMessage(GpioTraceMessage{1, {{0, value, 0xFF}}}, ids, 0, &storage);
     }},
    {[](auto& storage) { return input<AnalogSignal>("analog", storage); },
     [](auto& storage, auto value, auto& ids) {
         InputSignal::decodeMessage(AnalogTraceMessage{1, {{0, value, 0}}}, ids, 0, &storage);
     }},
    {[](auto& storage) { return input<LoggerStatusSignal>("Logger.Status", storage); }, sendStatus},
    {[](auto& storage) { return input<GPSSignal>("GPS.Satellites", storage); },
     [](auto& storage, auto value, auto& ids) {
         const std::string fix = "$GPGGA,092204,,,,,1," + std::to_string(value) + ",,,,,,,\n";
         GPSSignal::decodeMessage({1, "$GPRMC,092204,A,,,,,,,211200,,\n" + fix}, ids, &storage);
     }},
};

/// One storage with at most a signal of each kind.
struct Client {
    bool has(std::size_t kind) const { return signals[kind] != nullptr; }
    void build(std::size_t kind) { signals[kind] = kinds[kind].build(storage); }
    void destroy(std::size_t kind) { signals[kind].reset(); }

    /// Sends a message and expects that the kind's own signal alone has its value, if there is one.
    void expectOwn(std::size_t kind, std::uint8_t value) {
        Ids ids;
        kinds[kind].send(storage, value, ids);
        unsigned long raw = 0, timestamp = 0;
        EXPECT_EQ(ids, has(kind) ? Ids{signals[kind]->id} : Ids()) << kind;
        if (!has(kind))
            return;
        EXPECT_TRUE(signals[kind]->read(raw, timestamp)) << kind;
        EXPECT_EQ(raw, value) << kind;
        EXPECT_EQ(BaseSignal::getInstance(ids.at(0), &storage), signals[kind].get());
        BaseSignal::clear(ids, &storage);
        EXPECT_FALSE(signals[kind]->read(raw, timestamp)) << kind;
        BaseSignal::checkTimeout(1, ids, &storage);
    }

    SignalStorage storage{SignalTables::Own};
    std::vector<Built> signals{std::size(kinds)};
};

class StandAloneStorage : public SignalTest {
  protected:
    /// The class-wide tables hold no signal of a storage that stands alone.
    static void expectClassWideTablesEmpty() {
        expectNoSignals();
        EXPECT_EQ(GPSSignal::gpsStatus, 0);
    }
};

TEST_F(StandAloneStorage, FollowsItsOwnMessagesOnly) {
    Client first, second;
    for (std::size_t kind = 0; kind < std::size(kinds); ++kind) {
        first.build(kind);
        first.expectOwn(kind, 5);
        second.expectOwn(kind, 6);
        second.build(kind);
        second.expectOwn(kind, 7);
        expectClassWideTablesEmpty();
        first.destroy(kind);
        first.expectOwn(kind, 8);
        second.expectOwn(kind, 9);
    }
}

TEST_F(StandAloneStorage, RandomLifeInFourThreadsDisturbsNobody) {
    std::vector<std::set<std::uint64_t>> given(4);
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < given.size(); ++number) {
        threads.emplace_back([number, &seen = given[number]] {
            std::mt19937 random(number);
            Client client;
            for (int round = 0; round < 3'000; ++round) {
                const std::size_t kind = random() % std::size(kinds);
                if (random() % 4 != 0)
                    client.expectOwn(kind, static_cast<std::uint8_t>(random() % 90));
                else if (client.has(kind))
                    client.destroy(kind);
                else
                    client.build(kind);
                for (const auto& [id, signal] : client.storage.instancesById)
                    seen.insert(id);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    expectClassWideTablesEmpty();
    std::size_t sum = 0;
    std::set<std::uint64_t> all;
    for (const auto& ids : given) {
        sum += ids.size();
        all.insert(ids.begin(), ids.end());
    }
    EXPECT_GT(sum, 1'000U);
    EXPECT_EQ(all.size(), sum) << "an identifier stood in two storages";
}

TEST_F(StandAloneStorage, ClientsReachItsTables) {
    SignalStorage storage(SignalTables::Own);
    auto definition = byteDefinition<canSignalDef_t>("a");
    CANSignal signal(definition, false, &storage);
    CANSignal::containerOf(&storage)[0x80000000'00000042].push_back(&signal);
    CANExtTraceMessage message{};
    message.length = 1;
    message.canId = 0x42;
    EXPECT_EQ(decodedIds<CANSignal>(message, std::uint8_t{0}, &storage),
              std::vector<unsigned long>{signal.id});
    EXPECT_EQ(decodedIds<CANSignal>(message), std::vector<unsigned long>{});
    EXPECT_EQ(&CANSignal::containerOf(nullptr), &CANSignal::canContainer);
    EXPECT_EQ(&EthernetSignal::tablesOf(nullptr).positive, &EthernetSignal::positiveList);
    SignalStorage classWide;
    EXPECT_EQ(&InputSignal::containerOf(&classWide), &InputSignal::inputContainer);
}

} // namespace
