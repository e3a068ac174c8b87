#include "FlexRayBus.h"
#include "Octets.h"

namespace drive {

namespace {

using enum Field::Order;

constexpr Field speedAt(Field::Order order, std::uint8_t byte) {
    return {order, byte, static_cast<std::uint8_t>(order == Big ? 7 : 0), 16, false, 0.01};
}

/// Static slot 12, even cycles: the wheels' speeds, those of the rear in the other byte order, and the car's.
void wheels(Frame& frame, const VehicleState& car, std::uint64_t) {
    for (std::uint8_t i = 0; i < 4; ++i) {
        put(frame, speedAt(i < 2 ? Big : Little, static_cast<std::uint8_t>(2 * i)), car.wheelSpeed[i] * 3.6);
    }
    put(frame, speedAt(Little, 8), car.speed * 3.6);
}

/// The same slot, odd cycles: the car's speed again, the dampers, and the height above the road. That is
/// measured in every fourth of these frames only; the others say so by an update bit that is 0.
void dampers(Frame& frame, const VehicleState& car, std::uint64_t cycle) {
    put(frame, speedAt(Little, 0), car.speed * 3.6);
    const double pitch = 2.4 * car.direction * car.acceleration;
    const double roll = 3.1 * car.lateralAcceleration;
    const double travels[] = {pitch + roll, pitch - roll, -pitch + roll, -pitch - roll};
    for (int i = 0; i < 4; ++i) {
        const auto byte = static_cast<std::uint8_t>(2 + i * 3 / 2);
        put(frame, {Little, byte, static_cast<std::uint8_t>(i % 2 * 4), 12, true, 0.1}, travels[i]);
    }
    const bool measured = cycle % 8 == 1;
    put(frame, {Little, 8, 0, 10, false, 0.5}, measured ? 140 - 0.25 * car.speed : 511.5);
    putFlag(frame, 9, 7, measured);
}

/// PDU 101: how the body moves.
Frame motion(const VehicleState& car) {
    Frame pdu{.length = 6};
    put(pdu, {Big, 0, 7, 16, true, 0.01}, car.yawRate);
    put(pdu, {Big, 2, 7, 16, true, 0.01}, car.lateralAcceleration);
    put(pdu, {Little, 4, 0, 16, true, 0.01}, car.direction * car.acceleration);
    return pdu;
}

/// PDU 102: what the control unit does about it.
Frame control(const VehicleState& car) {
    Frame pdu{.length = 3};
    const bool on = car.driver.ignition != Ignition::Off;
    putRaw(pdu, {Little, 0, 0, 2}, !on ? 0 : car.driver.rain >= 2 ? 2 : 1);
    put(pdu, {Little, 1, 0, 14, false, 0.25}, 14.6 * car.brakePressure);
    return pdu;
}

void putPdu(Octets& payload, std::uint32_t id, const Frame& pdu) {
    putBig(payload, id, 3);
    putBig(payload, pdu.length, 1);
    putData(payload, pdu);
}

/// The chain ends in a byte of padding, which makes its length even and tells that there is no further PDU.
Octets dynamicPayload(const VehicleState& car) {
    Octets payload;
    putPdu(payload, 0x101, motion(car));
    putPdu(payload, 0x102, control(car));
    payload.push_back(0);
    return payload;
}

Octets staticPayload(const VehicleState& car, std::uint64_t cycle) {
    Frame frame{.length = 16};
    (cycle % 2 == 0 ? wheels : dampers)(frame, car, cycle);
    Octets payload;
    putData(payload, frame);
    return payload;
}

constexpr std::uint64_t staticSlots = 60;
constexpr std::uint64_t staticSlotNanoseconds = 50000;
constexpr std::uint64_t minislotNanoseconds = 8000;

/// From the start of the cycle.
constexpr std::uint64_t startOf(std::uint16_t slot) {
    return slot <= staticSlots
               ? (slot - 1U) * staticSlotNanoseconds
               : staticSlots * staticSlotNanoseconds + (slot - 1U - staticSlots) * minislotNanoseconds;
}

} // namespace

void FlexRayBus::observe(const VehicleState& car, std::uint64_t now, Recorder& recorder) {
    if (!cycleStart.isDue(now)) {
        return;
    }
    const auto cycle = static_cast<std::uint8_t>(cycles++ % 64);
    const auto send = [&](FlexRayExtTraceMessage::FrameKind kind, std::uint16_t slot, const Octets& payload) {
        recorder.add(FlexRayExtTraceMessage{.timestamp = now * 1000 + startOf(slot),
                                            .frameKind = kind,
                                            .channel = 0,
                                            .data = payload,
                                            .slot = slot,
                                            .cycle = cycle,
                                            .payload = payload});
    };
    send(FlexRayExtTraceMessage::Static, 12, staticPayload(car, cycle));
    if (cycle % 8 == 3) {
        send(FlexRayExtTraceMessage::Dynamic, 70, dynamicPayload(car));
    }
}

} // namespace drive
