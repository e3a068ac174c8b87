/// \file
/// What messages and their signals say in the same words.
#pragma once

#include "definition/Definition.h"
#include "definition/json/Codecs.h"

#include <cstdint>
#include <limits>

namespace rksignal {

constexpr std::uint64_t max8 = std::numeric_limits<std::uint8_t>::max();
constexpr std::uint64_t max16 = std::numeric_limits<std::uint16_t>::max();
constexpr std::uint64_t max32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t max64 = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t maxPduId = 0xFFFFFF; // behind a short header

constexpr const char* msgIdText = "Identifier of the frame, 11 bits, or 29 if extended is true";
constexpr const char* linIdText = "Identifier of the frame, without parity";
constexpr const char* extendedText = "29-bit identifier";
constexpr const char* canFdText = "CAN FD frame";
constexpr const char* j1939Text =
    "Matched by parameter group and source address (SAE J1939), 0xFE being any source";
constexpr const char* busChannelText = "Number of the bus channel; taken from all channels if it is absent, "
                                       "but for LIN, FlexRay and Ethernet in "
                                       "version 1 of the form, where it is 0 then";
constexpr const char* inputChannelText = "Number of the channel";
constexpr const char* pduHeaderText =
    "Of the PDUs in the frame: short with 24 bits of identifier and 8 of length, long with 32 of each";
constexpr const char* pduIdText = "PDU of a CAN FD frame that holds the signal";
constexpr const char* messageText = "Name of the frame";
constexpr const char* senderText = "Name of the sending node";

inline ChoiceCodec<PduHeader> pduHeaders() {
    return {{{"short", PduHeader::Short}, {"long", PduHeader::Long}}};
}

} // namespace rksignal
