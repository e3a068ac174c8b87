#include "LinBus.h"

#include <iterator>

namespace drive {

namespace {

using enum Field::Order;

/// Rain and light sensor on the windscreen.
void rainLight(Frame& frame, const VehicleState& car) {
    const Phase& road = car.driver;
    const double lux = road.tunnel ? 150 : 18000.0 / (1 + road.rain);
    put(frame, {Little, 0, 0, 12, false, 10}, lux);
    putRaw(frame, {Little, 1, 4, 2}, road.rain);
    putFlag(frame, 1, 6, lux < 1000);
    put(frame, {Big, 2, 7, 12, false, 5}, 0.6 * lux);
}

/// Window switches in the driver's door.
void windows(Frame& frame, const VehicleState& car) {
    putRaw(frame, {Little, 0, 0, 3}, static_cast<std::uint64_t>(car.driver.window));
    putRaw(frame, {Little, 0, 6, 3}, car.driver.rain == 1 ? 2 : 0); // rear left: closed when it drips in
    putFlag(frame, 1, 1, car.driver.ignition != Ignition::Off);
}

/// The driver's seat.
void seat(Frame& frame, const VehicleState& car) {
    put(frame, {Big, 0, 7, 12, false, 0.1}, car.seatPosition);
    put(frame, {Big, 1, 3, 10, true, 0.1}, car.backrest);
    const bool heats = car.driver.ignition != Ignition::Off;
    put(frame, {Big, 2, 1, 2}, heats ? (21.5 - car.cabin) / 3 : 0);
}

struct ScheduledFrame {
    std::uint8_t id;
    std::uint8_t length; ///< bytes
    void (*fill)(Frame& frame, const VehicleState& car);
};

constexpr ScheduledFrame schedule[] = {
    {0x11, 4, rainLight}, {0x21, 2, windows}, {0x2C, 3, seat}, {0x21, 2, windows}};

/// The identifier with its two parity bits.
constexpr std::uint8_t protectedId(std::uint8_t id) {
    const auto bit = [id](int number) { return id >> number & 1; };
    const int even = bit(0) ^ bit(1) ^ bit(2) ^ bit(4);
    const int odd = 1 ^ bit(1) ^ bit(3) ^ bit(4) ^ bit(5);
    return static_cast<std::uint8_t>(id | even << 6 | odd << 7);
}

/// How long a frame takes at 19,200 bit/s, in microseconds: break, synchronisation and identifier, then the
/// data and the checksum, each byte with its start and stop bit.
constexpr std::uint64_t duration(std::uint8_t length) {
    return (34U + 10U * (length + 1U)) * 1000000U / 19200U;
}

} // namespace

void LinBus::observe(const VehicleState& car, std::uint64_t now, Recorder& recorder) {
    if (!slot.isDue(now)) {
        return;
    }
    const ScheduledFrame& scheduled = schedule[slots++ % std::size(schedule)];
    Frame frame;
    scheduled.fill(frame, car);
    recorder.add(LINTraceMessage{.timestamp = (now + duration(scheduled.length)) * 1000,
                                 .data = {frame.data.begin(), frame.data.begin() + scheduled.length},
                                 .channel = 0,
                                 .protectedId = protectedId(scheduled.id)});
}

} // namespace drive
