/// \file
/// From the state of the car to the bytes of messages: what each signal says, and where the definition files
/// (drive.dbc, body.dbc, logger.json) place it.
#pragma once

#include "Car.h"

#include "catalog/Catalog.h"

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace drive {

/// Bytes to which numbers are appended.
struct Bytes : std::vector<std::uint8_t> {
    using vector::vector;
    /// Appends the low `count` bytes of `number`, the highest first: the order of networks.
    Bytes& big(std::uint64_t number, int count);
    /// The same, the lowest first.
    Bytes& little(std::uint64_t number, int count);
    Bytes& add(const std::vector<std::uint8_t>& bytes);
};

/// A function of how many messages of the kind have been sent before: for counters, and pages that take
/// turns.
using Counted = std::uint64_t (*)(std::uint64_t n);

/// What one or several signals say. A measured value is scaled as the definition says and held within the
/// signal's range; whole numbers are raw values, of which the signal carries the low bits.
struct Reading {
    std::string_view signals; ///< their names, separated by spaces
    std::variant<double, std::uint64_t, Counted> value;

    Reading(std::string_view signals, double measured) : signals(signals), value(measured) {}
    Reading(std::string_view signals, Counted counted) : signals(signals), value(counted) {}
    template <class Whole>
    requires(std::is_integral_v<Whole> || std::is_enum_v<Whole>)
        Reading(std::string_view signals, Whole number)
        : signals(signals), value(static_cast<std::uint64_t>(number)) {}
};

/// The signals that a frame or PDU carries.
struct Layout {
    struct Field {
        const rksignal::SignalDefinition* definition;
        std::uint16_t startbit;
        std::size_t reading; ///< index
    };

    const rksignal::MessageDefinition* message = nullptr;
    std::vector<Field> fields; ///< all of the message, where signals are multiplexed
    std::size_t length = 0;    ///< bytes
    std::uint8_t unused = 0;   ///< the bytes without the signals: 0xFF in the manner of SAE J1939
};

/// All signals of the car, by the names of their instances (`Engine.Speed`).
class Signals {
  public:
    /// Reads the definition files. \throws rksignal::Error if one cannot be read
    Signals();

    /// The layout of the signals whose names begin with one of `names`, each at its `position`, counted from
    /// 0, or at the last one that it has. \throws std::runtime_error if there are none,
    /// or one has no reading
    Layout layout(std::initializer_list<std::string_view> names, std::size_t position = 0) const;

    /// Takes the readings of the car.
    void read(const Car& car);
    /// The bytes of the `n`th message of this layout, with what was read last.
    Bytes encode(const Layout& layout, std::uint64_t n = 0) const;

  private:
    std::size_t readingOf(const std::string& instance) const;
    std::uint64_t raw(const Layout::Field& field, std::uint64_t n) const;

    rksignal::Catalog catalog;
    std::vector<Reading> readings;
};

} // namespace drive
