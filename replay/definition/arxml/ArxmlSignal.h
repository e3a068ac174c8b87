/// \file
/// I-SIGNALs of AUTOSAR as they are mapped into PDUs, whatever the bus.
#pragma once

#include "definition/Definition.h"
#include "definition/arxml/ArxmlModel.h"

#include <pugixml.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rksignal {

/// A signal in its PDU. It becomes a SignalDefinition once the bus and the place of the PDU are known.
struct ArxmlSignal {
    baseSignalDef_t common; ///< start bit counted from the PDU's; neither instance nor channel
    std::optional<Multiplexing> multiplexing; ///< of a signal of the same PDU
    double minimum = 0;                       ///< as in SignalDefinition, here and below
    double maximum = 0;
    std::optional<std::uint64_t> initial;
    std::optional<std::uint64_t> invalid;
    std::string place;
    std::optional<std::uint32_t> updateBit; ///< position in the PDU of the bit that says that it is sent
    pugi::xml_node element;                 ///< I-SIGNAL, or null
};

/// Reads an I-SIGNAL-TO-I-PDU-MAPPING. \return nothing for a group of signals, and for a signal that cannot
/// be decoded, which is remarked
std::optional<ArxmlSignal> readArxmlSignal(ArxmlModel& model, pugi::xml_node mapping);

/// Whether a position is counted from the most significant byte, by PACKING-BYTE-ORDER or the like.
bool isArxmlBigEndian(std::string_view byteOrder);

/// `startBit` moved by `bytes`; nothing if that is beyond what records can say.
std::optional<std::uint16_t> movedStartBit(std::uint64_t startBit, std::uint64_t bytes);

/// The byte behind the last one that a field touches.
std::size_t arxmlEnd(std::uint16_t startBit, std::uint8_t bits, bool isBigEndian);

} // namespace rksignal
