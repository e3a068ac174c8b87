// Writes the log of a simulated drive: five minutes through a town and over a country road, over and over.
// The same options give the same log on every platform.

#include "CandumpLog.h"
#include "Traffic.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

namespace {

struct Options {
    double seconds = 240;
    double hours = 0;
    std::uint64_t start = 1700000000;
    unsigned load = 1;
    std::uint64_t seed = 1;
    std::string output = "-";
};

std::uint64_t writeDrive(const Options& options, std::ostream& out) {
    drive::CandumpLog log(out);
    drive::Traffic traffic(options.seed, options.start * 1000000, options.load);
    const double seconds = options.hours > 0 ? options.hours * 3600 : options.seconds;
    const auto ticks = static_cast<std::uint64_t>(seconds * 100 * options.load);
    std::uint64_t frames = 0;
    for (std::uint64_t i = 0; i < ticks && out; ++i) {
        for (const drive::Frame& frame : traffic.next()) {
            log.write(frame);
            ++frames;
        }
    }
    return frames;
}

int run(const Options& options) {
    std::ofstream file;
    const bool toFile = options.output != "-";
    if (toFile) {
        file.open(options.output, std::ios::binary);
    }
    std::ostream& out = toFile ? file : std::cout;
    const std::uint64_t frames = out ? writeDrive(options, out) : 0;
    if (!out.flush()) {
        std::cerr << "make_drive: cannot write " << options.output << ": " << std::strerror(errno) << '\n';
        return 2;
    }
    std::cerr << "make_drive: " << frames << " frames\n";
    return 0;
}

/// \return the exit status: 0, or 2 for a wrong command line and for a log that cannot be written
int parseAndRun(int argc, char** argv) {
    Options options;
    CLI::App app("Writes the candump log of a simulated drive on two buses, can0 and can1.", "make_drive");
    app.add_option("-s,--seconds", options.seconds, "length of the drive")
        ->check(CLI::Range(0.0, 1e7))
        ->capture_default_str();
    app.add_option("--hours", options.hours, "length of the drive, instead of --seconds")
        ->check(CLI::Range(0.0, 1000.0));
    app.add_option("--start", options.start, "time of the first frame, in seconds since 1970-01-01 UTC")
        ->check(CLI::Range(0, 2000000000))
        ->capture_default_str();
    app.add_option("--load", options.load, "how many times as many frames a second as usual")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "of the random numbers")->capture_default_str();
    app.add_option("-o,--output", options.output, "the log file; - is standard output")
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    return run(options);
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
