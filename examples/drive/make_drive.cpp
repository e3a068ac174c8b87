// Writes what is recorded on a simulated drive: five minutes through a town and over a country road, over and
// over. The same options give the same files on every platform.

#include "Source.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>

namespace {

struct Options {
    double seconds = 240, hours = 0;
    std::uint64_t start = 1700000000, seed = 1;
    unsigned load = 1;
    drive::Paths paths;
};

void run(const Options& options) {
    drive::Output output(options.paths);
    drive::Signals signals;
    drive::VehicleModel model(options.seed);
    const std::uint64_t start = options.start * 1000000;
    drive::Sources sources;
    sources.push_back(drive::canBuses(signals, model.noise, options.load));
    if (output.recordsAll()) {
        drive::addOtherBuses(sources, signals);
        drive::addLogger(sources, options.seed, start);
        sources.push_back(drive::gpsReceiver(options.seed + 1));
    }

    const double seconds = options.hours > 0 ? options.hours * 3600 : options.seconds;
    const auto ticks = static_cast<std::uint64_t>(seconds * 100 * options.load);
    for (std::uint64_t number = 0; number < ticks; ++number) {
        const drive::Tick tick{number, start + number * 10000 / options.load, model.car, signals, output};
        model.step(0.01 / options.load);
        signals.read(model.car);
        output.writeRecordsBefore(tick.now * 1000);
        for (const auto& source : sources) {
            source->observe(tick);
        }
        if (number % 1000 == 0) {
            output.check();
        }
    }
    std::cerr << "make_drive: " << output.finish() << '\n';
}

/// \return the exit status: 0, or 2 for a wrong command line and for a file that cannot be written
int parseAndRun(int argc, char** argv) {
    Options options;
    CLI::App app(
        "Writes what is recorded on a simulated drive: the candump log of two buses, can0 and can1, and a "
        "record file of these and of everything else that a logger records.",
        "make_drive");
    const auto option = [&app](const char* name, auto& value, const char* text) {
        return app.add_option(name, value, text);
    };
    option("-s,--seconds", options.seconds, "length of the drive")
        ->check(CLI::Range(0.0, 1e7))
        ->capture_default_str();
    option("--hours", options.hours, "length of the drive, instead of --seconds")
        ->check(CLI::Range(0.0, 1000.0));
    option("--start", options.start, "time of the first frame, in seconds since 1970-01-01 UTC")
        ->check(CLI::Range(0, 2000000000))
        ->capture_default_str();
    option("--load", options.load, "how many times as many CAN frames a second as usual")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    option("--seed", options.seed, "of the random numbers")->capture_default_str();
    auto& [log, records, nmea, capture] = options.paths;
    option("-o,--output", log,
           "the candump log; - is standard output, and what is meant unless another file is asked for");
    option("--records", records,
           "a record file (.rktrace) of the CAN data frames and of LIN, FlexRay, Ethernet, inputs, remote "
           "control, logger status and GPS");
    option("--nmea", nmea, "the GPS receiver's sentences alone, as text");
    option("--capture", capture, "the Ethernet frames alone, as a pcapng capture");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (log.empty() && records.empty() && nmea.empty() && capture.empty()) {
        log = "-";
    }
    run(options);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return parseAndRun(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "make_drive: " << error.what() << '\n';
        return 2;
    }
}
