/// \file
/// The script of the demo's drive: what the driver does, phase by phase.
#pragma once

#include <cstddef>
#include <cstdint>

namespace drive {

enum class Ignition : std::uint8_t { Off, On, Crank };
enum class Lever : std::uint8_t { Park, Reverse, Neutral, Drive };
enum class Turn : std::uint8_t { Off, Left, Right };
enum class WindowSwitch : std::uint8_t { None, Up, UpAutomatic, Down, DownAutomatic };

/// One stretch of the drive, in which the driver wants the same all the time and the road stays the same.
struct Phase {
    double seconds;
    double speed;         ///< km/h that the driver aims at, forwards or backwards as the lever says
    double steeringWheel; ///< degrees, positive to the left
    Ignition ignition;
    Lever lever;
    Turn turn = Turn::Off;
    bool driverDoorOpen = false;
    bool highBeam = false;
    WindowSwitch window = WindowSwitch::None; ///< of the driver's door
    unsigned rain = 0;                        ///< 0 dry to 3 heavy
    bool tunnel = false;
};

/// Walks through the script, a drive of five minutes out of a parking place, through a town and over a
/// country road, to the next parking place; then begins anew.
class DriveCycle {
  public:
    /// The phase at `seconds` after the last call's moment.
    const Phase& advance(double seconds);

  private:
    std::size_t phase = 0;
    double elapsed = 0; // within the phase
};

} // namespace drive
