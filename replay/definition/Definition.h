/// \file
/// What a definition file says, whatever its format: messages, and the library's definition records of their
/// signals. Readers of all formats fill this model; catalogs, conversions and lists are made from it.
///
/// The model owns all its text, which is UTF-8.
#pragma once

#include "bus/CANSignal.h"
#include "bus/EthernetSignal.h"
#include "bus/FlexRaySignal.h"
#include "bus/LINSignal.h"
#include "definition/SignalKind.h"
#include "input/InputSignal.h"
#include "text/Export.h"
#include "text/Remark.h"
#include "trace/CanFrame.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace rksignal {

/// Raw values, both bounds included: first <= second.
using ValueRange = std::pair<std::uint64_t, std::uint64_t>;

/// When a multiplexed signal is present: while the raw value of its multiplexer, taken without sign, lies in
/// one of `ranges`. The multiplexer may be multiplexed itself; such chains always end.
struct Multiplexing {
    std::optional<std::size_t> multiplexer; ///< index of a signal of the same message; none: the file names
                                            ///< none that exists, and the signal cannot be decoded
    std::vector<ValueRange> ranges;         ///< never empty

    friend bool operator==(const Multiplexing&, const Multiplexing&) = default;
};

/// The library's record for the kind of the message: one type for all inputs.
using SignalRecord =
    std::variant<canSignalDef_t, linSignalDef_t, flexRaySignalDef_t, ethernetSignalDef_t, inputSignalDef_t>;

/// One signal. Its names, layout, scaling, unit, value texts and comment stand in the record: `instance` is
/// the name that the file asks for, `signal` the short one.
struct SignalDefinition {
    SignalRecord record;
    std::optional<Multiplexing> multiplexing; ///< of CAN signals
    double minimum = 0;                       ///< physical, finite; equal to the maximum: not given
    double maximum = 0;
    std::optional<std::uint64_t> initial; ///< raw word that is sent until there is a value
    std::optional<std::uint64_t> invalid; ///< raw word that says that the sender has no value
    std::vector<std::string> receivers;   ///< names of nodes
    std::string place;                    ///< `FILE:LINE` or `FILE#/can/3`

    RKREPLAY_EXPORT const baseSignalDef_t& common() const;
    baseSignalDef_t& common() { return const_cast<baseSignalDef_t&>(std::as_const(*this).common()); }
    /// REQUIRES: the signal is one of CAN.
    const canSignalDef_t& can() const { return std::get<canSignalDef_t>(record); }
    canSignalDef_t& can() { return std::get<canSignalDef_t>(record); }
};

/// How the header of a PDU in a container is laid out (AUTOSAR SoAd, IPduM), big endian.
enum class PduHeader : std::uint8_t {
    Short, ///< 24 bits of identifier, 8 of length
    Long,  ///< 32 bits of each
};

/// One message: a frame, or a PDU in one. Those of FlexRay and Ethernet group the signals of a PDU; where it
/// lies is said by the positions of each signal. The signals of an input are one message of its kind.
struct MessageDefinition {
    SignalKind kind = SignalKind::Can;
    std::optional<std::uint8_t> channel; ///< none: frames of all channels
    std::uint32_t id = 0; ///< of CAN (11 bits, or 29 if `extended`) or LIN; slot of FlexRay; 0 of others
    bool extended = false;
    bool canFd = false;
    bool isParameterGroup = false; ///< of SAE J1939: frames are matched by parameter group and source address
    std::optional<std::uint32_t> pduId;     ///< of CAN FD: of the PDU in the frame that holds the signals
    PduHeader pduHeader = PduHeader::Short; ///< of that PDU
    std::uint16_t length = 0;               ///< bytes; 0: unknown
    std::string name;                       ///< not checked for being unique
    std::string sender;                     ///< name of a node
    std::string comment;                    ///< may have several lines, separated by \n
    std::optional<double> cycleTime;        ///< milliseconds
    std::vector<SignalDefinition> signals;  ///< in the order of the file
    std::string place;
};

/// The content of one file. The records are usable: fields are in their ranges.
struct DefinitionFile {
    std::string path;                        ///< as given to the reader
    std::vector<MessageDefinition> messages; ///< in the order of the file
    RemarkList remarks;                      ///< what was assumed, left out or not understood
    bool choosesInstances = false; ///< the instance names are the file's own, not made from those of messages
                                   ///< and signals: a name that is taken is an error, and gets no other
    std::vector<std::string> clusters = {}; ///< the names of all that the file has, read or not; none in
                                            ///< files of one bus
};

/// The first value that selects a signal, as far as the 16 bits of the record's `mux` hold it.
RKREPLAY_EXPORT std::uint16_t firstSelector(const std::vector<ValueRange>& ranges);

/// The first multiplexer of a message that is not multiplexed itself.
RKREPLAY_EXPORT std::optional<std::size_t> firstMultiplexer(const MessageDefinition& message);

/// Identifiers of CAN as traces show them: 3 digits, or 8 for an extended one.
RKREPLAY_EXPORT std::string identifierText(const MessageDefinition& message);

/// In bytes, what a message of CAN can have: 8 in a classic frame, 64 in one of CAN FD, 1785 as a parameter
/// group of SAE J1939, which may come in several frames.
constexpr std::uint16_t longestClassicFrame = mostCanBytes(false);
constexpr std::uint16_t longestFrame = mostCanBytes(true);
constexpr std::uint16_t longestParameterGroup = 1785;

/// Of LIN (ISO 17987).
constexpr std::uint32_t greatestLinId = 63;
constexpr std::uint16_t longestLinFrame = 8;

/// Of FlexRay (ISO 17458).
constexpr std::uint16_t greatestSlot = 2047;
constexpr std::uint8_t communicationCycles = 64;
constexpr std::uint16_t longestFlexRayFrame = 254;

/// In bits.
constexpr std::uint8_t widestSignal = 64;

/// Why a signal of CAN cannot be decoded, or null: it touches 9 bytes, or it lies beyond the first 8 bytes of
/// a classic frame that is no parameter group.
RKREPLAY_EXPORT const char* whyNotDecodable(const canSignalDef_t& record, bool isParameterGroup);

/// Whether two messages of CAN give the same values under the same names.
RKREPLAY_EXPORT bool sameMeaning(const MessageDefinition& left, const MessageDefinition& right);
/// Equal for messages of the same meaning.
RKREPLAY_EXPORT std::size_t hashOfMeaning(const MessageDefinition& message);

} // namespace rksignal
