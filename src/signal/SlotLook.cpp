#include "signal/SlotLook.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <string_view>
#include <sys/shm.h>
#include <unistd.h>

namespace {

/// Readers attach what they may not write to: only plain loads of it are allowed.
template <class T>
T load(const T& field) {
    return *const_cast<const volatile T*>(&field);
}

struct Pair {
    std::uint8_t valid;
    std::uint64_t raw;
    std::uint64_t timestamp;

    bool operator==(const Pair&) const = default;
};

Pair pairOf(const signalSlot_t& slot) {
    return {load(slot.valid), load(slot.raw), load(slot.timestamp)};
}

std::uint32_t lockWordOf(const signalSlot_t& slot) {
    return static_cast<std::uint32_t>(load(slot.mutex.__data.__lock));
}

/// Whether a thread runs, or could; one that has ended and waits for its parent does not.
bool existsThread(pid_t thread) {
    const std::string path = "/proc/" + std::to_string(thread) + "/stat";
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return errno != ENOENT;
    }
    char text[512]; // number, name of up to 64 bytes in parentheses, state
    const ssize_t length = read(file, text, sizeof text);
    close(file);
    const std::string_view status(text, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    const std::size_t name = status.rfind(") ");
    const char state = name < status.size() - 2 ? status[name + 2] : 'X';
    return state != 'Z' && state != 'X';
}

} // namespace

AttachedSlot::AttachedSlot(int shmId, Access access) {
    void* const address = shmat(shmId, nullptr, access == Access::Read ? SHM_RDONLY : 0);
    if (address == reinterpret_cast<void*>(-1)) {
        number = errno;
    } else {
        attached.reset(static_cast<signalSlot_t*>(address));
    }
}

void AttachedSlot::Detach::operator()(signalSlot_t* slot) const {
    shmdt(slot);
}

SlotLook::SlotLook(const signalSlot_t& slot) {
    constexpr int maxTries = 500;
    Pair pair = pairOf(slot);
    lockWord = lockWordOf(slot);
    for (int tries = 0; tries < maxTries; ++tries) {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        const Pair again = pairOf(slot);
        const std::uint32_t lockedAgain = lockWordOf(slot);
        const bool isSteady = again == pair && lockWord == 0 && lockedAgain == 0;
        pair = again;
        lockWord = lockedAgain;
        if (isSteady) {
            break;
        }
        sched_yield();
    }
    valid = pair.valid;
    raw = pair.raw;
    timestamp = pair.timestamp;
    size = load(slot.size);
    name.assign(slot.name, strnlen(slot.name, sizeof slot.name));
    isPadded = std::all_of(std::begin(slot.padding), std::end(slot.padding),
                           [](const std::uint8_t& byte) { return load(byte) == 0; });
    isDefaultMutex = load(slot.mutex.__data.__kind) == PTHREAD_MUTEX_DEFAULT;
    libraryOwner = load(slot.mutex.__data.__owner);
}

LockHolder LockHolder::of(const SlotLook& look) {
    if (look.libraryOwner <= 0) {
        return {};
    }
    const State state = existsThread(look.libraryOwner) ? State::Exists : State::Gone;
    return {state, look.libraryOwner, false};
}
