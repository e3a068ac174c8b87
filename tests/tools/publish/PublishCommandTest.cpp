/// \file
/// `rksignal publish` with a real broker.
#include "publish/TopicName.h"
#include "signal/SharedMemoryTest.h"
#include "tools/publish/LocalBroker.h"

#include <gtest/gtest.h>
#include <memory>
#include <optional>

namespace rksignal {
namespace {

constexpr const char* brokerProgram = "/usr/sbin/mosquitto";

class Publish : public testing::Test {
  protected:
    void SetUp() override {
        if (access(brokerProgram, X_OK) != 0) {
            GTEST_SKIP() << "there is no " << brokerProgram;
        }
        mosquitto_lib_init();
        folder.write("m.dbc",
                     "BO_ 1 " + message + ": 8 X\n SG_ Speed : 0|16@1+ (0.25,0) [0|0] \"" + unit +
                         "\" X\n SG_ Gear : 16|8@1+ (1,0) [0|0] \"\" X\nVAL_ 1 Gear 6 \"Sixth\" ;\n");
        folder.write("open.conf", "listener " + port + " 127.0.0.1\nallow_anonymous true\n");
        startBroker("open.conf");
    }
    void TearDown() override {
        for (const auto& signal : signals) {
            unlink(claimFile(keyOf(signal->def.instance)).c_str());
            unlink(("/tmp/" + signal->def.instance).c_str());
        }
    }

    void startBroker(const std::string& settings) {
        broker.reset();
        broker.emplace(folder, "broker", std::string(brokerProgram) + " -c " + settings);
        EXPECT_TRUE(becomesTrue([this] { return answers(port); }));
    }
    std::unique_ptr<Background> publish(const std::string& arguments) const {
        return std::make_unique<Background>(
            folder, "publish",
            RKSIGNAL_PROGRAM " publish --dbc m.dbc --prefix car --broker 127.0.0.1:" + port + " " +
                arguments);
    }
    /// A slot that another process publishes.
    BaseSignal& shared(const std::string& name) {
        baseSignalDef_t def;
        def.signal = name;
        def.instance = message + "." + name;
        def.bits = 16;
        return *signals.emplace_back(std::make_unique<BaseSignal>(def, true));
    }

    CapturedOutput output;
    TemporaryFolder folder;
    std::string message = "Engine" + std::to_string(getpid());
    std::string unit = "rpm";
    std::string port = freePort();
    std::string connection = "connected to 127.0.0.1:" + port + "\n";
    std::string topics = "car/" + message + "/";
    std::optional<Background> broker;
    std::vector<std::unique_ptr<BaseSignal>> signals;
};

TEST_F(Publish, ValuesOnStartChangesAndTheirEnd) {
    BaseSignal &speed = shared("Speed"), &gear = shared("Gear");
    speed.writeRaw(7867, 1'700'000'239'990'238'000);
    Subscriber subscriber(port);
    const auto publisher = publish("--retain");
    EXPECT_TRUE(subscriber.gets("car/status", "online"));
    EXPECT_TRUE(subscriber.gets(
        topics + "Speed", R"({"value":1966.75,"unit":"rpm","raw":7867,"text":"","time":1700000239.990238})"));
    gear.writeRaw(6, 1'700'000'240'000'000'000);
    EXPECT_TRUE(subscriber.gets(topics + "Gear",
                                R"({"value":6,"unit":"","raw":6,"text":"Sixth","time":1700000240.000000})"));
    speed.clear();
    EXPECT_TRUE(subscriber.gets(topics + "Speed", R"({"value":null,"unit":"rpm"})"));
    EXPECT_EQ(publisher->end(SIGTERM), 0);
    EXPECT_TRUE(subscriber.gets("car/status", "offline"));
    EXPECT_EQ(publisher->messages(), connection + "3 values published\n");
    EXPECT_TRUE(Subscriber(port).gets(
        topics + "Gear", R"({"value":6,"unit":"","raw":6,"text":"Sixth","time":1700000240.000000})"));
}

TEST_F(Publish, BatchesAndPlainValues) {
    shared("Speed").writeRaw(4, 1);
    shared("Gear").writeRaw(6, 2'000);
    Subscriber subscriber(port);
    const auto plain = publish("--payload value --only '*.Speed' --qos 2");
    EXPECT_TRUE(subscriber.gets(topics + "Speed", "1"));
    const auto batches = publish("--batch 1ms --client-id batches");
    EXPECT_TRUE(subscriber.gets(
        "car/values",
        R"([{"instance":")" + message +
            R"(.Speed","value":1,"unit":"rpm","raw":4,"text":"","time":0.000000001},{"instance":")" +
            message + R"(.Gear","value":6,"unit":"","raw":6,"text":"Sixth","time":0.000002}])"));
    EXPECT_EQ(subscriber.last.count(topics + "Gear"), 0U);
}

TEST_F(Publish, KilledPublisherAndKilledBroker) {
    BaseSignal& speed = shared("Speed");
    speed.writeRaw(4, 1);
    auto publisher = publish("--payload value --retain");
    EXPECT_TRUE(Subscriber(port).gets(topics + "Speed", "1"));
    startBroker("open.conf"); // which has forgotten everything
    EXPECT_TRUE(Subscriber(port).gets(topics + "Speed", "1"));
    speed.writeRaw(8, 2);
    Subscriber subscriber(port);
    EXPECT_TRUE(subscriber.gets(topics + "Speed", "2"));
    EXPECT_EQ(publisher->messages().substr(0, connection.size()), connection);
    EXPECT_TRUE(publisher->messages().ends_with("; trying again\n" + connection)) << publisher->messages();
    publisher->end(SIGKILL);
    EXPECT_TRUE(subscriber.gets("car/status", "offline"));
}

TEST_F(Publish, StoppedBrokerDropsTheOldest) {
    BaseSignal& speed = shared("Speed");
    speed.writeRaw(4, 1);
    folder.write("m.dbc", "BO_ 1 " + message + ": 8 X\n SG_ Speed : 0|16@1+ (0.25,0) [0|0] \"" +
                              std::string(20'000, 'x') + "\" X\n");
    Subscriber subscriber(port);
    const auto publisher = publish("--interval 1ms --queue 10");
    EXPECT_TRUE(becomesTrue([&] { return publisher->messages() == connection; }));
    broker->send(SIGSTOP);
    unsigned long raw = 0;
    for (; raw < 2'000; ++raw) {
        speed.writeRaw(raw, raw + 2);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    broker->send(SIGCONT);
    EXPECT_TRUE(subscriber.gets(topics + "Speed", "{\"value\":499.75,\"unit\":\"" + std::string(20'000, 'x') +
                                                      "\",\"raw\":1999,\"text\":\"\",\"time\":0.000002001}"));
    EXPECT_LT(subscriber.count, 1'000U);
    EXPECT_EQ(publisher->end(SIGTERM), 0);
    EXPECT_TRUE(publisher->messages().ends_with(" dropped\n")) << publisher->messages();
}

TEST_F(Publish, UserAndPassword) {
    folder.run("mosquitto_passwd -b -c users logger secret; chmod 644 users; echo secret > right; echo wrong "
               "> wrong");
    folder.write("users.conf", "listener " + port + " 127.0.0.1\nallow_anonymous false\npassword_file " +
                                   folder.path("users") + "\nuser root\n");
    startBroker("users.conf");
    const auto publisher = publish("--user logger --password-file right");
    EXPECT_TRUE(becomesTrue([&] { return publisher->messages().ends_with(connection); }));
    const std::string refused = "127.0.0.1:" + port + ": Connection Refused: not authorised.";
    const ProgramResult result = folder.run("rksignal publish --dbc m.dbc --broker 127.0.0.1:" + port +
                                            " --user logger --password-file wrong -q");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.messages, "rksignal: " + refused + "\n");
}

TEST_F(Publish, WhatCannotBeUsedIsRefused) {
    const std::pair<std::string, std::string> rows[] = {
        {"--broker localhost:0", "--broker localhost:0: 0 is no port"},
        {"--broker [::1]:65536", "--broker [::1]:65536: 65536 is no port"},
        {"--broker :1883", "--broker :1883: there is no host"},
        {"--broker x --prefix 'a/#'", "--prefix a/#: topics cannot begin so"},
        {"--broker x --batch 0", "--batch 0: not a duration up to a day, as 0.5 or 50ms"},
        {"--broker x --user u --password-file none", "--password-file none: cannot read a line from it"},
        {"--broker x --ca-file none", "--ca-file none: No such file or directory"},
        {"--broker x --only Sped", "--only Sped matches no signal; close are " + message + ".Speed"},
    };
    for (const auto& [arguments, text] : rows) {
        const ProgramResult result = folder.run("rksignal publish --dbc m.dbc " + arguments);
        EXPECT_EQ(result.messages, "rksignal: " + text + "\n");
        EXPECT_EQ(result.status, 2);
    }
}

TEST(TopicName, NoTwoSignalsHaveOne) {
    const std::pair<std::string, std::string> rows[] = {
        {"Engine.Speed", "p/Engine/Speed"},
        {"A.B.C", "p/A/B/C"},
        {"A/B", "p/A%2FB"},
        {"100% +#", "p/100%25 %2B%23"},
        {std::string("nul\0", 4), "p/nul%00"},
        {"Motor.Öl", "p/Motor/Öl"},
        {"\xFF"
         "Öl",
         "p/%FF%C3%96l"},
        {"status", "p/%73tatus"},
    };
    for (const auto& [instance, topic] : rows) {
        EXPECT_EQ(topicOf("p", instance), topic);
    }
}

} // namespace
} // namespace rksignal
