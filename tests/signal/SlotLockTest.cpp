/// \file
/// The lock of shared slots: contention, failure, and values that are never torn.
#include "signal/SharedMemoryTest.h"

#include "bus/CANSignal.h"
#include "rkutil/LogUtil.h"
#include "signal/SlotHolder.h"
#include "signal/SlotView.h"

#include <array>
#include <bit>
#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

namespace {

class SlotLock : public SharedMemoryTest {
  protected:
    /// What an operation says when the mutex is of another kind.
    static std::string refusal(const std::string& instance) {
        return filled("[ERROR] BaseSignal::lock() mutex trylock(NAME): Invalid argument\n"
                      "[ERROR] BaseSignal::unlock() mutex unlock(NAME): Invalid argument\n",
                      {{"NAME", instance}});
    }
};

/// Seen by the lines of a slot whose mutex refuses to be locked, after which every operation goes on.
TEST_F(SlotLock, OperationsThatTakeIt) {
    canSignalDef_t frameSignal;
    static_cast<baseSignalDef_t&>(frameSignal) = definition("CAN");
    CANSignal can(frameSignal, true);
    BaseSignal shared(definition("S"), true), fallenBack(byteDefinition("."), true),
        plain(byteDefinition("P"));
    for (BaseSignal* const signal : std::initializer_list<BaseSignal*>{&can, &shared, &fallenBack, &plain})
        signal->slot->mutex.__data.__kind = 0x7F; // no mutex is of this kind
    unsigned long raw = 0, timestamp = 0;
    double value = 0;
    std::vector<unsigned long> ids;
    const std::pair<const BaseSignal*, std::function<void()>> rows[] = {
        // whose lock is taken, by what
        {&shared, [&] { shared.write(1UL, 1UL); }},         {&shared, [&] { shared.write(nullptr, 0, 1); }},
        {&shared, [&] { shared.writeRaw(1, 1); }},          {&shared, [&] { shared.writeTS(1); }},
        {&shared, [&] { shared.read(raw, timestamp); }},    {&shared, [&] { shared.read(value, timestamp); }},
        {&can, [&] { CANSignal::decodeMessage({}, ids); }}, {&fallenBack, [&] { fallenBack.writeRaw(1, 1); }},
        {nullptr, [&] { plain.writeRaw(1, 1); }},           {nullptr, [&] { shared.clear(); }},
    };
    output.take();
    for (const auto& [locked, operation] : rows) {
        operation();
        EXPECT_TRUE(output.err.isFlushed());
        EXPECT_EQ(output.take(), locked == nullptr ? "" : refusal(locked->def.instance));
    }
    EXPECT_EQ(can.slot->valid + fallenBack.slot->valid, 2);
}

/// What another user may write over a mutex, to have the C library follow it or give up.
TEST_F(SlotLock, ForgedMutexIsRefusedAndLeftAlone) {
    const baseSignalDef_t def = definition("S");
    for (const int kind : {1, 2, 3, 4, 16, 17, 18, 32, 33, 48, 64, 128, 256, 512, -1, 1 << 30}) {
        SCOPED_TRACE(kind);
        const Peer victim({[&] {
            BaseSignal signal(def, true);
            pthread_mutex_t forged;
            std::memset(&forged, 0xA8, sizeof forged);
            forged.__data.__lock = 0;
            forged.__data.__kind = kind;
            const auto bytes = std::bit_cast<std::array<char, sizeof forged>>(forged);
            std::memcpy(&signal.slot->mutex, bytes.data(), bytes.size());
            output.take();
            signal.writeRaw(7, 8);
            const bool same = std::bit_cast<std::array<char, sizeof forged>>(signal.slot->mutex) == bytes;
            return output.take() + std::to_string(signal.slot->raw) + (same ? " left alone" : " changed");
        }});
        EXPECT_EQ(victim.step(), refusal(def.instance) + "7 left alone");
    }
}

TEST_F(SlotLock, ThreadBlockedInTheCLibraryIsWoken) {
    BaseSignal signal(definition("S"), true);
    pthread_mutex_t& mutex = signal.slot->mutex;
    EXPECT_EQ(slotmutex::tryLock(mutex), 0);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), EBUSY);
    std::thread blocked([&] {
        pthread_mutex_lock(&mutex);
        EXPECT_EQ(slotmutex::tryLock(mutex), EBUSY);
        pthread_mutex_unlock(&mutex);
    });
    while (std::atomic_ref(mutex.__data.__lock).load() != 2)
        sched_yield();
    EXPECT_EQ(slotmutex::unlock(mutex), 0);
    blocked.join();
    EXPECT_EQ(slotmutex::tryLock(mutex), 0);
}

TEST_F(SlotLock, NoTornPairBetweenFourProcesses) {
    const auto stampOf = [](unsigned long raw) { return raw * 0x9E3779B97F4A7C15 + 1; };
    const baseSignalDef_t def = definition("S"), end = definition("end");
    const std::string retry = "[DEBUG] BaseSignal::lock() mutex trylock(" + def.instance + "): retrying\n";
    const auto write = [&](unsigned long raw) {
        BaseSignal signal(def, true), stop(end, true);
        for (; rawText(stop) == "invalid"; raw += 2) {
            signal.write(raw, stampOf(raw));
            signal.writeRaw(raw, stampOf(raw));
        }
        return std::string();
    };
    /// As a process of another make does, with the C library's lock.
    const auto writeByHand = [&] {
        BaseSignal signal(def, true), stop(end, true);
        for (unsigned long raw = 2; rawText(stop) == "invalid"; raw += 2) {
            while (pthread_mutex_trylock(&signal.slot->mutex) != 0)
                sched_yield();
            signal.slot->raw = raw;
            signal.slot->timestamp = stampOf(raw);
            pthread_mutex_unlock(&signal.slot->mutex);
        }
        return std::string();
    };
    const auto read = [&] {
        BaseSignal signal(def, true);
        unsigned long torn = 0, raw = 0, timestamp = 0;
        double value = 0;
        for (int reads = 0, changes = 0; reads < 100'000 || changes < 20; ++reads) {
            const unsigned long before = raw;
            signal.read(raw, timestamp);
            changes += raw != before ? 1 : 0;
            torn += timestamp != stampOf(raw) ? 1 : 0;
            signal.read(value, timestamp);
            torn += timestamp != stampOf(static_cast<unsigned long>(value)) ? 1 : 0;
        }
        BaseSignal::debug = 1;
        while (output.out.text().find("trylock") == std::string::npos) {
            output.take();
            signal.read(raw, timestamp);
        }
        return std::to_string(torn) + " torn\n" + output.take().substr(0, retry.size());
    };
    BaseSignal::detachOnly = true;
    const Peer peers[] = {Peer({read}), Peer({read}), Peer({[&] { return write(1); }}), Peer({writeByHand})};
    BaseSignal signal(def, true), stop(end, true);
    signal.writeRaw(0, stampOf(0));
    for (const Peer& peer : peers)
        peer.begin();
    EXPECT_EQ(peers[0].answer(), "0 torn\n" + retry);
    EXPECT_EQ(peers[1].answer(), "0 torn\n" + retry);
    stop.writeRaw(1, 1);
}

TEST_F(SlotLock, LockWordsNameTheirHolder) {
    const std::uint32_t tag = static_cast<std::uint32_t>(slotmutex::makeOwnMark()) >> 22 << 22;
    const auto own = static_cast<std::uint32_t>(gettid());
    const auto dead = static_cast<std::uint32_t>(fork());
    if (dead == 0)
        _exit(0);
    siginfo_t ended{};
    EXPECT_EQ(waitid(P_PID, dead, &ended, WEXITED | WNOWAIT), 0); // not reaped: a zombie from now on
    using Kind = SlotHolder::Kind;
    const struct {
        std::uint32_t word;
        Kind kind;
        std::uint32_t thread;
        bool isGone;
    } rows[] = {
        {0, Kind::Nobody, 0, false},
        {1, Kind::CLibrary, 0, false},
        {2, Kind::CLibrary, 0, false},
        {tag | own, Kind::Thread, own, false},
        {tag | 1, Kind::Thread, 1, false},
        {tag | dead, Kind::Thread, dead, true},
        {tag | 0x3FFFFF, Kind::Thread, 0x3FFFFF, true}, // beyond kernel.pid_max
        {(tag ^ 1U << 22) | dead, Kind::OtherThread, dead, false},
        {3, Kind::Unintelligible, 0, false},
        {tag, Kind::Unintelligible, 0, false},
        {0xFFFFFFFF, Kind::Unintelligible, 0, false},
    };
    for (const auto& row : rows) {
        const SlotHolder holder = SlotHolder::of(row.word);
        EXPECT_EQ(holder.kind, row.kind) << row.word;
        EXPECT_EQ(holder.thread, static_cast<pid_t>(row.thread)) << row.word;
        EXPECT_EQ(holder.isGone(), row.isGone) << row.word;
    }
    waitpid(static_cast<pid_t>(dead), nullptr, 0);
    EXPECT_TRUE(SlotHolder::of(tag | dead).isGone());
}

TEST_F(SlotLock, LockOfADeadThreadPassesOnWithoutItsValue) {
    BaseSignal signal(definition("S"), true);
    pthread_mutex_t& mutex = signal.slot->mutex;
    unsigned long raw = 0, timestamp = 0;
    const std::function<void()> operations[] = {
        [&] { EXPECT_FALSE(signal.read(raw, timestamp)); },
        [&] { signal.writeRaw(1, 2); },
        [&] { signal.invalidate(); },
    };
    for (const auto& operation : operations) {
        signal.writeRaw(7, 7);
        const pid_t holder = fork();
        if (holder == 0)
            _exit(slotmutex::tryLock(mutex));
        waitpid(holder, nullptr, 0);
        EXPECT_EQ(SlotView(signal.def.instance).read(raw, timestamp), SlotView::State::Held);
        output.take();
        operation();
        EXPECT_EQ(output.take(),
                  filled("[ERROR] BaseSignal::lock() NAME: thread ID died while it held the lock, "
                         "value cleared\n",
                         {{"NAME", signal.def.instance}, {"ID", std::to_string(holder)}}));
        EXPECT_EQ(slotmutex::wordOf(mutex), 0);
    }
    EXPECT_EQ(rawText(signal), "invalid");
}

/// Until somebody who knows better releases it.
TEST_F(SlotLock, LockOfAnyoneElseStaysWithHim) {
    BaseSignal signal(definition("S"), true);
    pthread_mutex_t& mutex = signal.slot->mutex;
    const Peer inC(
        {[&] { return std::to_string(pthread_mutex_trylock(&mutex)) + std::to_string(getpid()); }});
    const Peer here({[&] { return std::to_string(slotmutex::tryLock(mutex)) + std::to_string(getpid()); },
                     [] { return std::string(); }}); // which it waits for
    const Peer elsewhere({[&] {
        slotmutex::ownMark = slotmutex::makeOwnMark() ^ 1 << slotmutex::threadBits;
        return std::to_string(slotmutex::tryLock(mutex)) + std::to_string(getpid());
    }});
    const std::tuple<const Peer&, bool, SlotHolder::Kind> rows[] = {
        // who holds it, whether he dies
        {inC, true, SlotHolder::Kind::CLibrary},
        {here, false, SlotHolder::Kind::Thread},
        {elsewhere, true, SlotHolder::Kind::OtherThread},
    };
    for (const auto& [holder, dies, kind] : rows) {
        signal.writeRaw(7, 7);
        const std::string answer = holder.step();
        EXPECT_EQ(answer[0], '0');
        if (dies) {
            kill(std::stoi(answer.substr(1)), SIGKILL);
            holder.answer(); // its end
        }
        const auto word = static_cast<std::uint32_t>(slotmutex::wordOf(mutex));
        EXPECT_EQ(SlotHolder::of(word).kind, kind);
        const auto start = std::chrono::steady_clock::now();
        bool wasReleased = false;
        BaseSignal::debug = 1;
        LogUtil::setReceiver([&](LogLevel, std::string_view) {
            // Long after a dead one would have been found.
            if (!wasReleased && std::chrono::steady_clock::now() - start > std::chrono::milliseconds(50)) {
                EXPECT_FALSE(releaseSlot(*signal.slot, word + 1));
                EXPECT_EQ(signal.slot->raw, 7U);
                EXPECT_TRUE(wasReleased = releaseSlot(*signal.slot, word));
            }
        });
        EXPECT_EQ(rawText(signal), "invalid");
        EXPECT_TRUE(wasReleased);
        BaseSignal::debug = 0;
        LogUtil::setReceiver({});
    }
}

TEST_F(SlotLock, ChildForkedUnderTheLockIsNotItsHolder) {
    BaseSignal signal(definition("S"), true);
    pthread_mutex_t& mutex = signal.slot->mutex;
    EXPECT_EQ(slotmutex::tryLock(mutex), 0);
    const Peer child({[&] {
        slotmutex::unlock(mutex);
        return std::to_string(slotmutex::tryLock(mutex));
    }});
    EXPECT_EQ(child.step(), std::to_string(EBUSY));
    EXPECT_EQ(slotmutex::unlock(mutex), 0);
    EXPECT_EQ(slotmutex::tryLock(mutex), 0);
}

} // namespace
