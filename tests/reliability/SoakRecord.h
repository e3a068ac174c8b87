/// \file
/// What the processes of a soak run have in common: the signals, and what each process has counted.
#pragma once

#include "support/Latencies.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <new>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace soak {

constexpr unsigned messages = 500, signalsInMessage = 4, signals = messages * signalsInMessage;
constexpr std::uint64_t framesPerSecond = 20'000, frameTime = 1'000'000'000 / framesPerSecond;
constexpr unsigned readers = 4;
constexpr unsigned triggers = 20;

/// The eight bytes of a frame at a time: whoever reads a value can tell whether it is that of its time stamp.
inline std::uint64_t payloadAt(std::uint64_t timestamp) {
    return timestamp * 0x9E3779B97F4A7C15 ^ timestamp >> 7;
}
/// Of signal `number` of all: 16 bits, little endian.
inline std::uint64_t valueAt(std::uint64_t timestamp, unsigned number) {
    return payloadAt(timestamp) >> (16 * (number % signalsInMessage)) & 0xFFFF;
}

inline std::string instanceOf(const std::string& prefix, unsigned number) {
    return prefix + std::to_string(number / signalsInMessage) + ".S" +
           std::to_string(number % signalsInMessage);
}

struct ReaderCounts {
    std::uint64_t reads = 0, withoutValue = 0, held = 0, torn = 0, retries = 0;
    std::uint64_t memoryAfterWarmUp = 0, memory = 0; ///< KiB
    Latencies latencies;

    /// Takes note of a pair that was read.
    void check(bool valid, std::uint64_t raw, std::uint64_t timestamp, unsigned number) {
        ++reads;
        withoutValue += valid ? 0 : 1;
        torn += valid && raw != valueAt(timestamp, number) ? 1 : 0;
    }
};

struct Record {
    std::atomic<unsigned> ready = 0;     ///< processes that have all signals
    std::atomic<bool> lacksRoom = false; ///< the system has not given all signals their segments
    std::atomic<bool> isWarm = false;    ///< memory counts from now on
    std::atomic<bool> writerEnds = false, readersEnd = false;
    std::uint64_t firstTime = 0; ///< of frame 0
    std::atomic<std::uint64_t> frames = 0;
    std::uint64_t decoded = 0, values = 0, firings = 0, expectedFirings = 0, longestDelay = 0;
    std::atomic<std::uint64_t> rescued = 0;
    std::array<ReaderCounts, readers> ofReaders;
    ReaderCounts ofWriter; ///< its memory and retries
    std::atomic<std::uint64_t> visits = 0, tornInVisits = 0;
};

/// A record that all processes share that are forked from now on.
inline Record& newRecord() {
    void* const memory =
        mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return *new (memory) Record;
}

} // namespace soak
