// What the car's small sensors answer on LIN, its chassis sends on FlexRay, and camera, gateway and battery
// send to the head unit on Ethernet.

#include "Recording.h"

#include <algorithm>
#include <iterator>

namespace drive {
namespace {

using enum Field::Order;

// --- LIN ---

/// Rain and light sensor on the windscreen.
void rainLight(Payload& p, const Car& car) {
    const double lux = car.driver.tunnel ? 150 : 18000.0 / (1 + car.driver.rain);
    p.put({Little, 0, 0, 12, false, 10}, lux);
    p.putRaw({Little, 1, 4, 2}, car.driver.rain);
    p.putFlag(1, 6, lux < 1000);
    p.put({Little, 2, 0, 12, false, 5}, 0.6 * lux);
}

/// Window switches in the driver's door.
void windows(Payload& p, const Car& car) {
    p.putRaw({Little, 0, 0, 3}, static_cast<std::uint64_t>(car.driver.window));
    p.putRaw({Little, 0, 6, 3}, car.driver.rain == 1 ? 2 : 0); // rear left: closed when it drips in
    p.putFlag(1, 1, car.isOn());
}

void seat(Payload& p, const Car& car) {
    p.put({Little, 0, 0, 12, false, 0.1}, car.seatPosition);
    p.put({Little, 1, 4, 10, false, 0.1, -51.2}, car.backrest); // numbers of LIN have no sign
    p.put({Little, 2, 6, 2}, car.isOn() ? (21.5 - car.cabin) / 3 : 0);
}

/// Protected identifiers (with their two parity bits), lengths and contents of the frames.
constexpr struct {
    std::uint8_t protectedId, length;
    void (*fill)(Payload& p, const Car& car);
} schedule[] = {{0x11, 4, rainLight}, {0x61, 2, windows}, {0xEC, 3, seat}, {0x61, 2, windows}};

// --- FlexRay ---

/// Even cycles: the wheels' speeds, those of the rear in the other byte order, and the car's.
void wheels(Payload& p, const Car& car, std::uint64_t /*cycle*/) {
    for (int i = 0; i < 4; ++i) {
        const Field field =
            i < 2 ? Field{Big, 2 * i, 7, 16, false, 0.01} : Field{Little, 2 * i, 0, 16, false, 0.01};
        p.put(field, car.wheelSpeed[static_cast<std::size_t>(i)] * 3.6);
    }
    p.put({Little, 8, 0, 16, false, 0.01}, car.speed * 3.6);
}

/// Odd cycles: the car's speed again, the dampers, and the height above the road. That is measured in every
/// fourth of these frames only; the others say so by an update bit that is 0.
void dampers(Payload& p, const Car& car, std::uint64_t cycle) {
    p.put({Little, 0, 0, 16, false, 0.01}, car.speed * 3.6);
    const double pitch = 2.4 * car.direction * car.acceleration;
    const double roll = 3.1 * car.lateralAcceleration;
    const double travels[] = {pitch + roll, pitch - roll, -pitch + roll, -pitch - roll};
    for (int i = 0; i < 4; ++i) {
        p.put({Little, 2 + i * 3 / 2, i % 2 * 4, 12, true, 0.1}, travels[i]);
    }
    const bool measured = cycle % 8 == 1;
    p.put({Little, 8, 0, 10, false, 0.5}, measured ? 140 - 0.25 * car.speed : 511.5);
    p.putFlag(9, 7, measured);
}

/// PDU 101 (how the body moves), PDU 102 (what the control unit does about it), and a byte of padding, which
/// makes the length even and tells that there is no further PDU.
Octets dynamicPayload(const Car& car) {
    Payload motion{.length = 6};
    motion.put({Big, 0, 7, 16, true, 0.01}, car.yawRate);
    motion.put({Big, 2, 7, 16, true, 0.01}, car.lateralAcceleration);
    motion.put({Little, 4, 0, 16, true, 0.01}, car.direction * car.acceleration);
    Payload control{.length = 3};
    control.putRaw({Little, 0, 0, 2}, !car.isOn() ? 0 : car.driver.rain >= 2 ? 2 : 1);
    control.put({Little, 1, 0, 14, false, 0.25}, 14.6 * car.brakePressure);
    Octets payload;
    putBig(payload, 0x101 << 8 | motion.length, 4);
    motion.appendTo(payload);
    putBig(payload, 0x102 << 8 | control.length, 4);
    control.appendTo(payload);
    payload.push_back(0);
    return payload;
}

Octets staticPayload(const Car& car, std::uint64_t cycle) {
    Payload p{.length = 16};
    (cycle % 2 == 0 ? wheels : dampers)(p, car, cycle);
    Octets payload;
    p.appendTo(payload);
    return payload;
}

// --- Ethernet ---

/// What the camera makes of the road. The payload is nothing but the signals.
void road(Octets& payload, const Car& car, std::uint64_t /*n*/) {
    Payload data{.length = 7};
    data.putFloat({Little, 0, 0, 32}, car.speed > 1 ? car.lateralAcceleration / (car.speed * car.speed) : 0);
    data.put({Big, 4, 7, 16}, car.driver.tunnel ? 90 : 600 / (1.0 + car.driver.rain));
    data.putFlag(6, 0, car.driver.tunnel);
    data.appendTo(payload);
}

void putIpdu(Octets& payload, std::uint32_t id, const Payload& pdu) {
    putBig(payload, id, 4);
    putBig(payload, pdu.length, 4);
    pdu.appendTo(payload);
}

/// What the gateway passes on from the engine: two PDUs, and an empty one that ends the chain.
void engine(Octets& payload, const Car& car, std::uint64_t /*n*/) {
    Payload power{.length = 4};
    power.put({Big, 0, 7, 16, false, 0.25}, car.engineSpeed);
    power.put({Little, 2, 0, 16, true, 0.1}, car.engineTorque);
    Payload heat{.length = 3};
    heat.put({Little, 0, 0, 8, false, 1, -40}, car.coolant);
    heat.put({Big, 1, 7, 16, false, 0.03125, -273}, car.oil);
    putIpdu(payload, 0x1001, power);
    putIpdu(payload, 0x1002, heat);
    putIpdu(payload, 0, {});
}

/// The battery's measurements, in one message with a counter in its header. Four reserved bytes follow it.
void energy(Octets& payload, const Car& car, std::uint64_t n) {
    Payload data{.length = 12};
    data.putFloat({Big, 0, 7, 64}, car.voltage);
    data.putFloat({Little, 8, 0, 32}, car.current);
    putBig(payload, 0x4001, 4);
    putBig(payload, data.length, 4);
    putBig(payload, n, 8);
    data.appendTo(payload);
    putBig(payload, 0, 4);
}

/// A SOME/IP notification, with a length that counts from behind its own field.
void putEvent(Octets& payload, std::uint16_t event, std::uint64_t n, const Payload& data) {
    putBig(payload, 0x21010000U | event, 4); // service and event
    putBig(payload, 8U + data.length, 4);
    putBig(payload, n % 0xFFFF + 1, 4); // no client, the session
    putBig(payload, 0x01010200, 4);     // protocol and interface version 1, notification, no error
    data.appendTo(payload);
}

/// What the gateway's service tells of the journey; a sign of life ends the datagram.
void journey(Octets& payload, const Car& car, std::uint64_t n) {
    Payload data{.length = 7};
    data.put({Big, 0, 7, 16, false, 0.01}, car.speed * 3.6);
    data.put({Big, 2, 7, 8, true}, car.gear);
    data.put({Big, 3, 7, 32, false, 0.001}, car.odometer / 1000);
    Payload alive{.length = 4};
    alive.putRaw({Big, 0, 7, 32}, n);
    putEvent(payload, 0x8001, n, data);
    putEvent(payload, 0x8002, n, alive);
}

/// A datagram for station 1. Station n has the addresses 10.0.0.n and 02:00:00:00:00:n.
struct Datagram {
    std::uint8_t source;
    std::uint16_t port, vlanId; ///< no VLAN tag if 0
    unsigned period;            ///< in ticks of 10 ms
    void (*fill)(Octets& payload, const Car& car, std::uint64_t n);
};

constexpr Datagram onEthernet[] = {
    {2, 5001, 0, 2, road}, {3, 5002, 5, 5, engine}, {4, 5003, 0, 10, energy}, {3, 30501, 0, 4, journey}};

/// The one's complement of the one's complement sum of the header's 16-bit words (RFC 1071).
std::uint32_t checksum(const Octets& header) {
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
Octets udpFrame(const Datagram& datagram, const Octets& payload) {
    constexpr std::size_t ipHeader = 20, udpHeader = 8, leastFrame = 60;
    Octets ip;
    putBig(ip, 0x4500, 2); // version 4, five words
    putBig(ip, ipHeader + udpHeader + payload.size(), 2);
    putBig(ip, 0x0000400040110000, 8); // do not fragment; 64 hops, UDP, the checksum's place
    putBig(ip, 0x0A000000U + datagram.source, 4);
    putBig(ip, 0x0A000001U, 4);
    const std::uint32_t sum = checksum(ip);
    ip[10] = static_cast<std::uint8_t>(sum >> 8);
    ip[11] = static_cast<std::uint8_t>(sum);
    Octets frame;
    putBig(frame, 0x020000000001, 6);
    putBig(frame, 0x020000000000 + datagram.source, 6);
    if (datagram.vlanId != 0) {
        putBig(frame, 0x81000000U + datagram.vlanId, 4);
    }
    putBig(frame, 0x0800, 2);
    frame.insert(frame.end(), ip.begin(), ip.end());
    putBig(frame, datagram.port, 2);
    putBig(frame, datagram.port, 2);
    putBig(frame, udpHeader + payload.size(), 2);
    putBig(frame, 0, 2);
    frame.insert(frame.end(), payload.begin(), payload.end());
    frame.resize(std::max(frame.size(), leastFrame));
    return frame;
}

} // namespace

void OtherBuses::sendLin(const Tick& tick) {
    if (!linSlot.isDue(tick.now)) {
        return;
    }
    const auto& [protectedId, length, fill] = schedule[slots++ % std::size(schedule)];
    Payload p{.length = length};
    fill(p, tick.car);
    // At 19,200 bit/s: break, synchronisation and identifier, then data and checksum, each byte with its
    // start and stop bit.
    const std::uint64_t duration = (34U + 10U * (length + 1U)) * 1000000U / 19200U;
    LINTraceMessage message{.timestamp = (tick.now + duration) * 1000, .protectedId = protectedId};
    p.appendTo(message.data);
    tick.recorder.add(message);
}

void OtherBuses::sendFlexRay(const Tick& tick) {
    if (!cycleStart.isDue(tick.now)) {
        return;
    }
    const auto cycle = static_cast<std::uint8_t>(cycles++ % 64);
    const auto send = [&](std::uint8_t kind, std::uint16_t slot, std::uint64_t start, const Octets& payload) {
        tick.recorder.add(FlexRayExtTraceMessage{.timestamp = tick.now * 1000 + start,
                                                 .frameKind = kind,
                                                 .data = payload,
                                                 .slot = slot,
                                                 .cycle = cycle,
                                                 .payload = payload});
    };
    // 60 static slots of 50,000 ns, then minislots of 8,000 ns: slot 12 follows 11, slot 70 follows 60 and 9.
    send(FlexRayExtTraceMessage::Static, 12, 550000, staticPayload(tick.car, cycle));
    if (cycle % 8 == 3) {
        send(FlexRayExtTraceMessage::Dynamic, 70, 3072000, dynamicPayload(tick.car));
    }
}

std::vector<MIITraceMessage> OtherBuses::sendEthernet(const Tick& tick) {
    std::vector<MIITraceMessage> frames;
    if (!datagrams.isDue(tick.now)) {
        return frames;
    }
    std::uint64_t time = tick.now * 1000;
    for (const Datagram& datagram : onEthernet) {
        if (ticks % datagram.period == 0) {
            Octets payload;
            datagram.fill(payload, tick.car, ticks / datagram.period);
            Octets frame = udpFrame(datagram, payload);
            // On the wire at 100 Mbit/s, with preamble, checksum and the gap behind it.
            time += (8 + frame.size() + 4 + 12) * 80;
            frames.push_back({.timestamp = time, .frame = std::move(frame)});
        }
    }
    ++ticks;
    return frames;
}

} // namespace drive
