#include "Output.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <limits>
#include <stdexcept>

namespace drive {

std::string digits(std::uint64_t number, int count, unsigned base) {
    std::string text(static_cast<std::size_t>(count), '0');
    for (auto place = text.rbegin(); place != text.rend(); ++place, number /= base) {
        *place = "0123456789ABCDEF"[number % base];
    }
    return text;
}

File::File(const std::string& path) : path(path) {
    if (isWanted() && path != "-") {
        file.open(path, std::ios::binary);
    }
    check();
}

std::ostream& File::stream() {
    return path == "-" ? std::cout : file;
}

void File::check() {
    if (isWanted() && !stream().flush()) {
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
    }
}

Output::Output(const Paths& paths)
    : log(paths.log), records(paths.records), nmea(paths.nmea), capture(paths.capture),
      writer(records.stream()) {
    // pcapng (draft-ietf-opsawg-pcapng): a section, version 1.0, of unknown length, and an interface with
    // Ethernet frames of any length and one option: times in units of 10 to the power -9 s.
    writeBlock(0x0A0D0D0A, Bytes().little(0x1A2B3C4D, 4).little(1, 4).little(~std::uint64_t{0}, 8));
    writeBlock(1, Bytes().little(1, 8).little(0x00010009, 4).little(9, 8));
}

/// As `candump -l` does: `(1700000000.000222) can0 0C9#0000000000000000`.
void Output::writeCan(const CanFrame& frame) {
    const bool isError = frame.kind == CanFrame::Kind::Error, isRemote = frame.kind == CanFrame::Kind::Remote;
    constexpr std::uint32_t errorFlag = 0x20000000; // SocketCAN's mark of an error frame
    std::string line = '(' + digits(frame.timestamp / 1000000000, 10) + '.' +
                       digits(frame.timestamp / 1000, 6) + ") can" + digits(frame.channel, 1) + ' ';
    line += isError ? digits(frame.canId | errorFlag, 8, 16)
                    : digits(frame.canId, frame.isExtended() ? 8 : 3, 16);
    line += frame.isFd() ? "##1" : "#"; // with bit rate switch
    if (isRemote) {
        line += 'R' + digits(frame.length, 1);
    } else {
        for (std::size_t i = 0; i < frame.length; ++i) {
            line += digits(frame.payload[i], 2, 16);
        }
    }
    log.stream() << line << '\n';
    ++frameCount;
    if (recordsAll() && !isRemote && !isError) { // these carry no signals and have no records
        record(frame);
    }
}

void Output::writeEthernet(const MIITraceMessage& message) {
    record(message);
    const std::size_t size = message.frame.size(); // captured, and on the wire
    Bytes body = Bytes().little(0, 4).little(message.timestamp >> 32, 4).little(message.timestamp, 4);
    body.little(size, 4).little(size, 4).add(message.frame);
    body.resize((body.size() + 3) / 4 * 4);
    writeBlock(6, body);
}

/// A block's length, counted over all of it, stands at both of its ends.
void Output::writeBlock(std::uint32_t type, const Bytes& body) {
    const std::size_t length = 12 + body.size();
    const Bytes block = Bytes().little(type, 4).little(length, 4).add(body).little(length, 4);
    capture.stream().write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(length));
}

void Output::writeGps(const GPSTraceMessage& message) {
    record(message);
    nmea.stream() << message.sentences;
}

void Output::writeRecordsBefore(std::uint64_t nanoseconds) {
    for (; !pending.empty() && pending.begin()->first < nanoseconds; ++recordCount) {
        writer.write(pending.begin()->second);
        pending.erase(pending.begin());
    }
}

void Output::check() {
    for (File* const file : {&log, &records, &nmea, &capture}) {
        file->check();
    }
}

std::string Output::finish() {
    writeRecordsBefore(std::numeric_limits<std::uint64_t>::max());
    check();
    return std::to_string(frameCount) + " frames" +
           (records.isWanted() ? ", " + std::to_string(recordCount) + " records" : "");
}

} // namespace drive
