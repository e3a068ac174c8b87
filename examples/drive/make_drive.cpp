// Writes what is recorded on a simulated drive: five minutes through a town and over a country road, over and
// over. The same options give the same files on every platform.

#include "Recording.h"

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
    double seconds = 240, hours = 0;
    std::uint64_t start = 1700000000, seed = 1;
    unsigned load = 1;
    std::string output, records, nmea, capture;
};

/// A file that is written, standard output for `-`, or nothing for an empty path.
class OutputFile {
  public:
    explicit OutputFile(const std::string& path) : path(path) {
        if (isWanted() && path != "-") {
            file.open(path, std::ios::binary);
        }
        check();
    }

    bool isWanted() const { return !path.empty(); }
    /// Takes what is written to it in any case.
    std::ostream& stream() { return path == "-" ? std::cout : file; }

    /// \throws std::runtime_error if the file does not hold what has been written to it
    void check() {
        if (isWanted() && !stream().flush()) {
            throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
        }
    }

  private:
    std::string path;
    std::ofstream file;
};

/// Appends a line as `candump -l` writes it: `(1700000000.000222) can0 0C9#0000000000000000`.
void writeCandump(std::string& text, const drive::Frame& frame) {
    const bool isError = frame.kind == drive::FrameKind::Error;
    constexpr std::uint32_t errorFlag = 0x20000000; // SocketCAN's mark of an error frame
    text += '(';
    drive::putDecimal(text, frame.microseconds / 1000000, 10);
    text += '.';
    drive::putDecimal(text, frame.microseconds % 1000000, 6);
    text += std::string(") can") + static_cast<char>('0' + frame.bus) + ' ';
    drive::putHex(text, frame.id | (isError ? errorFlag : 0), frame.extended || isError ? 8 : 3);
    text += frame.kind == drive::FrameKind::Remote   ? "#R"
            : frame.kind == drive::FrameKind::FdData ? "##1" // with bit rate switch
                                                     : "#";
    if (frame.kind == drive::FrameKind::Remote) {
        drive::putDecimal(text, frame.length, 1);
    } else {
        for (std::size_t i = 0; i < frame.length; ++i) {
            drive::putHex(text, frame.data[i], 2);
        }
    }
    text += '\n';
}

int run(const Options& options) {
    OutputFile log(options.output), records(options.records), nmea(options.nmea), capture(options.capture);
    const std::uint64_t start = options.start * 1000000;
    drive::Recording recording(records.stream(), nmea.stream(), capture.stream(), options.seed, start);
    drive::Traffic traffic(options.seed, start, options.load);
    const bool isRecorded = records.isWanted() || nmea.isWanted() || capture.isWanted();
    const double seconds = options.hours > 0 ? options.hours * 3600 : options.seconds;
    std::uint64_t frameCount = 0;
    std::string text;
    for (auto ticks = static_cast<std::uint64_t>(seconds * 100 * options.load); ticks > 0; --ticks) {
        const std::uint64_t now = traffic.time();
        const std::span<const drive::Frame> frames = traffic.next();
        for (const drive::Frame& frame : frames) {
            writeCandump(text, frame);
        }
        if (isRecorded) {
            recording.observe(frames, traffic.car(), now);
        }
        frameCount += frames.size();
        if (text.size() >= 1 << 16 || ticks == 1) {
            log.stream() << text;
            text.clear();
            log.check();
            records.check();
        }
    }
    const std::uint64_t recordCount = recording.finish();
    for (OutputFile* const file : {&log, &records, &nmea, &capture}) {
        file->check();
    }
    std::cerr << "make_drive: " << frameCount << " frames";
    if (records.isWanted()) {
        std::cerr << ", " << recordCount << " records";
    }
    std::cerr << '\n';
    return 0;
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
    option("-o,--output", options.output,
           "the candump log; - is standard output, and what is meant unless another file is asked for");
    option("--records", options.records,
           "a record file (.rktrace) of the CAN data frames and of LIN, FlexRay, Ethernet, inputs, remote "
           "control, "
           "logger status and GPS");
    option("--nmea", options.nmea, "the GPS receiver's sentences alone, as text");
    option("--capture", options.capture, "the Ethernet frames alone, as a pcapng capture");
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
