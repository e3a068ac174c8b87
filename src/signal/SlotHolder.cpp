#include "signal/SlotHolder.h"

#include "signal/SlotMutex.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace {

/// The beginning of a file in /proc, in memory of its own: whoever looks may be in the middle of a write.
class ProcText {
  public:
    explicit ProcText(const char* path) {
        const int file = open(path, O_RDONLY | O_CLOEXEC);
        const ssize_t length = file < 0 ? 0 : ::read(file, bytes, sizeof bytes);
        size = static_cast<std::size_t>(std::max<ssize_t>(length, 0));
        close(file);
    }
    std::string_view view() const { return {bytes, size}; }

  private:
    char bytes[4096];
    std::size_t size;
};

/// Whether /proc shows the threads of this process's PID namespace, by the identifiers that they have there:
/// then there is one identifier of this process on the line that has them all.
bool hasOwnProc() {
    const ProcText status("/proc/self/status");
    constexpr std::string_view field = "\nNSpid:\t";
    const std::size_t at = status.view().find(field);
    if (at == std::string_view::npos) {
        return false;
    }
    const std::string_view rest = status.view().substr(at + field.size());
    return rest.find_first_of("\t ") > rest.find('\n');
}

/// Whether a thread has ended, and only its entry is left.
bool hasEnded(pid_t thread) {
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d/stat", thread);
    const ProcText text(path);
    const std::size_t end = text.view().rfind(") "); // of its name, which may hold anything
    const std::string_view state = end == std::string_view::npos ? "" : text.view().substr(end + 2, 1);
    return state == "Z" || state == "X" || state == "x";
}

} // namespace

SlotHolder SlotHolder::of(std::uint32_t lockWord) {
    constexpr std::uint32_t threads = (1U << slotmutex::threadBits) - 1;
    const std::uint32_t tag = lockWord >> slotmutex::threadBits;
    const auto thread = static_cast<pid_t>(lockWord & threads);
    if (lockWord <= slotmutex::awaitedInC) {
        return {lockWord == 0 ? Kind::Nobody : Kind::CLibrary, 0};
    }
    if (thread == 0 || tag == 0 || tag >> slotmutex::namespaceBits != 0) {
        return {Kind::Unintelligible, 0};
    }
    const bool isOwn = static_cast<int>(tag) == slotmutex::namespaceTag();
    return {isOwn ? Kind::Thread : Kind::OtherThread, thread};
}

bool SlotHolder::isGone() const {
    if (kind != Kind::Thread) {
        return false;
    }
    if (kill(thread, 0) != 0 && errno == ESRCH) {
        return true;
    }
    return hasOwnProc() && hasEnded(thread);
}

bool releaseSlot(signalSlot_t& slot, std::uint32_t lockWord) {
    if (!slotmutex::isDefault(slot.mutex) || !slotmutex::take(slot.mutex, static_cast<int>(lockWord))) {
        return false;
    }
    slot.clear();
    slotmutex::unlock(slot.mutex);
    return true;
}
