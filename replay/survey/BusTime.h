/// \file
/// How long frames occupy a bus.
#pragma once

#include "rktrace/CANExtTraceMessage.h"
#include "text/Export.h"

#include <cstddef>
#include <cstdint>

namespace rksignal {

/// Bits on the bus, by bit rate. How many stuff bits a frame of CAN has depends on its bits, the checksum
/// included; `most...` count as many as there can be.
struct BusBits {
    std::uint64_t nominal = 0;     ///< at the nominal bit rate, without dynamic stuff bits
    std::uint64_t mostNominal = 0; ///< the same with the most of them
    std::uint64_t data = 0;        ///< at the data bit rate of CAN FD, without dynamic stuff bits
    std::uint64_t mostData = 0;

    BusBits& operator+=(const BusBits& other) {
        nominal += other.nominal;
        mostNominal += other.mostNominal;
        data += other.data;
        mostData += other.mostData;
        return *this;
    }
};

/// The bits of a data frame of CAN with the interframe space of 3 bits (ISO 11898-1:2015).
///
/// Classic: 44 bits and the data, or 64 with a 29-bit identifier, of which all up to the checksum (34 or 54
/// and the data) can be stuffed, at most each fourth one behind the first (Davis, Burns, Bril, Lukkien:
/// "Controller Area Network (CAN) schedulability analysis: Refuted, revisited and revised", 2007).
/// CAN FD: up to the bit that switches the rate, and from the acknowledgement on, at the nominal rate;
/// between them, with the fixed stuff bits of the checksum, at the data rate. Traces do not tell whether a
/// frame switches: it is taken that it does.
RKREPLAY_EXPORT BusBits canBits(const CANExtTraceMessage& frame);

/// The bits of a LIN frame: 34 of the header, 10 a data byte and 10 of the checksum (LIN 2.2A, 2.3.2),
/// without the time that nodes let pass between bytes.
RKREPLAY_EXPORT BusBits linBits(std::size_t dataBytes);

} // namespace rksignal
