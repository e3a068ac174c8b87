#include "Source.h"

#include <algorithm>
#include <array>

namespace drive {
namespace {

using enum CanFrame::Kind;

/// In the order in which they are sent when several are due.
constexpr struct {
    std::uint8_t bus;       ///< 0 powertrain, described by drive.dbc; 1 body, described by body.dbc
    const char* signals;    ///< null: no DBC describes the frame
    unsigned period, phase; ///< ms, multiples of 10
    std::uint32_t id = 0;   ///< this and the rest of frames that no DBC describes
    std::uint8_t length = 0;
    CanFrame::Kind kind = Data;
} schedule[] = {
    {0, "Engine.", 10, 0},
    {0, "Gear.", 20, 0},
    {0, "Vehicle.", 20, 10},
    {0, "Wheel.", 20, 0},
    {0, "Brake.", 20, 10},
    {0, "Steering.", 20, 10},
    {0, "Battery.", 100, 30},
    {0, "Fuel.", 500, 50},
    {0, "Tank.", 500, 70},
    {0, "Maintenance.", 200, 90},
    {0, "EngineTemperature.", 1000, 110},
    {0, "Ambient.", 1000, 130},
    {0, "FuelEconomy.", 100, 50},
    {0, nullptr, 1000, 470, 0x7DF, 8},
    {0, nullptr, 1000, 480, 0x7E8, 8},
    {0, nullptr, 60000, 20020, 0x3EA, 3, Remote},
    {1, "Door.", 100, 40},
    {1, "Light.", 50, 20},
    {1, "Climate.", 200, 60},
    {1, "Radar.", 50, 10},
    {1, "Inertia.", 20, 0},
    {1, "Monitor.", 50, 30},
    {1, nullptr, 200, 80, 0x555, 3},
    {1, nullptr, 400, 0, 0x088, 8, Error},
};

/// What the definitions do not say of the `n`th frame of a sender. \return whether it is sent
bool complete(CanFrame& frame, const Car& car, std::uint64_t n) {
    const auto engineSpeed = static_cast<unsigned>(4 * car.engineSpeed + 0.5);
    switch (frame.canId) {
    case 0x0C9: // of the engine: the exclusive-or of the bytes before
        for (std::size_t i = 0; i < 7; ++i) {
            frame.payload[7] ^= frame.payload[i];
        }
        break;
    case 0x3C0: // The climate control sends only its first 2 bytes while it starts up.
        frame.length = car.time < 1 ? 2 : frame.length;
        break;
    case 0x7DF: // A diagnostic tester asks for the engine speed (ISO 15765-4), and the engine answers.
        frame.payload = {0x02, 0x01, 0x0C, 0x55, 0x55, 0x55, 0x55, 0x55};
        break;
    case 0x7E8:
        frame.payload = {0x04, 0x41, 0x0C, 0, 0, 0xAA, 0xAA, 0xAA};
        frame.payload[3] = static_cast<std::uint8_t>(engineSpeed >> 8);
        frame.payload[4] = static_cast<std::uint8_t>(engineSpeed);
        break;
    case 0x555: // a heartbeat
        frame.payload = {static_cast<std::uint8_t>(n), 0, 0xA5};
        break;
    case 0x088: // While the starter draws the voltage down, the bus controller sees stuff errors: bits of
                // SocketCAN's error frames: protocol violation, bus error; kind of violation in byte 2.
        frame.payload[2] = 0x04;
        return car.engine == EngineState::Cranking;
    default:
        break;
    }
    return true;
}

/// How long the frame occupies its bus, in nanoseconds, stuff bits left out: 500 kbit/s, the data of a CAN FD
/// frame 2 Mbit/s.
unsigned duration(const CanFrame& frame) {
    const unsigned payloadBits = frame.kind == Remote ? 0 : 8U * frame.length;
    const unsigned headBits = frame.isExtended() ? 67 : 47;
    return frame.isFd() ? (headBits - 17) * 2000 + (payloadBits + 45) * 500 : (headBits + payloadBits) * 2000;
}

class CanBuses : public Source {
  public:
    CanBuses(const Signals& signals, Noise& noise, unsigned load) : Source(0), noise(noise), load(load) {
        for (const auto& [bus, names, period, phase, id, length, kind] : schedule) {
            CanFrame frame;
            frame.channel = bus;
            frame.kind = kind;
            frame.canId = id;
            frame.length = length;
            Layout layout;
            if (names) {
                layout = signals.layout({names});
                frame.canId = layout.message->id;
                frame.length = static_cast<std::uint8_t>(layout.length);
                frame.frameFormat = (layout.message->canFd ? 2U : 0U) + (layout.message->extended ? 1U : 0U);
            }
            senders.push_back({period / 10, phase / 10, frame, layout});
        }
    }

  private:
    struct Sender {
        unsigned period, phase; ///< in ticks
        CanFrame frame;         ///< as all of its frames begin
        Layout layout;
        std::uint64_t sent = 0;
    };

    /// A bus sends the frames of a tick one after another, a little late each time.
    void send(const Tick& tick) override {
        std::vector<CanFrame> frames;
        std::array<std::uint64_t, 2> nanoseconds{}; // how far each bus is
        for (auto& [period, phase, start, layout, sent] : senders) {
            if (tick.number < phase || (tick.number - phase) % period != 0) {
                continue;
            }
            CanFrame frame = start;
            std::ranges::copy(tick.signals.encode(layout, sent), frame.payload.begin());
            if (complete(frame, tick.car, sent++)) {
                std::uint64_t& passed = nanoseconds[frame.channel];
                passed += duration(frame) + static_cast<unsigned>(20000 * (1 + noise()));
                frame.timestamp = (tick.now + passed / 1000 / load) * 1000;
                frames.push_back(frame);
            }
        }
        std::ranges::stable_sort(frames, {}, &CanFrame::timestamp);
        for (const CanFrame& frame : frames) {
            tick.output.writeCan(frame);
        }
    }

    Noise& noise;
    unsigned load;
    std::vector<Sender> senders;
};

} // namespace

std::unique_ptr<Source> canBuses(const Signals& signals, Noise& noise, unsigned load) {
    return std::make_unique<CanBuses>(signals, noise, load);
}

} // namespace drive
