/// \file
/// Everything that a logger in the demo's car records beside the CAN log: a record file of all sources, the
/// GPS receiver's sentences alone, and a capture of the Ethernet frames alone. logger.json describes the
/// signals; so do drive.ldf those of LIN and drive.arxml those of FlexRay and most of Ethernet.
#pragma once

#include "CanBuses.h"

#include "rktrace/MIITraceMessage.h"
#include "rktrace/TraceRecord.h"

#include <cstdint>
#include <map>
#include <ostream>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace drive {

/// Is due at once, and then once a period. Times here and below are in microseconds, and never go back.
class Timer {
  public:
    explicit Timer(unsigned milliseconds) : period(std::uint64_t{1000} * milliseconds) {}
    bool isDue(std::uint64_t now) {
        const bool due = now >= next;
        next = due ? (next == 0 ? now : next) + period : next;
        return due;
    }

  private:
    std::uint64_t period, next = 0;
};

/// Takes messages in the order in which they are made up, and writes them in the order of their time stamps:
/// those of one bus may be stamped a little later than what another source makes up next.
class Recorder {
  public:
    explicit Recorder(std::ostream& out) : writer(out) {}

    /// Takes a message of any class that `encodeRecord` knows.
    template <class Message>
    void add(const Message& message) {
        std::vector<std::uint8_t> record;
        encodeRecord(message, record);
        pending.emplace(message.timestamp, std::move(record));
    }
    /// Writes the messages from before `time`. REQUIRES: none from before that time is added later.
    void writeBefore(std::uint64_t time);

    std::uint64_t written = 0;

  private:
    TraceRecordWriter writer;
    std::multimap<std::uint64_t, std::vector<std::uint8_t>> pending; // by time stamp, equal ones as added
};

/// What a source sees of a tick: the car at its end, and when it began.
struct Tick {
    const Car& car;
    std::uint64_t now;
    Recorder& recorder;
};

/// Sends the buses' frames: LIN works through its schedule, FlexRay sends a static frame in every
/// communication cycle and a dynamic one in some, Ethernet UDP datagrams of every kind that can carry
/// signals.
class OtherBuses {
  public:
    void sendLin(const Tick& tick);
    void sendFlexRay(const Tick& tick);
    /// \return the frames, in the order of time; none is as late as the next tick
    std::vector<MIITraceMessage> sendEthernet(const Tick& tick);

  private:
    Timer linSlot{20}, cycleStart{10}, datagrams{10};
    std::uint64_t slots = 0, cycles = 0, ticks = 0; // so far
};

/// What is wired to the logger itself, and what it says about itself: digital inputs when a level changes,
/// analog ones ten times a second, the keys of a remote control, and every second its status. Its internal
/// memory fills up in the course of minutes; it warns when there is little room left, and moves the content
/// to an external memory when there is none.
class Logger {
  public:
    Logger(std::uint64_t seed, std::uint64_t start) : start(start), roundStart(start), noise(seed) {}

    void readInputs(const Tick& tick);
    void readKeys(const Tick& tick);
    void reportStatus(const Tick& tick);

  private:
    std::uint64_t start, roundStart;
    std::size_t nextKey = 0;                   // of the round
    int levels[3] = {-1, -1, -1}, status = -1; // as last reported
    Timer measurement{100}, second{1000};
    Noise noise;
};

/// Says five times a second where the car is, in an RMC and a GGA sentence (NMEA 0183). It finds its first
/// satellites in a few seconds, and loses all of them in a tunnel; until it sees four, its sentences are
/// void.
class GpsReceiver {
  public:
    explicit GpsReceiver(std::uint64_t seed) : noise(seed) {}

    /// \return what it says now; empty if nothing
    std::string observe(const Tick& tick);

  private:
    void move(const Car& car);

    Timer fix{200};
    Noise noise;
    double satellites = 0;
    double errorEast = 0, errorNorth = 0; // m
    double speed = 0, course = 0;         // m/s and degrees from north, over ground
};

/// Writes Ethernet frames as a pcapng file (draft-ietf-opsawg-pcapng) of one section and one interface, with
/// times in nanoseconds.
class EthernetCapture {
  public:
    explicit EthernetCapture(std::ostream& out);
    void write(const MIITraceMessage& message);

  private:
    void writeBlock(std::uint32_t type, Octets body);

    std::ostream& out;
};

/// Joins all sources: each sees the car tick by tick.
class Recording {
  public:
    Recording(std::ostream& records, std::ostream& sentences, std::ostream& capture, std::uint64_t seed,
              std::uint64_t start)
        : recorder(records), sentences(sentences), capture(capture), logger(seed, start), gps(seed + 1) {}

    /// Records a tick: `now` is its beginning, `frames` its CAN frames, `car` the car at its end.
    void observe(std::span<const Frame> frames, const Car& car, std::uint64_t now);
    /// Writes what has been observed but not yet written. \return the number of records
    std::uint64_t finish();

  private:
    Recorder recorder;
    std::ostream& sentences;
    EthernetCapture capture;
    OtherBuses buses;
    Logger logger;
    GpsReceiver gps;
};

} // namespace drive
