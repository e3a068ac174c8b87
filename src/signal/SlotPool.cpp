#include "signal/SlotPool.h"

#include <algorithm>
#include <bit>
#include <new>
#include <sys/mman.h>

#if defined(__SANITIZE_ADDRESS__)
#define RKSIGNAL_POISONS_SLOTS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define RKSIGNAL_POISONS_SLOTS
#endif
#endif
#ifdef RKSIGNAL_POISONS_SLOTS
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) (static_cast<void>(address), static_cast<void>(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) (static_cast<void>(address), static_cast<void>(size))
#endif

namespace {

constexpr std::size_t chunkSize = std::size_t{2} << 20; // a huge page of x86-64
constexpr std::size_t bitsPerWord = 64;
constexpr std::size_t maxRecords = chunkSize / sizeof(PrivateSlot);
constexpr std::size_t maxWords = (maxRecords + bitsPerWord - 1) / bitsPerWord;

/// Memory of the system, zero, aligned to its size, which is that of a chunk.
void* mapChunk() {
    constexpr std::size_t room = 2 * chunkSize;
    void* const mapped = mmap(nullptr, room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) {
        throw std::bad_alloc();
    }
    auto* const begin = static_cast<std::byte*>(mapped);
    const std::size_t before = -reinterpret_cast<std::uintptr_t>(begin) % chunkSize;
    if (before != 0) {
        munmap(begin, before);
    }
    munmap(begin + before + chunkSize, room - chunkSize - before);
    return begin + before;
}

} // namespace

/// The head of a chunk. Its records lie behind it.
struct alignas(64) SlotPool::Chunk {
    static constexpr std::size_t smallUse = 512; // records: 56 KB

    explicit Chunk(SlotPool& pool) : pool(pool) { ASAN_POISON_MEMORY_REGION(&record(0), sizeOfRecords()); }

    static Chunk& of(PrivateSlot& record) {
        const auto address = reinterpret_cast<std::uintptr_t>(&record);
        return *reinterpret_cast<Chunk*>(address - address % chunkSize);
    }

    PrivateSlot& record(std::size_t number) { return reinterpret_cast<PrivateSlot*>(this + 1)[number]; }
    std::size_t numberOf(PrivateSlot& record) { return static_cast<std::size_t>(&record - &this->record(0)); }
    bool isFull() const { return taken == capacity(); }
    static constexpr std::size_t capacity() { return (chunkSize - sizeof(Chunk)) / sizeof(PrivateSlot); }
    static constexpr std::size_t sizeOfRecords() { return capacity() * sizeof(PrivateSlot); }

    PrivateSlot& takeFirst() {
        while (takenBits[firstWord] == ~std::uint64_t{0}) {
            ++firstWord;
        }
        const auto bit = static_cast<std::size_t>(std::countr_one(takenBits[firstWord]));
        takenBits[firstWord] |= std::uint64_t{1} << bit;
        ++taken;
        const std::size_t number = firstWord * bitsPerWord + bit;
        everTaken = std::max(everTaken, number + 1);
        ASAN_UNPOISON_MEMORY_REGION(&record(number), sizeof(PrivateSlot));
        return *new (&record(number)) PrivateSlot();
    }
    void giveBack(PrivateSlot& given) {
        const std::size_t number = numberOf(given);
        takenBits[number / bitsPerWord] &= ~(std::uint64_t{1} << number % bitsPerWord);
        firstWord = std::min(firstWord, number / bitsPerWord);
        --taken;
        ASAN_POISON_MEMORY_REGION(&given, sizeof given);
    }

    SlotPool& pool;
    Chunk* next = nullptr;
    Chunk* previous = nullptr;
    std::size_t taken = 0;
    std::size_t everTaken = 0;           // at most so many, the first ones
    std::size_t firstWord = 0;           // there is no free record before it
    std::uint64_t takenBits[maxWords]{}; // a bit for each record
};

SlotPool& SlotPool::inUse() {
    static constinit SlotPool pool;
    return pool;
}

SlotPool& SlotPool::spare() {
    static constinit SlotPool pool;
    return pool;
}

PrivateSlot& SlotPool::take() {
    const std::lock_guard guard(mutex);
    if (withRoom == nullptr) {
        link(*new (mapChunk()) Chunk(*this));
    }
    Chunk& chunk = *withRoom;
    PrivateSlot& record = chunk.takeFirst();
    if (chunk.isFull()) {
        unlink(chunk);
#ifdef MADV_COLLAPSE
        madvise(&chunk, chunkSize, MADV_COLLAPSE); // refused, it stays as it is
#endif
    }
    return record;
}

void SlotPool::giveBack(PrivateSlot& record) {
    Chunk& chunk = Chunk::of(record);
    SlotPool& pool = chunk.pool;
    const std::lock_guard guard(pool.mutex);
    if (chunk.isFull()) {
        pool.link(chunk);
    }
    chunk.giveBack(record);
    if (chunk.taken == 0 && chunk.everTaken > Chunk::smallUse) {
        pool.release(chunk);
    }
}

void SlotPool::link(Chunk& chunk) {
    chunk.previous = nullptr;
    chunk.next = withRoom;
    if (withRoom != nullptr) {
        withRoom->previous = &chunk;
    }
    withRoom = &chunk;
}

void SlotPool::unlink(Chunk& chunk) {
    (chunk.previous != nullptr ? chunk.previous->next : withRoom) = chunk.next;
    if (chunk.next != nullptr) {
        chunk.next->previous = chunk.previous;
    }
}

void SlotPool::release(Chunk& chunk) {
    unlink(chunk);
    ASAN_UNPOISON_MEMORY_REGION(&chunk.record(0), Chunk::sizeOfRecords());
    munmap(&chunk, chunkSize);
}
