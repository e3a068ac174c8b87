#include "definition/json/DefinitionKinds.h"

#include "definition/json/MessageFields.h"
#include "definition/json/SharedFields.h"
#include "input/GPSSignal.h"
#include "input/KeyboardSignal.h"
#include "input/LoggerStatusSignal.h"
#include "signal/BitField.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <utility>

namespace rksignal {
namespace {

using CanRow = SignalRow<canSignalDef_t>;
using InputRow = SignalRow<inputSignalDef_t>;

constexpr std::uint64_t lastClassicBit = 63;
constexpr unsigned lastFdBit = 511;
constexpr std::uint64_t lastGroupBit = 8 * longestParameterGroup - 1;
constexpr std::uint64_t lastFlexRayBit = 2031; // of 254 bytes
constexpr std::uint64_t lastVlanId = 4095;

/// What of the fields that all kinds have depends on the kind.
struct CommonFields {
    std::vector<std::string> names = {}; ///< the only ones possible, if there are any
    std::uint64_t lastStartbit = lastClassicBit;
    const char* channel = inputChannelText;
    const char* tslId = "Number of the trace source that delivers the signal";
};

/// Definitions of the names that a kind has by itself need no field: their values tell how wide they are.
template <class Record>
Fields<Record> commonFields(const CommonFields& common) {
    const ChoiceCodec<signalValue_t> types{{{"unsigned", signalValue_t::Unsigned},
                                            {"signed", signalValue_t::Signed},
                                            {"float", signalValue_t::Float},
                                            {"double", signalValue_t::Double}}};
    const ChoiceCodec<bool> byteOrders{{{"little", false}, {"big", true}}};
    Fields<Record> fields = {
        required(field<Record>("instance", &Record::instance, NameCodec{common.names},
                               "Name of the signal, unique in the file")),
        field<Record>("signal", &Record::signal, TextCodec{},
                      "Name of what the signal measures; several may have the same. As instance if absent"),
        field<Record>("reference", &Record::reference, IntegerCodec{0, max32},
                      "Number for the use of the reader"),
        field<Record>("channel", &Record::channel, IntegerCodec{0, max8}, common.channel),
        field<Record>("unit", &Record::unit, TextCodec{}, "Physical unit"),
        field<Record>("type", &Record::type, types, "How the raw bits are read as a number"),
        field<Record>("startbit", &Record::startbit, IntegerCodec{0, common.lastStartbit},
                      "Bit n % 8 of byte n / 8, bit 0 being the least significant of a byte: the field's "
                      "least significant bit if it is little endian, else its most significant one"),
        field<Record>("bits", &Record::bits, IntegerCodec{1, 64},
                      "Width of the field; 32 for float, 64 for double"),
        field<Record>("scale", &Record::scale, NumberCodec{}, "physical = raw * scale + offset"),
        field<Record>("offset", &Record::offset, NumberCodec{}, "physical = raw * scale + offset"),
        field<Record>("endian", &Record::endian, byteOrders, "Byte order of the field"),
        field<Record>("minimum", &Record::minimum, NumberCodec{}, "Least physical value; not checked"),
        field<Record>("maximum", &Record::maximum, NumberCodec{}, "Greatest physical value; not checked"),
        field<Record>("multiplexed", &Record::multiplexed, FlagCodec{},
                      "Present only while the multiplexer carries mux"),
        field<Record>("multiplexer", &Record::multiplexer, IntegerCodec{0, max8},
                      "Not 0: the signal selects those that are multiplexed"),
        field<Record>("mux", &Record::mux, IntegerCodec{0, max16},
                      "Value of the multiplexer for which a multiplexed signal is present"),
        field<Record>("valueDescriptions", &Record::valueDescriptions, ValueTextsCodec{},
                      "Texts by raw value in decimal, negative ones as two's complement of 64 bits"),
        field<Record>("initial", &Record::initial, IntegerCodec{0, max64},
                      "Raw value that is sent until there is a value"),
        field<Record>("invalid", &Record::invalid, IntegerCodec{0, max64},
                      "Raw value that says that the sender has none"),
        field<Record>("udn", &Record::udn, TextCodec{}, "User-defined name"),
        field<Record>("comment", &Record::comment, TextCodec{}, "Comment"),
        field<Record>("receivers", &Record::receivers, ListCodec<TextCodec>{},
                      "Names of the receiving nodes"),
        field<Record>("tslId", &Record::tslId, IntegerCodec{0, max8}, common.tslId),
    };
    for (Field<Record>& field : fields) {
        field.required = field.required || (field.name == "bits" && common.names.empty());
    }
    return fields;
}

template <class Record>
Fields<Record> withFields(const CommonFields& common, Fields<Record> own) {
    Fields<Record> fields = commonFields<Record>(common);
    fields.insert(fields.end(), std::make_move_iterator(own.begin()), std::make_move_iterator(own.end()));
    return fields;
}

template <class Record>
Record plainDefaults(const std::string& instance) {
    Record record;
    record.instance = instance;
    record.signal = instance;
    return record;
}

/// The predefined inputs send integers of at most 32 bits, and doubles.
InputRow predefinedDefaults(const std::string& instance) {
    auto record = plainDefaults<InputRow>(instance);
    const auto type = GPSSignal::gpsSignalTypes.find(instance);
    if (type != GPSSignal::gpsSignalTypes.end()) {
        record.type = type->second;
    }
    record.bits = record.type == signalValue_t::Double ? 64 : 32;
    return record;
}

/// Of signals of buses.
CommonFields busFields(std::uint64_t lastStartbit = lastClassicBit) {
    CommonFields common;
    common.lastStartbit = lastStartbit;
    common.channel = busChannelText;
    return common;
}

template <class Record>
Field<Record> messageField() {
    return field<Record>("message", &Record::message, TextCodec{}, messageText);
}

/// Fields that say themselves, at each of their positions, where the signal lies.
template <class Record>
Fields<Record> placedFields(ObjectsCodec<typename decltype(Record::positions)::value_type> positions,
                            const char* description) {
    Fields<Record> fields = commonFields<Record>(busFields());
    fields.push_back(messageField<Record>());
    std::erase_if(fields, [](const Field<Record>& field) { return field.name == "startbit"; });
    fields.push_back(
        required(field<Record>("positions", &Record::positions, std::move(positions), description)));
    return fields;
}

std::string shownField(unsigned bits, unsigned startbit) {
    return std::to_string(bits) + " bits from startbit " + std::to_string(startbit);
}

std::string checkWidth(const baseSignalDef_t& record) {
    const bool isFloat = record.type == signalValue_t::Float;
    if ((isFloat && record.bits != 32) || (record.type == signalValue_t::Double && record.bits != 64)) {
        return std::string("expected ") + (isFloat ? "32 bits of a float" : "64 bits of a double") +
               ", found " + std::to_string(record.bits);
    }
    return "";
}

std::string checkCommon(const baseSignalDef_t& record) {
    if (record.mux != 0 && !record.multiplexed) {
        return "expected mux of a multiplexed signal only, found " + std::to_string(record.mux);
    }
    return checkWidth(record);
}

/// For fields that lie within so many bytes.
std::string checkEnd(const baseSignalDef_t& record, unsigned length) {
    const bitfield::ByteRange bytes = bitfield::byteRange(record.startbit, record.bits, record.endian);
    if (bytes.startByte + unsigned{bytes.numBytes} > length) {
        return "expected a field within " + std::to_string(length) + " bytes, found " +
               shownField(record.bits, record.startbit);
    }
    return checkCommon(record);
}

/// For fields that lie in one word of 8 bytes.
template <class Record>
std::string checkWord(const Record& record) {
    return checkEnd(record, longestClassicFrame);
}

std::string checkMultiplexing(const CanRow& row) {
    if (!row.multiplexed && (row.multiplexedBy || !row.muxValues.empty())) {
        return "expected multiplexedBy and muxValues of a multiplexed signal only";
    }
    if (row.mux != 0 && !row.muxValues.empty()) {
        return "expected mux or muxValues, found both";
    }
    return "";
}

std::string checkCanIdentity(const CanRow& row) {
    if (std::string wrong = checkPdu(row.pduId, row.pduHeader, row.canFD); !wrong.empty()) {
        return wrong;
    }
    if (row.j1939 && row.canFD) {
        return "expected canFD or j1939, found both";
    }
    return checkMultiplexing(row);
}

std::string checkCan(const CanRow& row) {
    for (std::string wrong : {checkIdentifier(row.msgId, row.extended, row.j1939), checkCanIdentity(row)}) {
        if (!wrong.empty()) {
            return wrong;
        }
    }
    const auto bytes = bitfield::byteRange(row.startbit, row.bits, row.endian);
    if (bytes.numBytes > bitfield::maxRangeBytes) {
        return "expected a field that touches at most 8 bytes, found " + shownField(row.bits, row.startbit);
    }
    if (!row.canFD) {
        return checkEnd(row, row.j1939 ? longestParameterGroup : longestClassicFrame);
    }
    return row.startbit <= lastFdBit ? checkCommon(row)
                                     : "expected a startbit of at most 511 in a CAN FD frame, found " +
                                           std::to_string(row.startbit);
}

/// At each position a field must lie within the bytes that the decoder takes as one word.
template <class Signal, class Record>
std::string checkPositions(const Record& record) {
    for (const auto& position : record.positions) {
        Record single = record;
        single.positions = {position};
        if (!Signal::checkSignalDefinition(single)) {
            return "expected a field that touches at most 8 bytes, found " +
                   shownField(record.bits, position.startBit);
        }
    }
    return checkCommon(record);
}

std::string checkFlexRay(const SignalRow<flexRaySignalDef_t>& record) {
    const flexRayPosition_t& first = record.positions.front();
    for (const flexRayPosition_t& position : record.positions) {
        if (position.slot != first.slot || position.type != first.type) {
            return "expected the slot and type of the first position at each, found slot " +
                   std::to_string(position.slot);
        }
    }
    return checkPositions<FlexRaySignal>(record);
}

std::string checkGps(const InputRow& record) {
    const signalValue_t type = predefinedDefaults(record.instance).type;
    if (record.type != type) {
        return std::string("expected type ") + (type == signalValue_t::Double ? "double" : "unsigned") +
               " of " + record.instance + ", found another";
    }
    return checkWord(record);
}

/// The keys of a table of predefined inputs.
template <class Table>
std::vector<std::string> namesIn(const Table& table) {
    std::vector<std::string> names;
    for (const auto& entry : table) {
        names.push_back(entry.first);
    }
    return names;
}

DefinitionKind<inputSignalDef_t> numberedInputs(SignalKind kind) {
    CommonFields common;
    common.channel = "Number of the input on its module";
    common.tslId = "Channel of the module";
    return {kind, commonFields<InputRow>(common), plainDefaults<InputRow>, checkWord<InputRow>};
}

template <class Table>
DefinitionKind<inputSignalDef_t>
predefinedInputs(SignalKind kind, const Table& names,
                 std::string (*check)(const InputRow&) = checkWord<InputRow>) {
    CommonFields common;
    common.names = namesIn(names);
    return {kind, commonFields<InputRow>(common), predefinedDefaults, check};
}

} // namespace

const DefinitionKind<canSignalDef_t>& canKind() {
    using Row = CanRow;
    static const DefinitionKind<canSignalDef_t> kind = {
        SignalKind::Can,
        withFields<Row>(
            busFields(lastGroupBit),
            {required(field<Row>("msgId", &Row::msgId, IdentifierCodec{greatestExtendedId}, msgIdText)),
             field<Row>("extended", &Row::extended, FlagCodec{}, extendedText),
             field<Row>("canFD", &Row::canFD, FlagCodec{}, canFdText),
             field<Row>("j1939", &Row::j1939, FlagCodec{}, j1939Text),
             field<Row>("pduId", &Row::pduId, IdentifierCodec{max32}, pduIdText),
             field<Row>("pduHeader", &Row::pduHeader, pduHeaders(), pduHeaderText),
             field<Row>("message", &Row::message, TextCodec{}, messageText),
             field<Row>("sender", &Row::sender, TextCodec{}, senderText),
             field<Row>("multiplexedBy", &Row::multiplexedBy, TextCodec{},
                        "Instance of the multiplexer of the same message; if absent, the first that is not "
                        "multiplexed itself"),
             field<Row>("muxValues", &Row::muxValues, ListCodec<RangeCodec>{},
                        "In place of mux: values, or arrays of the first and the last of several")}),
        plainDefaults<Row>, checkCan};
    return kind;
}

const DefinitionKind<linSignalDef_t>& linKind() {
    using Record = SignalRow<linSignalDef_t>;
    static const DefinitionKind<linSignalDef_t> kind = {
        SignalKind::Lin,
        withFields<Record>(busFields(), {required(field<Record>("msgId", &Record::msgId,
                                                                IdentifierCodec{greatestLinId}, linIdText)),
                                         messageField<Record>()}),
        plainDefaults<Record>, checkWord<Record>};
    return kind;
}

const DefinitionKind<flexRaySignalDef_t>& flexRayKind() {
    using Record = SignalRow<flexRaySignalDef_t>;
    using Position = flexRayPosition_t;
    const ChoiceCodec<bool> segments{{{"static", true}, {"dynamic", false}}};
    const ObjectsCodec<Position> positions{
        {{field<Position>(
              "startBit", &Position::startBit, IntegerCodec{0, lastFlexRayBit},
              "As startbit elsewhere, counted from the start of the payload or of the PDU's data"),
          required(field<Position>("type", &Position::type, segments, "Segment of the communication cycle")),
          required(
              field<Position>("slot", &Position::slot, IntegerCodec{1, greatestSlot}, "Slot of the frame")),
          field<Position>("baseCycle", &Position::baseCycle, IntegerCodec{0, communicationCycles - 1},
                          "First cycle"),
          field<Position>("repetition", &Position::repetition, IntegerCodec{1, communicationCycles},
                          "Every how many cycles from there"),
          field<Position>("updateBit", &Position::updateBit, IntegerCodec{0, lastFlexRayBit},
                          "Bit of the payload that is 1 when the field has been updated"),
          field<Position>("pduId", &Position::pduId, IdentifierCodec{maxPduId},
                          "PDU that holds the field")}}};
    static const DefinitionKind<flexRaySignalDef_t> kind = {
        SignalKind::FlexRay,
        placedFields<Record>(positions, "Where the signal lies; slot and type are the same at each"),
        plainDefaults<Record>, checkFlexRay};
    return kind;
}

const DefinitionKind<ethernetSignalDef_t>& ethernetKind() {
    using Record = SignalRow<ethernetSignalDef_t>;
    using Position = ethernetPosition_t;
    using enum ethSignalPosType_t;
    const ChoiceCodec<ethSignalPosType_t> containers{
        {{"DEFAULT", DEFAULT}, {"IPDU", IPDU}, {"SPDU", SPDU}, {"SOME/IP", SOMEIP}}};
    const ObjectsCodec<Position> positions{
        {{field<Position>("ethSignalType", &Position::ethSignalType, containers,
                          "Container within the payload that holds the field"),
          field<Position>("startBit", &Position::startBit, IntegerCodec{0, max16},
                          "As startbit elsewhere, counted from the start of the container's data"),
          field<Position>("sourceMac", &Position::sourceMac, MacAddressCodec{}, "Any if absent"),
          field<Position>("destinationMac", &Position::destinationMac, MacAddressCodec{}, "Any if absent"),
          field<Position>("sourceIp", &Position::sourceIp, Ipv4AddressCodec{}, "Any if absent"),
          field<Position>("destinationIp", &Position::destinationIp, Ipv4AddressCodec{}, "Any if absent"),
          field<Position>("sourcePort", &Position::sourcePort, IntegerCodec{0, max16}, "0: any"),
          field<Position>("destinationPort", &Position::destinationPort, IntegerCodec{0, max16}, "0: any"),
          field<Position>("ipProtocol", &Position::ipProtocol, IntegerCodec{0, max8},
                          "6: TCP, 17: UDP, 0: any"),
          field<Position>("vlan", &Position::vlan, FlagCodec{}, "A VLAN tag is required"),
          field<Position>("vlanId", &Position::vlanId, IntegerCodec{0, lastVlanId}, "0: any"),
          field<Position>("pduId", &Position::pduId, IdentifierCodec{max32}, "Of an IPDU"),
          field<Position>("messageId", &Position::messageId, IdentifierCodec{max32}, "Of an SPDU"),
          field<Position>("serviceId", &Position::serviceId, IdentifierCodec{max16}, "Of SOME/IP"),
          field<Position>("methodEventId", &Position::methodEventId, IdentifierCodec{max16},
                          "Method or event of SOME/IP")}}};
    static const DefinitionKind<ethernetSignalDef_t> kind = {
        SignalKind::Ethernet,
        placedFields<Record>(positions, "Where the signal lies, for each kind of frame that carries it"),
        plainDefaults<Record>, checkPositions<EthernetSignal, Record>};
    return kind;
}

const DefinitionKind<inputSignalDef_t>& inputKind(SignalKind kind) {
    static const DefinitionKind<inputSignalDef_t> kinds[] = {
        numberedInputs(SignalKind::Digital),
        numberedInputs(SignalKind::Analog),
        predefinedInputs(SignalKind::Keyboard, KeyboardSignal::predefinedInputs),
        predefinedInputs(SignalKind::Status, LoggerStatusSignal::predefinedInputs),
        predefinedInputs(SignalKind::Gps, GPSSignal::gps_ids, checkGps),
    };
    return *std::find_if(std::begin(kinds), std::end(kinds),
                         [kind](const auto& each) { return each.kind == kind; });
}

} // namespace rksignal
