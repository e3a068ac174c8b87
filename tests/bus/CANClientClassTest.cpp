// Signals of client classes are reached through their virtual operations, and shared ones under their lock.

#include "bus/CANTest.h"
#include "support/CapturedOutput.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <sstream>
#include <thread>
#include <unistd.h>

using testing::ElementsAre;

namespace {

/// Says which of its operations were called with what, and does what `CANSignal` does.
class Recorder : public CANSignal {
  public:
    Recorder(const canSignalDef_t& def, std::vector<std::string>& calls) : CANSignal(def), calls(calls) {}
    using CANSignal::read;
    using CANSignal::write;
    bool read(unsigned long& raw, unsigned long& timestamp) override {
        calls.push_back(def.instance + ".read");
        return CANSignal::read(raw, timestamp);
    }
    bool write(unsigned long payload, unsigned long timestamp) override {
        std::ostringstream call;
        call << def.instance << ".write(" << std::hex << payload << ", " << timestamp << ")";
        calls.push_back(call.str());
        return CANSignal::write(payload, timestamp);
    }

  protected:
    std::vector<std::string>& calls;
};

/// Takes all the bytes that it is told of, and refuses them.
class Refusing : public Recorder {
  public:
    using Recorder::Recorder;
    using Recorder::write;
    bool write(const unsigned char* data, unsigned long length, unsigned long timestamp) override {
        std::ostringstream call;
        call << def.instance << ".write(" << std::hex;
        for (unsigned long i = 0; i < length; ++i) {
            call << unsigned{data[i]} << ' ';
        }
        call << "- " << timestamp << ")";
        calls.push_back(call.str());
        return false;
    }
};

/// Tells that the decoder has come to it.
class Milestone : public CANSignal {
  public:
    using CANSignal::CANSignal;
    using CANSignal::write;
    bool write(unsigned long payload, unsigned long timestamp) override {
        reached = true;
        return CANSignal::write(payload, timestamp);
    }
    std::atomic<bool> reached = false;
};

} // namespace

class CANClientClass : public CANTest {
  protected:
    std::vector<std::string> calls;
};

TEST_F(CANClientClass, IsReachedThroughItsVirtualOperations) {
    const CANSignal plain(classicSignal("Plain"));
    const Recorder recorder(multiplexer(classicSignal("Recorder", {8, 16})), calls);
    const Refusing refusing(classicSignal("Refusing"), calls);
    const CANSignal last(classicSignal("Last", {16, 8}));
    EXPECT_THAT(decode(*frame({1, 2, 3}, 0, 0x123, 0xF)),
                ElementsAre(plain.id, recorder.id, refusing.id, last.id));
    EXPECT_THAT(calls, ElementsAre("Recorder.write(30201, f)", "Recorder.read", "Refusing.write(1 2 3 - f)"));
    EXPECT_EQ(recorder.slot->raw, 0x302U);
    EXPECT_EQ(refusing.slot->raw, unwritten);
    EXPECT_EQ(last.slot->raw, 3U);
}

TEST_F(CANClientClass, GetsTheBytesOfItsRangeOnly) {
    const Recorder recorder(fdSignal("Recorder", {100, 12}), calls);
    const Refusing inAPdu(fdSignal("InAPdu", {8, 16}, 0x10), calls);
    std::vector<std::uint8_t> bytes = counting(64);
    bytes[1] = 0;
    bytes[2] = 0x10;
    decode(*fdFrame(bytes));
    EXPECT_THAT(calls, ElementsAre("Recorder.write(d0c, 1)", "InAPdu.write(5 6 - 1)"));
}

TEST_F(CANClientClass, BytesPastThePayloadAreZeroInTheSecondStage) {
    const CANSignal selector(multiplexer(fdSignal("Selector")));
    Refusing across(fdSignal("Across", {496, 32}), calls);
    Refusing beyond(fdSignal("Beyond", {2000, 16}), calls);
    Refusing tooLong(fdSignal("TooLong", {488, 80}), calls); // refused when built, yet placed
    Recorder recorder(fdSignal("Recorder", {496, 32}), calls);
    CANSignal::canContainer.at(fdFrameKey).resize(1);
    CANSignal::canContainer[fdFrameKey + multiplexerStep] = {&across, &beyond, &tooLong, &recorder};
    EXPECT_THAT(decode(*fdFrame(counting(64))), ElementsAre(selector.id));
    EXPECT_THAT(calls, ElementsAre("Across.write(3e 3f 0 0 - 1)", "Beyond.write(0 0 - 1)",
                                   "TooLong.write(3d 3e 3f 0 0 0 0 0 0 0 - 1)", "Recorder.write(3f3e, 1)"));
}

TEST_F(CANClientClass, SharedSlotsAreWrittenUnderTheirLock) {
    const CapturedOutput captured;
    const std::string name = "rkCanLock." + std::to_string(::getpid());
    Milestone milestone(classicSignal("Milestone"));
    const CANSignal shared(classicSignal(name), true);
    ::unlink(("/tmp/" + name).c_str());
    ASSERT_NE(shared.slot, &shared.privateSlot);
    decode(*frame({1}));
    milestone.reached = false;
    ASSERT_EQ(pthread_mutex_trylock(&shared.slot->mutex), 0);
    std::thread decoder([] { decode(*frame({2})); });
    for (int tries = 0; !milestone.reached && tries < 10'000; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(milestone.reached);
    std::this_thread::sleep_for(std::chrono::milliseconds(5)); // time to go wrong
    EXPECT_EQ(shared.slot->raw, 1U);
    pthread_mutex_unlock(&shared.slot->mutex);
    decoder.join();
    EXPECT_EQ(shared.slot->raw, 2U);
    EXPECT_EQ(pthread_mutex_trylock(&shared.slot->mutex), 0); // given back
    pthread_mutex_unlock(&shared.slot->mutex);
}
