/// \file
/// Decodes CAN frames into signals in shared memory at a steady rate:
///
///     feed_frames DEFINITIONS FRAMES_A_SECOND SECONDS
///
/// The frames are those of the messages in the definitions, one after the other, 8 bytes each. Every
/// hundredth is one of the first message: the microseconds since 1970-01-01 UTC, of which it has the last
/// nine digits. The bytes of others count up. Says at the end how many frames there were, and how late the
/// latest one was.
#include "catalog/Catalog.h"
#include "rkutil/LogUtil.h"
#include "value/Replay.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>

namespace {

using rksignal::MessageInfo;
constexpr std::uint64_t clockEvery = 100;            // frames
constexpr std::uint64_t clockPeriod = 1'000'000'000; // microseconds

struct NoSink final : rksignal::ValueSink {
    void written(const MessageInfo& /*message*/, std::span<const unsigned long> /*ids*/) override {}
};

std::uint64_t wallClock() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(since).count());
}

CANExtTraceMessage frameOf(const rksignal::Catalog& catalog, std::uint64_t number) {
    const std::uint64_t others = catalog.messages().size() - 1;
    const bool isClock = number % clockEvery == 0 || others == 0;
    const rksignal::MessageDefinition& message = catalog.messages()[isClock ? 0 : 1 + number % others];
    CANExtTraceMessage frame;
    frame.canId = message.id;
    frame.timestamp = wallClock();
    frame.length = 8;
    const std::uint64_t content =
        isClock ? frame.timestamp / 1000 % clockPeriod : number * 0x0101010101010101U;
    std::memcpy(frame.payload.data(), &content, sizeof content);
    return frame;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: feed_frames DEFINITIONS FRAMES_A_SECOND SECONDS\n";
        return 2;
    }
    const std::uint64_t rate = std::stoull(argv[2]);
    const std::uint64_t frames = rate * std::stoull(argv[3]);
    LogUtil::setReceiver([](LogLevel, std::string_view) {});
    rksignal::Catalog catalog(rksignal::SignalPlace::Shared);
    const rksignal::DefinitionSource source{argv[1], {}};
    catalog.addDefinitions({&source, 1});
    NoSink sink;
    rksignal::Replay replay(catalog, sink);
    std::cout << "ready" << std::endl;
    const auto start = std::chrono::steady_clock::now();
    std::chrono::nanoseconds latest{0};
    for (std::uint64_t i = 0; i < frames; ++i) {
        const auto due = start + std::chrono::nanoseconds(i * 1'000'000'000 / rate);
        if (std::chrono::steady_clock::now() < due) {
            std::this_thread::sleep_until(due);
        }
        latest = std::max(latest, std::chrono::nanoseconds(std::chrono::steady_clock::now() - due));
        replay.receive(frameOf(catalog, i));
    }
    std::cout << frames << " frames, the latest "
              << std::chrono::duration_cast<std::chrono::microseconds>(latest).count() << " us late"
              << std::endl;
    return 0;
}
