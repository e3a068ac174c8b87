#include "LoggerStatus.h"

#include <string>

namespace drive {

namespace {

enum Status { Ok = 0, NoSynchronisation = 2, Warning = 3 };

constexpr std::uint64_t usageInterval = 5;       // s, in which the internal memory fills by 1 %
constexpr std::uint64_t synchronisationTime = 4; // s, until GPS has set the clock
constexpr unsigned emptied = 20;                 // %, of the internal memory
constexpr unsigned warningLevel = 90;            // %

/// How full the memories are, in percent.
struct Usage {
    unsigned internal, external;
};

/// The internal memory begins with 64 %. The external one is exchanged for an empty one when it is full.
Usage usageAfter(std::uint64_t seconds) {
    const auto filled = static_cast<unsigned>(seconds / usageInterval % 1000000) + 64 - emptied;
    const unsigned moved = filled / (100 - emptied);
    return {emptied + filled % (100 - emptied), (70 + 12 * moved) % 100};
}

int statusAfter(std::uint64_t seconds) {
    if (seconds < synchronisationTime) {
        return NoSynchronisation;
    }
    return usageAfter(seconds).internal >= warningLevel ? Warning : Ok;
}

} // namespace

void LoggerStatus::observe(std::uint64_t now, Recorder& recorder) {
    if (!second.isDue(now)) {
        return;
    }
    const std::uint64_t seconds = (now - start) / 1000000;
    const std::uint64_t timestamp = now * 1000;
    if (seconds == 0) {
        recorder.add(SystemMessage(timestamp, SystemMessage::Start, "1"));
    }
    recorder.add(SystemMessage(timestamp, SystemMessage::Timer, std::to_string(seconds)));
    if (const int current = statusAfter(seconds); current != status) {
        status = current;
        recorder.add(SystemMessage(timestamp, SystemMessage::Status, std::to_string(status)));
    }
    if (seconds % usageInterval == 0) {
        const Usage usage = usageAfter(seconds);
        constexpr std::uint8_t absent = 255;
        recorder.add(SystemUsageMessage(timestamp, static_cast<std::uint8_t>(usage.internal),
                                        static_cast<std::uint8_t>(usage.external), absent));
    }
}

} // namespace drive
