#include "RecordedDrive.h"

#include "Command.h"
#include "bus/CANSignal.h"
#include "bus/LINSignal.h"
#include "input/AnalogSignal.h"
#include "input/DigitalSignal.h"
#include "input/GPSSignal.h"
#include "input/KeyboardSignal.h"
#include "input/LoggerStatusSignal.h"
#include "rktrace/TraceRecord.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>

namespace {

using Json = nlohmann::json;

template <class Definition>
Definition definitionOf(const Json& fields) {
    Definition definition;
    const std::map<std::string, signalValue_t> types = {{"unsigned", signalValue_t::Unsigned},
                                                        {"signed", signalValue_t::Signed},
                                                        {"float", signalValue_t::Float},
                                                        {"double", signalValue_t::Double}};
    definition.instance = fields.at("instance");
    definition.channel = fields.value("channel", std::uint8_t{0});
    definition.unit = fields.value("unit", "");
    definition.type = types.at(fields.value("type", "unsigned"));
    definition.startbit = fields.value("startbit", std::uint16_t{0});
    definition.bits = fields.value("bits", std::uint8_t{64});
    definition.scale = fields.value("scale", 1.0);
    definition.endian = fields.value("endian", "little") == "big";
    const Json texts = fields.value("valueDescriptions", Json::object());
    for (const auto& [raw, text] : texts.items()) {
        definition.valueDescriptions[std::stoull(raw)] = text;
    }
    if constexpr (requires { definition.msgId; }) {
        definition.msgId = fields.at("msgId");
    }
    return definition;
}

template <class Signal, class Definition>
void build(const Json& definitions, std::vector<std::unique_ptr<BaseSignal>>& signals) {
    for (const Json& fields : definitions) {
        signals.push_back(std::make_unique<Signal>(definitionOf<Definition>(fields)));
    }
}

} // namespace

void RecordedDrive::buildSignals() {
    std::ifstream file(DRIVE_FOLDER "/logger.json");
    const Json json = Json::parse(file);
    build<LINSignal, linSignalDef_t>(json.at("lin"), signals);
    build<DigitalSignal, inputSignalDef_t>(json.at("digital"), signals);
    build<AnalogSignal, inputSignalDef_t>(json.at("analog"), signals);
    build<KeyboardSignal, inputSignalDef_t>(json.at("keyboard"), signals);
    build<LoggerStatusSignal, inputSignalDef_t>(json.at("status"), signals);
    build<GPSSignal, inputSignalDef_t>(json.at("gps"), signals);
    // As in drive.dbc and body.dbc.
    build<CANSignal, canSignalDef_t>(
        {{{"instance", "Vehicle.Speed"}, {"msgId", 0xF1}, {"bits", 16}, {"scale", 0.01}},
         {{"instance", "Battery.Voltage"}, {"msgId", 0x3E8}, {"bits", 32}, {"type", "float"}}},
        signals);
}

RecordedDrive::RecordedDrive() {
    buildSignals();
    std::istringstream file(runCommand(MAKE_DRIVE " 2>/dev/null --seconds 310 --start 0 --records -").output);
    TraceRecordReader reader(file);
    for (std::uint64_t last = 0; reader.next(); last = recordTimestamp(reader.record())) {
        backwardSteps += recordTimestamp(reader.record()) < last ? 1 : 0;
        decode(reader.record());
    }
    unusable += reader.damagedBytes();
}

void RecordedDrive::decode(std::span<const std::uint8_t> record) {
    switch (recordType(record)) {
    case RecordType::Can:
        ++canRecords;
        take<CANExtTraceMessage>(record, [](auto&... in) { CANSignal::decodeMessage(in...); });
        break;
    case RecordType::Lin:
        take<LINTraceMessage>(record, [](auto&... in) { LINSignal::decodeMessage(in...); });
        break;
    case RecordType::Gpio:
        take<GpioTraceMessage>(record, [](auto&... in) { InputSignal::decodeMessage(in...); });
        break;
    case RecordType::Analog:
        take<AnalogTraceMessage>(record, [](auto&... in) { InputSignal::decodeMessage(in...); });
        break;
    case RecordType::Keyboard:
        take<KeyboardMessage>(record, [](auto&... in) { InputSignal::decodeMessage(in...); });
        break;
    case RecordType::System:
        take<SystemMessage>(record, [](auto&... in) { InputSignal::decodeMessage(in...); });
        break;
    case RecordType::SystemUsage:
        take<SystemUsageMessage>(record, [](auto&... in) { InputSignal::decodeMessage(in...); });
        break;
    case RecordType::Gps:
        take<GPSTraceMessage>(record, [](auto&... in) { GPSSignal::decodeMessage(in...); });
        break;
    default:
        ++unusable;
    }
}

template <class Message, class Decoder>
void RecordedDrive::take(std::span<const std::uint8_t> record, Decoder decoder) {
    Message message;
    unusable += decodeRecord(record, message) ? 0 : 1;
    std::vector<unsigned long> ids;
    decoder(message, ids);
    for (const unsigned long id : ids) {
        note(*BaseSignal::getInstance(id));
    }
}

void RecordedDrive::note(BaseSignal& signal) {
    double value = 0;
    unsigned long raw = 0;
    unsigned long timestamp = 0;
    signal.read(value, timestamp);
    signal.read(raw, timestamp);
    const std::string& instance = signal.def.instance;
    series[instance][static_cast<double>(timestamp) / 1e9] = value;
    const std::string text = signal.getValueDescription(raw);
    if (!signal.def.valueDescriptions.empty() && text != texts[instance]) {
        texts[instance] = text;
        char seconds[16];
        std::snprintf(seconds, sizeof seconds, "%.2f ", static_cast<double>(timestamp) / 1e9);
        events.push_back(seconds + instance + " " + text);
    }
}
