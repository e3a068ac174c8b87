/// \file
/// Storages that stand alone: what is built, decoded and destroyed in one is not seen in another, whatever
/// thread it belongs to.
#include "bus/CANSignal.h"
#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
#include "input/AnalogSignal.h"
#include "input/DigitalSignal.h"
#include "input/GPSSignal.h"
#include "input/KeyboardSignal.h"
#include "input/LoggerStatusSignal.h"
#include "support/EthernetFrame.h"
#include "support/SignalTest.h"

#include <random>
#include <set>
#include <thread>

namespace {

using Life = std::vector<std::unique_ptr<BaseSignal>>;

/// One storage with a signal of each kind, two of CAN, which come and go at random, and the messages that
/// each of them follows.
class Client {
  public:
    explicit Client(SignalTables tables) : storage(tables), signals(kinds) {}

    void build(std::size_t kind) { signals[kind] = made(kind); }
    void destroy(std::size_t kind) { signals[kind].reset(); }
    bool has(std::size_t kind) const { return signals[kind] != nullptr; }

    /// Sends the kind its message with `value`. \return the identifiers reported
    std::vector<unsigned long> send(std::size_t kind, std::uint8_t value) {
        std::vector<unsigned long> ids;
        switch (kind) {
        case 0:
        case 1: {
            CANExtTraceMessage message{};
            message.length = 8;
            message.canId = static_cast<std::uint32_t>(kind);
            message.payload[0] = value;
            CANSignal::decodeMessage(message, ids, 0, &storage);
            break;
        }
        case 2:
            LINSignal::decodeMessage({value, {value}, 0, 3}, ids, 0, &storage);
            break;
        case 3: {
            FlexRayExtTraceMessage message{};
            message.frameKind = flexray::staticKind;
            message.slot = 5;
            message.payload = message.data = {value, value};
            FlexRaySignal::decodeMessage(message, ids, 0, &storage);
            break;
        }
        case 4: {
            MIITraceMessage message;
            message.frame = FrameText{}.with({value});
            EthernetSignal::decodeMessage(message, ids, &storage);
            break;
        }
        case 5:
            InputSignal::decodeMessage(KeyboardMessage{1, 5, value}, ids, &storage);
            break;
        case 6: {
            GpioTraceMessage message{};
            message.elements.resize(1);
            message.elements[0].value = value;
            message.elements[0].mask = 0xFF;
            InputSignal::decodeMessage(message, ids, 0, &storage);
            break;
        }
        case 7: {
            AnalogTraceMessage message{};
            message.elements.resize(1);
            message.elements[0].mantissa = value;
            InputSignal::decodeMessage(message, ids, 0, &storage);
            break;
        }
        case 8: {
            SystemMessage message;
            message.code = SystemMessage::Status;
            message.text = std::to_string(value);
            InputSignal::decodeMessage(message, ids, &storage);
            LoggerStatusSignal::updateTimestamp(7, &storage);
            break;
        }
        default:
            GPSSignal::decodeMessage(
                {1, "$GPRMC,092204.999,A,4250.5589,S,14718.5084,E,10.00,89.68,211200,,*14\r\n"}, ids,
                &storage);
        }
        return ids;
    }

    /// Sends a message and expects that the kind's own signal alone has its value, if there is one.
    void expectOwn(std::size_t kind, std::uint8_t value) {
        const auto ids = send(kind, value);
        unsigned long raw = 0;
        unsigned long timestamp = 0;
        if (!has(kind)) {
            EXPECT_EQ(ids.size(), 0U) << kind;
            return;
        }
        EXPECT_EQ(ids, std::vector<unsigned long>{signals[kind]->id}) << kind;
        EXPECT_TRUE(signals[kind]->read(raw, timestamp)) << kind;
        EXPECT_EQ(raw, kind == gps ? 211'200U : value) << kind;
        EXPECT_EQ(BaseSignal::getInstance(ids.at(0), &storage), signals[kind].get());
        BaseSignal::clear(ids, &storage);
        EXPECT_FALSE(signals[kind]->read(raw, timestamp)) << kind;
        BaseSignal::checkTimeout(1, lost, &storage);
    }

    static constexpr std::size_t kinds = 10;
    static constexpr std::size_t gps = 9;

    SignalStorage storage;

  private:
    std::unique_ptr<BaseSignal> made(std::size_t kind) {
        switch (kind) {
        case 0:
        case 1: {
            auto definition = byteDefinition<canSignalDef_t>("can" + std::to_string(kind));
            definition.msgId = static_cast<std::uint32_t>(kind);
            return std::make_unique<CANSignal>(definition, false, &storage);
        }
        case 2: {
            auto definition = byteDefinition<linSignalDef_t>("lin");
            definition.msgId = 3;
            return std::make_unique<LINSignal>(definition, false, &storage);
        }
        case 3: {
            auto definition = byteDefinition<flexRaySignalDef_t>("flexray");
            definition.positions = {{.type = true, .slot = 5}, {.type = true, .slot = 5, .baseCycle = 60}};
            definition.positions[0].repetition = 64;
            return std::make_unique<FlexRaySignal>(definition, false, &storage);
        }
        case 4: {
            auto definition = byteDefinition<ethernetSignalDef_t>("ethernet");
            definition.positions.resize(2);
            definition.positions[0].destinationPort = 2000;
            definition.positions[1].destinationPort = 2001;
            return std::make_unique<EthernetSignal>(definition, false, &storage);
        }
        case 5:
            return input<KeyboardSignal>("RC.F5");
        case 6:
            return input<DigitalSignal>("digital");
        case 7:
            return input<AnalogSignal>("analog");
        case 8:
            return input<LoggerStatusSignal>("Logger.Status");
        default:
            return input<GPSSignal>("GPS.Date");
        }
    }

    template <class Signal>
    std::unique_ptr<BaseSignal> input(const char* name) {
        auto definition = byteDefinition<inputSignalDef_t>(name);
        definition.bits = 32;
        return std::make_unique<Signal>(definition, false, &storage);
    }

    Life signals;
    std::vector<unsigned long> lost;
};

class StandAloneStorage : public SignalTest {
  protected:
    /// The class-wide tables hold no signal of a storage that stands alone.
    static void expectClassWideTablesEmpty() {
        EXPECT_TRUE(CANSignal::canContainer.empty() && LINSignal::linContainer.empty());
        EXPECT_TRUE(FlexRaySignal::flexrayFrames.empty() && InputSignal::inputContainer.empty());
        EXPECT_TRUE(EthernetSignal::ethernetFrames.empty() && EthernetSignal::positiveList.empty());
        EXPECT_TRUE(EthernetSignal::negativeList.empty() && !EthernetSignal::channelsInUse[0]);
        EXPECT_TRUE(LoggerStatusSignal::allInstancesLoggerStatusSignals.empty());
        EXPECT_EQ(GPSSignal::gpsStatus, 0);
    }
};

TEST_F(StandAloneStorage, FollowsItsOwnMessagesOnly) {
    Client first(SignalTables::Own);
    Client second(SignalTables::Own);
    for (std::size_t kind = 0; kind < Client::kinds; ++kind) {
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
            Client client(SignalTables::Own);
            for (int round = 0; round < 3'000; ++round) {
                const std::size_t kind = random() % Client::kinds;
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
