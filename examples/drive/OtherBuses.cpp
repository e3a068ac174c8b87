#include "Source.h"

#include <algorithm>

namespace drive {
namespace {

/// Works through a schedule.
class LinBus : public Source {
  public:
    explicit LinBus(const Signals& signals)
        : Source(20), schedule{{0x11, signals.layout({"RainLight."})},
                               {0x61, signals.layout({"Window."})},
                               {0xEC, signals.layout({"Seat."})},
                               {0x61, signals.layout({"Window."})}} {}

  private:
    void send(const Tick& tick) override {
        const auto& [protectedId, layout] = schedule[slots++ % schedule.size()];
        // At 19,200 bit/s: break, synchronisation and identifier, then data and checksum, each byte with its
        // start and stop bit.
        const std::uint64_t duration = (34 + 10 * (layout.length + 1)) * 1000000 / 19200;
        tick.output.record(LINTraceMessage{.timestamp = (tick.now + duration) * 1000,
                                           .data = tick.signals.encode(layout),
                                           .protectedId = protectedId});
    }

    std::vector<std::pair<std::uint8_t, Layout>> schedule; // identifiers have their two parity bits
    std::size_t slots = 0;                                 // so far
};

/// Sends a static frame in every communication cycle, and a dynamic one in some.
class FlexRayBus : public Source {
  public:
    explicit FlexRayBus(const Signals& signals)
        : Source(10), wheels(signals.layout({"Rotation.", "Chassis.Speed"}, 0)),
          dampers(signals.layout({"Chassis.Speed", "Damper.", "Chassis.Height"}, 1)),
          motion(signals.layout({"Motion."})),
          control(signals.layout({"Chassis.Mode", "Chassis.BrakeTorque"})) {}

  private:
    void send(const Tick& tick) override {
        const unsigned cycle = cycles++ % 64;
        Bytes state = tick.signals.encode(cycle % 2 == 0 ? wheels : dampers);
        state.resize(16);
        // The height is measured in every fourth of its frames only: then its update bit is set, else it is
        // invalid.
        if (cycle % 8 == 1) {
            state[9] |= 0x80;
        } else if (cycle % 2 == 1) {
            state[8] = 0xFF;
            state[9] = 0x03;
        }
        // Of 60 static slots of 50,000 ns and minislots of 8,000 ns: slot 12 follows 11, slot 70 follows 60
        // and 9.
        record(tick, cycle, FlexRayExtTraceMessage::Static, 12, 550000, state);
        if (cycle % 8 == 3) {
            // Two PDUs, and a byte of padding, which tells that there is no further one.
            Bytes pdus;
            pdus.big(0x101, 3).big(motion.length, 1).add(tick.signals.encode(motion));
            pdus.big(0x102, 3).big(control.length, 1).add(tick.signals.encode(control)).big(0, 1);
            record(tick, cycle, FlexRayExtTraceMessage::Dynamic, 70, 3072000, pdus);
        }
    }

    static void record(const Tick& tick, unsigned cycle, std::uint8_t kind, std::uint16_t slot,
                       std::uint64_t start, const Bytes& payload) {
        tick.output.record(FlexRayExtTraceMessage{.timestamp = tick.now * 1000 + start,
                                                  .frameKind = kind,
                                                  .data = payload,
                                                  .slot = slot,
                                                  .cycle = static_cast<std::uint8_t>(cycle),
                                                  .payload = payload});
    }

    Layout wheels, dampers, motion, control;
    unsigned cycles = 0; // so far
};

/// A datagram for station 1. Station n has the addresses 10.0.0.n and 02:00:00:00:00:n.
struct Datagram {
    std::uint8_t source;
    std::uint16_t port, vlanId; ///< no VLAN tag if 0
    unsigned period;            ///< in ticks of 10 ms
};

constexpr Datagram datagrams[] = {{2, 5001, 0, 2}, {3, 5002, 5, 5}, {4, 5003, 0, 10}, {3, 30501, 0, 4}};

/// The one's complement of the one's complement sum of the header's 16-bit words (RFC 1071).
std::uint32_t checksum(const Bytes& header) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < header.size(); i += 2) {
        sum += header[i] * 256U + header[i + 1];
    }
    sum = (sum & 0xFFFF) + (sum >> 16);
    return ~(sum + (sum >> 16));
}

/// UDP over IPv4 (RFC 768, RFC 791) in Ethernet II from the destination address on, without checksum, padded
/// to the least length of a frame. Never fragmented, and so without an identification (RFC 6864); UDP's own
/// checksum is 0: none.
Bytes udpFrame(const Datagram& datagram, const Bytes& payload) {
    constexpr std::size_t ipHeader = 20, udpHeader = 8, leastFrame = 60;
    Bytes start, end; // of the IPv4 header, without its checksum
    // Version 4, five words; do not fragment; 64 hops, UDP.
    start.big(0x4500, 2).big(ipHeader + udpHeader + payload.size(), 2).big(0x000040004011, 6);
    end.big(0x0A000000U + datagram.source, 4).big(0x0A000001, 4);
    Bytes frame;
    frame.big(0x020000000001, 6).big(0x020000000000 + datagram.source, 6);
    if (datagram.vlanId != 0) {
        frame.big(0x81000000U + datagram.vlanId, 4);
    }
    frame.big(0x0800, 2).add(start).big(checksum(Bytes(start).add(end)), 2).add(end);
    frame.big(datagram.port, 2).big(datagram.port, 2).big(udpHeader + payload.size(), 2).big(0, 2);
    frame.add(payload).resize(std::max(frame.size(), leastFrame));
    return frame;
}

/// A SOME/IP notification, with a length that counts from behind its own field.
Bytes notification(std::uint16_t event, std::uint64_t n, const Bytes& data) {
    Bytes bytes;
    bytes.big(0x21010000U | event, 4).big(8 + data.size(), 4); // service and event
    bytes.big(n % 0xFFFF + 1, 4)
        .big(0x01010200, 4); // no client, the session; versions 1, notification, no error
    return bytes.add(data);
}

/// Sends UDP datagrams of every kind that can carry signals.
class EthernetBus : public Source {
  public:
    explicit EthernetBus(const Signals& signals)
        : Source(10), road(signals.layout({"Camera."})),
          power(signals.layout({"Gateway.EngineSpeed", "Gateway.Torque"})),
          heat(signals.layout({"Gateway.Coolant", "Gateway.Oil"})), energy(signals.layout({"Energy."})),
          journey(signals.layout({"Journey."})) {}

  private:
    void send(const Tick& tick) override {
        std::uint64_t time = tick.now * 1000;
        for (const Datagram& datagram : datagrams) {
            if (ticks % datagram.period == 0) {
                const Bytes content = payload(datagram.port, ticks / datagram.period, tick.signals);
                const Bytes frame = udpFrame(datagram, content);
                // On the wire at 100 Mbit/s, with preamble, checksum and the gap behind it.
                time += (8 + frame.size() + 4 + 12) * 80;
                tick.output.writeEthernet({.timestamp = time, .frame = frame});
            }
        }
        ++ticks;
    }

    Bytes payload(std::uint16_t port, std::uint64_t n, const Signals& signals) const {
        const auto pdu = [&signals](std::uint32_t id, const Layout& layout) {
            return Bytes().big(id, 4).big(layout.length, 4).add(signals.encode(layout));
        };
        switch (port) {
        case 5001: // What the camera makes of the road: nothing but the signals.
            return signals.encode(road);
        case 5002: // What the gateway passes on from the engine: two PDUs, and an empty one that ends the
                   // chain.
            return pdu(0x1001, power).add(pdu(0x1002, heat)).big(0, 8);
        case 5003: // The battery's measurements: a counter in the header, and four reserved bytes at the end.
            return Bytes()
                .big(0x4001, 4)
                .big(energy.length, 4)
                .big(n, 8)
                .add(signals.encode(energy))
                .big(0, 4);
        default: // What the gateway's service tells of the journey; a sign of life ends the datagram.
            return notification(0x8001, n, signals.encode(journey))
                .add(notification(0x8002, n, Bytes().big(n, 4)));
        }
    }

    Layout road, power, heat, energy, journey;
    std::uint64_t ticks = 0; // so far
};

} // namespace

void addOtherBuses(Sources& sources, const Signals& signals) {
    sources.push_back(std::make_unique<LinBus>(signals));
    sources.push_back(std::make_unique<FlexRayBus>(signals));
    sources.push_back(std::make_unique<EthernetBus>(signals));
}

} // namespace drive
