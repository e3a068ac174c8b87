#include "signal/SlotMutex.h"

#include <sys/stat.h>

constinit thread_local int slotmutex::ownMark = 0;

namespace {

void forgetOwnMark() {
    slotmutex::ownMark = 0;
}

} // namespace

int slotmutex::namespaceTag() {
    struct stat status {};
    constexpr ino_t tags = (1U << namespaceBits) - 1;
    // Namespaces that were made one after the other have numbers that follow each other.
    return stat("/proc/self/ns/pid", &status) == 0 ? static_cast<int>(1 + status.st_ino % tags) : 0;
}

int slotmutex::makeOwnMark() {
    [[maybe_unused]] static const int atFork = pthread_atfork(nullptr, nullptr, forgetOwnMark);
    const int tag = namespaceTag();
    ownMark = tag == 0 ? takenInC : tag << threadBits | gettid();
    return ownMark;
}
