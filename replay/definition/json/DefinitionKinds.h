/// \file
/// The kinds of signals that a definition file holds, and their fields.
#pragma once

#include "definition/Definition.h"
#include "definition/json/Field.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rksignal {

/// The version of the form that is written; those from 1 to this one are read. Each says more than the one
/// before:
///   1: a file that names no version
///   2: messages of LIN, FlexRay and Ethernet, PDUs with long headers, initial and invalid values. Signals of
///      these buses without a channel are taken from all channels; in version 1 from channel 0
constexpr std::uint64_t formVersion = 2;

/// The name of the message, which the library's records of other buses than CAN do not have.
template <class Record>
struct MessageName {
    std::string message;
};
template <>
struct MessageName<canSignalDef_t> {};

/// A signal as the file has it: the library's record, and what SignalDefinition says besides.
template <class Record>
struct SignalRow : Record, MessageName<Record> {
    double minimum = 0;
    double maximum = 0;
    std::optional<std::uint64_t> initial;
    std::optional<std::uint64_t> invalid;
    std::vector<std::string> receivers;
    std::optional<std::string> multiplexedBy; ///< instance name
    std::vector<ValueRange> muxValues;        ///< in place of `mux`
    bool j1939 = false;                       ///< of CAN: MessageDefinition::isParameterGroup
    PduHeader pduHeader = PduHeader::Short;   ///< of CAN
};

/// One kind of signals. A row here is all that reading, writing and the schema know of it.
template <class RecordType>
struct DefinitionKind {
    using Record = RecordType;
    using Row = SignalRow<Record>;

    SignalKind kind; ///< its name is that of the array in the file
    Fields<Row> fields;
    /// What a definition of this name has where the file says nothing.
    Row (*defaults)(const std::string& instance);
    /// What is wrong with a row whose fields are each in its range; empty if nothing.
    std::string (*check)(const Row& row);
};

const DefinitionKind<canSignalDef_t>& canKind();
const DefinitionKind<linSignalDef_t>& linKind();
const DefinitionKind<flexRaySignalDef_t>& flexRayKind();
const DefinitionKind<ethernetSignalDef_t>& ethernetKind();
/// Of digital, analog, keyboard, status and GPS signals.
const DefinitionKind<inputSignalDef_t>& inputKind(SignalKind kind);

/// Calls `use(kind)` for every kind, in the order in which they are written.
template <class Use>
void forEachKind(Use&& use) {
    use(canKind());
    use(linKind());
    use(flexRayKind());
    use(ethernetKind());
    for (const SignalKind kind : {SignalKind::Digital, SignalKind::Analog, SignalKind::Keyboard,
                                  SignalKind::Status, SignalKind::Gps}) {
        use(inputKind(kind));
    }
}

} // namespace rksignal
