#include "DriveCycle.h"

#include <iterator>

namespace drive {

namespace {

using enum Ignition;
using enum Lever;

// clang-format off
constexpr Phase script[] = {
    // Getting in and starting
    {.seconds = 4, .speed = 0, .steeringWheel = 0, .ignition = Off, .lever = Park, .driverDoorOpen = true},
    {.seconds = 3, .speed = 0, .steeringWheel = 0, .ignition = Off, .lever = Park},
    {.seconds = 2, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Park},
    {.seconds = 1, .speed = 0, .steeringWheel = 0, .ignition = Crank, .lever = Park},
    {.seconds = 5, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Park},
    // Backwards out of the parking place
    {.seconds = 5, .speed = 6, .steeringWheel = -220, .ignition = On, .lever = Reverse},
    {.seconds = 4, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Reverse},
    {.seconds = 2, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Drive, .turn = Turn::Left},
    // Residential street, a turn to the left, town, a red light
    {.seconds = 14, .speed = 30, .steeringWheel = 4, .ignition = On, .lever = Drive},
    {.seconds = 4, .speed = 18, .steeringWheel = 0, .ignition = On, .lever = Drive, .turn = Turn::Left,
     .window = WindowSwitch::DownAutomatic},
    {.seconds = 5, .speed = 18, .steeringWheel = 150, .ignition = On, .lever = Drive, .turn = Turn::Left},
    {.seconds = 24, .speed = 50, .steeringWheel = -2, .ignition = On, .lever = Drive},
    {.seconds = 18, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Drive},
    {.seconds = 20, .speed = 50, .steeringWheel = 3, .ignition = On, .lever = Drive},
    {.seconds = 6, .speed = 20, .steeringWheel = 0, .ignition = On, .lever = Drive, .turn = Turn::Right,
     .window = WindowSwitch::Up},
    {.seconds = 5, .speed = 20, .steeringWheel = -140, .ignition = On, .lever = Drive, .turn = Turn::Right},
    // Out of town: it begins to rain, a tunnel with two curves, overtaking
    {.seconds = 20, .speed = 70, .steeringWheel = 1, .ignition = On, .lever = Drive, .rain = 1},
    {.seconds = 22, .speed = 85, .steeringWheel = 0, .ignition = On, .lever = Drive, .highBeam = true,
     .rain = 2},
    {.seconds = 8, .speed = 80, .steeringWheel = 10, .ignition = On, .lever = Drive, .tunnel = true},
    {.seconds = 8, .speed = 80, .steeringWheel = -12, .ignition = On, .lever = Drive, .tunnel = true},
    {.seconds = 10, .speed = 88, .steeringWheel = 0, .ignition = On, .lever = Drive, .highBeam = true,
     .rain = 3},
    {.seconds = 3, .speed = 100, .steeringWheel = 3, .ignition = On, .lever = Drive, .turn = Turn::Left,
     .rain = 1},
    {.seconds = 11, .speed = 108, .steeringWheel = 0, .ignition = On, .lever = Drive},
    {.seconds = 3, .speed = 105, .steeringWheel = -3, .ignition = On, .lever = Drive, .turn = Turn::Right},
    {.seconds = 40, .speed = 98, .steeringWheel = 2, .ignition = On, .lever = Drive},
    // The next village; parking
    {.seconds = 20, .speed = 50, .steeringWheel = -3, .ignition = On, .lever = Drive},
    {.seconds = 7, .speed = 15, .steeringWheel = 0, .ignition = On, .lever = Drive, .turn = Turn::Right},
    {.seconds = 5, .speed = 12, .steeringWheel = -180, .ignition = On, .lever = Drive, .turn = Turn::Right},
    {.seconds = 9, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Drive},
    {.seconds = 2, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Neutral},
    {.seconds = 3, .speed = 0, .steeringWheel = 0, .ignition = On, .lever = Park},
    {.seconds = 3, .speed = 0, .steeringWheel = 0, .ignition = Off, .lever = Park},
    {.seconds = 4, .speed = 0, .steeringWheel = 0, .ignition = Off, .lever = Park, .driverDoorOpen = true},
};
// clang-format on

} // namespace

const Phase& DriveCycle::advance(double seconds) {
    elapsed += seconds;
    while (elapsed >= script[phase].seconds) {
        elapsed -= script[phase].seconds;
        phase = (phase + 1) % std::size(script);
    }
    return script[phase];
}

} // namespace drive
