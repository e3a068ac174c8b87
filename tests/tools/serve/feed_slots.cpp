/// \file
/// Writes signals in shared memory as it is told:
///
///     feed_slots DEFINITIONS
///
/// Each line of the standard input is `INSTANCE=RAW`, which writes the signal with the time of now,
/// `INSTANCE=RAW@NANOSECONDS`, with another time stamp, or `INSTANCE=`, which clears it. Each line is
/// answered by one with the time stamp. At the end of the input the segments are removed.
#include "catalog/Catalog.h"
#include "rkutil/LogUtil.h"
#include "text/ParseNumber.h"

#include <chrono>
#include <iostream>
#include <string>

namespace {

std::uint64_t wallClock() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(since).count());
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: feed_slots DEFINITIONS\n";
        return 2;
    }
    LogUtil::setReceiver([](LogLevel, std::string_view) {});
    rksignal::Catalog catalog(rksignal::SignalPlace::Shared);
    const rksignal::DefinitionSource source{argv[1], {}};
    catalog.addDefinitions({&source, 1});
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        const std::size_t equals = line.rfind('=');
        BaseSignal* const signal = BaseSignal::getInstance(line.substr(0, equals), &catalog.storage());
        if (equals == line.npos || signal == nullptr) {
            std::cerr << "no such signal: " << line << '\n';
            return 1;
        }
        const std::string_view value = std::string_view(line).substr(equals + 1);
        const std::size_t at = value.find('@');
        const auto raw = rksignal::parseNumber<std::uint64_t>(value.substr(0, at));
        const auto time =
            at != value.npos ? rksignal::parseNumber<std::uint64_t>(value.substr(at + 1)) : std::nullopt;
        const std::uint64_t timestamp = time.value_or(wallClock());
        if (raw) {
            signal->writeRaw(*raw, timestamp);
        } else {
            signal->clear();
        }
        std::cout << timestamp << std::endl;
    }
    return 0;
}
