/// \file
/// The definition record that describes one signal, whatever bus or input it comes from.
///
/// The bus and input classes extend `baseSignalDef_t` by what locates the signal on their medium.
#pragma once

#include "signal/Export.h"

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>

/// How the raw bits of a signal are read as a number.
enum class signalValue_t : std::uint32_t {
    Unsigned, ///< unsigned integer of `bits` bits
    Signed,   ///< two's-complement integer of `bits` bits, sign-extended to 64 bits
    Float,    ///< the low 32 bits are an IEEE 754 single
    Double,   ///< the 64 bits are an IEEE 754 double
};

/// A signal definition. A plain value: copying copies the strings and the table.
///
/// Bit numbering of `startbit`: bit n is bit n % 8 of payload byte n / 8, bit 0 being the least significant
/// bit of a byte. A little-endian field names its least significant bit, a big-endian field its most
/// significant one.
struct baseSignalDef_t {
    std::string instance;        ///< unique name of the signal object
    std::string signal;          ///< signal name; several instances may carry the same one
    std::uint32_t reference = 0; ///< carried for the client, not read here
    std::uint8_t channel = 0;    ///< bus or input channel
    std::string unit;            ///< physical unit, UTF-8
    signalValue_t type = signalValue_t::Unsigned;
    std::uint16_t startbit = 0;
    std::uint8_t bits = 0; ///< field width, 1 to 64
    double scale = 1.0;    ///< physical = raw * scale + offset
    double offset = 0.0;
    bool endian = false; ///< false: little endian (Intel), true: big endian (Motorola)
    /// The signal is in the frame only while the frame's multiplexer carries `mux`. To be printed: the
    /// library decodes the signal from every frame, whatever the multiplexer carries, until the client calls
    /// `CANSignal::fileUnderMultiplexer` once for the built signal.
    bool multiplexed = false;
    std::uint8_t multiplexer = 0; ///< non-zero: this signal's raw value is the multiplexer value (CAN)
    std::uint16_t mux = 0;        ///< multiplexer value for which a multiplexed signal is in the frame
    std::map<std::uint64_t, std::string> valueDescriptions; ///< text of a raw value
    std::string udn;                                        ///< user-defined name, may be empty
    std::string comment;                                    ///< carried for the client, not read here
    std::uint8_t tslId = 0; ///< number of the trace source that delivers the signal
};

/// Writes "unsigned", "signed", "float" or "double"; nothing for any other value.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, signalValue_t type);

/// Writes the definition as `name=value` items joined by commas, from `instance` to `tslId`, then `,udn=`
/// when there is one, then, when there are value descriptions, one flushed line for each after a headline.
/// Leaves the stream in decimal mode.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const baseSignalDef_t& definition);
