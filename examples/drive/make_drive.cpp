// Writes what is recorded on a simulated drive: five minutes through a town and over a country road, over and
// over. The same options give the same files on every platform.

#include "CandumpLog.h"
#include "Recording.h"
#include "Traffic.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

struct Options {
    double seconds = 240;
    double hours = 0;
    std::uint64_t start = 1700000000;
    unsigned load = 1;
    std::uint64_t seed = 1;
    std::string output;
    std::string records;
    std::string nmea;
    std::string capture;
};

/// A file that is written, standard output for `-`, or nothing for an empty path.
class OutputFile {
  public:
    explicit OutputFile(const std::string& path) : path(path) {
        if (isWanted() && path != "-") {
            file.open(path, std::ios::binary);
            check();
        }
    }

    bool isWanted() const { return !path.empty(); }
    /// Takes what is written to it in any case.
    std::ostream& stream() { return path == "-" ? std::cout : file; }

    /// \throws std::runtime_error if the file does not hold what has been written to it
    void finish() {
        if (isWanted()) {
            stream().flush();
            check();
        }
    }

  private:
    void check() {
        if (!stream()) {
            throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
        }
    }

    std::string path;
    std::ofstream file;
};

struct Outputs {
    OutputFile log, records, nmea, capture;

    bool areGood() {
        const auto isGood = [](OutputFile& output) { return !output.isWanted() || output.stream(); };
        return isGood(log) && isGood(records) && isGood(nmea) && isGood(capture);
    }
};

/// Numbers of frames and of records.
struct Counts {
    std::uint64_t frames = 0, records = 0;
};

Counts writeDrive(const Options& options, Outputs& outputs) {
    const std::uint64_t start = options.start * 1000000;
    drive::CandumpLog log(outputs.log.stream());
    drive::Recording recording(outputs.records.stream(), outputs.nmea.stream(), outputs.capture.stream(),
                               options.seed, start);
    drive::Traffic traffic(options.seed, start, options.load);
    const bool recorded = outputs.records.isWanted() || outputs.nmea.isWanted() || outputs.capture.isWanted();
    const double seconds = options.hours > 0 ? options.hours * 3600 : options.seconds;
    const auto ticks = static_cast<std::uint64_t>(seconds * 100 * options.load);
    Counts counts;
    for (std::uint64_t i = 0; i < ticks && outputs.areGood(); ++i) {
        const std::uint64_t now = traffic.time();
        const std::span<const drive::Frame> frames = traffic.next();
        for (const drive::Frame& frame : frames) {
            log.write(frame);
        }
        if (recorded) {
            recording.observe(frames, traffic.vehicle(), now);
        }
        counts.frames += frames.size();
    }
    counts.records = recording.finish();
    return counts;
}

int run(const Options& options) {
    Outputs outputs{OutputFile(options.output), OutputFile(options.records), OutputFile(options.nmea),
                    OutputFile(options.capture)};
    const Counts counts = writeDrive(options, outputs);
    outputs.log.finish();
    outputs.records.finish();
    outputs.nmea.finish();
    outputs.capture.finish();
    std::cerr << "make_drive: " << counts.frames << " frames";
    if (outputs.records.isWanted()) {
        std::cerr << ", " << counts.records << " records";
    }
    std::cerr << '\n';
    return 0;
}

/// \return the exit status: 0, or 2 for a wrong command line and for a log that cannot be written
int parseAndRun(int argc, char** argv) {
    Options options;
    CLI::App app(
        "Writes what is recorded on a simulated drive: the candump log of two buses, can0 and can1, and "
        "a record file of these and of everything else that a logger records.",
        "make_drive");
    app.add_option("-s,--seconds", options.seconds, "length of the drive")
        ->check(CLI::Range(0.0, 1e7))
        ->capture_default_str();
    app.add_option("--hours", options.hours, "length of the drive, instead of --seconds")
        ->check(CLI::Range(0.0, 1000.0));
    app.add_option("--start", options.start, "time of the first frame, in seconds since 1970-01-01 UTC")
        ->check(CLI::Range(0, 2000000000))
        ->capture_default_str();
    app.add_option("--load", options.load, "how many times as many CAN frames a second as usual")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "of the random numbers")->capture_default_str();
    app.add_option(
        "-o,--output", options.output,
        "the candump log; - is standard output, and what is meant unless another file is asked for");
    app.add_option(
        "--records", options.records,
        "a record file (.rktrace) of the CAN data frames and of LIN, FlexRay, Ethernet, inputs, remote "
        "control, logger status and GPS");
    app.add_option("--nmea", options.nmea, "the GPS receiver's sentences alone, as text");
    app.add_option("--capture", options.capture, "the Ethernet frames alone, as a pcapng capture");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (options.output.empty() && options.records.empty() && options.nmea.empty() &&
        options.capture.empty()) {
        options.output = "-";
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
