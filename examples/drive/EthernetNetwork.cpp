#include "EthernetNetwork.h"
#include "UdpFrame.h"

namespace drive {

namespace {

using enum Field::Order;

/// What the camera makes of the road. The payload is nothing but the signals.
void road(Octets& payload, const VehicleState& car, std::uint64_t) {
    Frame data{.length = 7};
    const double curvature = car.speed > 1 ? car.lateralAcceleration / (car.speed * car.speed) : 0;
    putFloat(data, {Little, 0, 0, 32}, curvature);
    put(data, {Big, 4, 7, 16}, car.driver.tunnel ? 90 : 600 / (1.0 + car.driver.rain));
    putFlag(data, 6, 0, car.driver.tunnel);
    putData(payload, data);
}

void putIpdu(Octets& payload, std::uint32_t id, const Frame& pdu) {
    putBig(payload, id, 4);
    putBig(payload, pdu.length, 4);
    putData(payload, pdu);
}

/// What the gateway passes on from the engine: two PDUs, and an empty one that ends the chain.
void engine(Octets& payload, const VehicleState& car, std::uint64_t) {
    Frame power{.length = 4};
    put(power, {Big, 0, 7, 16, false, 0.25}, car.engineSpeed);
    put(power, {Little, 2, 0, 16, true, 0.1}, car.engineTorque);
    Frame heat{.length = 3};
    put(heat, {Little, 0, 0, 8, false, 1, -40}, car.coolant);
    put(heat, {Big, 1, 7, 16, false, 0.03125, -273}, car.oil);
    putIpdu(payload, 0x1001, power);
    putIpdu(payload, 0x1002, heat);
    putIpdu(payload, 0, {});
}

/// The battery's measurements, in one message with a counter in its header. Four reserved bytes follow it.
void energy(Octets& payload, const VehicleState& car, std::uint64_t n) {
    Frame data{.length = 12};
    putFloat(data, {Big, 0, 7, 64}, car.voltage);
    putFloat(data, {Little, 8, 0, 32}, car.current);
    putBig(payload, 0x4001, 4);
    putBig(payload, data.length, 4);
    putBig(payload, n, 8);
    putData(payload, data);
    putBig(payload, 0, 4);
}

/// A SOME/IP notification, with a length that counts from behind its own field.
void putEvent(Octets& payload, std::uint16_t event, std::uint64_t n, const Frame& data) {
    constexpr std::uint16_t service = 0x2101;
    putBig(payload, service, 2);
    putBig(payload, event, 2);
    putBig(payload, 8U + data.length, 4);
    putBig(payload, n % 0xFFFF + 1, 4); // no client, the session
    putBig(payload, 0x01010200, 4);     // protocol and interface version 1, notification, no error
    putData(payload, data);
}

/// What the gateway's service tells of the journey; a sign of life ends the datagram.
void journey(Octets& payload, const VehicleState& car, std::uint64_t n) {
    Frame data{.length = 7};
    put(data, {Big, 0, 7, 16, false, 0.01}, car.speed * 3.6);
    put(data, {Big, 2, 7, 8, true}, car.gear);
    put(data, {Big, 3, 7, 32, false, 0.001}, car.odometer / 1000);
    Frame alive{.length = 4};
    putRaw(alive, {Big, 0, 7, 32}, n);
    putEvent(payload, 0x8001, n, data);
    putEvent(payload, 0x8002, n, alive);
}

struct DatagramSender {
    UdpPath path;
    unsigned period; ///< ms, a multiple of 10
    /// Appends the payload of the `n`th datagram, counted from 0.
    void (*fill)(Octets& payload, const VehicleState& car, std::uint64_t n);
};

constexpr DatagramSender onEthernet[] = {
    {{.source = 2, .destination = 1, .port = 5001}, 20, road},
    {{.source = 3, .destination = 1, .port = 5002, .vlanId = 5}, 50, engine},
    {{.source = 4, .destination = 1, .port = 5003}, 100, energy},
    {{.source = 3, .destination = 1, .port = 30501}, 40, journey}};

/// How long the frame occupies the wire at 100 Mbit/s, with its preamble, its checksum and the gap behind it.
constexpr std::uint64_t nanoseconds(std::size_t frame) {
    return (8 + frame + 4 + 12) * 80;
}

} // namespace

std::vector<MIITraceMessage> EthernetNetwork::observe(const VehicleState& car, std::uint64_t now) {
    std::vector<MIITraceMessage> frames;
    if (!tick.isDue(now)) {
        return frames;
    }
    std::uint64_t time = now * 1000;
    for (const DatagramSender& sender : onEthernet) {
        const std::uint64_t period = sender.period / tickMilliseconds;
        if (ticks % period != 0) {
            continue;
        }
        Octets payload;
        sender.fill(payload, car, ticks / period);
        Octets frame = udpFrame(sender.path, payload);
        time += nanoseconds(frame.size());
        frames.push_back({.timestamp = time, .frame = std::move(frame), .channel = 0});
    }
    ++ticks;
    return frames;
}

} // namespace drive
