// Decoding of the messages of the logger's own inputs: from a message to an input key and a payload.

#include "input/InputKey.h"
#include "input/InputSignal.h"
#include "rktrace/TraceRecord.h"
#include "rkutil/ByteOrder.h"
#include "signal/Diagnostics.h"
#include "signal/SignalFiling.h"

#include <bit>
#include <cmath>
#include <cstdlib>
#include <optional>

namespace {

constexpr std::uint8_t memoryAbsent = 255;

/// The key that a raw record asks for, if it is one of inputs.
std::optional<std::uint64_t> recordKey(const unsigned char* record, std::ptrdiff_t length,
                                       std::uint8_t channel) {
    constexpr auto typeEnd = static_cast<std::ptrdiff_t>(recordAt::type + 2);
    constexpr auto mark = static_cast<std::ptrdiff_t>(recordAt::inputMark);
    if (length < typeEnd) {
        return std::nullopt;
    }
    const auto type = static_cast<RecordType>(bigEndian<2>(record + recordAt::type));
    if (type == RecordType::Keyboard) {
        return input::keyboardBit + 0xE;
    }
    const bool isDigital = type == RecordType::Gpio;
    if ((!isDigital && type != RecordType::Analog) || length <= mark || record[mark] != 1) {
        return std::nullopt;
    }
    return input::key(isDigital ? input::digitalBit : input::analogBit, channel,
                      static_cast<std::uint16_t>(bigEndian<2>(record + recordAt::inputNumber)));
}

/// Puts a measurement where a signal of this type takes it from. A float takes the low half of the payload
/// alone; the high half stays, on purpose.
void setPayload(std::uint64_t& payload, const analogElement_t& element, signalValue_t type) {
    const double measured = element.mantissa * std::pow(10.0, element.exponent);
    switch (type) {
    case signalValue_t::Unsigned:
    case signalValue_t::Signed:
        payload = static_cast<std::uint64_t>(std::int64_t{element.mantissa});
        break;
    case signalValue_t::Float:
        payload = (payload & ~std::uint64_t{0xFFFFFFFF}) |
                  std::bit_cast<std::uint32_t>(static_cast<float>(measured));
        break;
    case signalValue_t::Double:
        payload = std::bit_cast<std::uint64_t>(measured);
        break;
    }
}

bool decodeMeasurement(const AnalogTraceMessage& message, std::vector<unsigned long>& ids,
                       std::uint8_t channel, FrameTable<InputSignal>& container) {
    constexpr LogSite site{"InputSignal", "decodeMessage"};
    ids.clear();
    const analogElement_t element = message.elements.empty() ? analogElement_t() : message.elements.front();
    const std::uint64_t key = input::key(input::analogBit, channel, element.input);
    const auto* const entry = container.lookup(key);
    if (entry == nullptr) {
        if (BaseSignal::debug) {
            logDebug(site, "analog signal not found, index = ", std::hex, key, std::dec);
        }
        return false;
    }
    std::uint64_t payload = 0;
    for (InputSignal* const signal : entry->signals()) {
        setPayload(payload, element, signal->def.type);
        if (BaseSignal::debug) {
            logDebug(site, "Signal = ", signal->def.instance, ": ", std::bit_cast<double>(payload));
        }
        signal->write(payload, message.timestamp);
        ids.push_back(signal->id);
    }
    return !ids.empty();
}

bool decodeUsage(const SystemMessage& message, std::vector<unsigned long>& ids, SignalStorage* storage) {
    const auto* const usage = dynamic_cast<const SystemUsageMessage*>(&message);
    if (usage == nullptr) {
        return false;
    }
    const std::uint8_t external =
        usage->externalUsage != memoryAbsent ? usage->externalUsage : usage->externalUsage2;
    if (external != memoryAbsent) {
        InputSignal::writeValue(input::memoryKey, external, message.timestamp, ids, storage,
                                "Logger.ExtMemory");
    }
    return InputSignal::writeValue(input::memoryKey, usage->internalUsage, message.timestamp, ids, storage,
                                   "Logger.IntMemory");
}

} // namespace

bool InputSignal::signalsInUse(const unsigned char* record, const unsigned char* recordEnd,
                               unsigned char channel, SignalStorage* storage) {
    if (filing::storageOrDefault(storage).inputSignals.empty()) {
        return false;
    }
    constexpr auto longEnough = static_cast<std::ptrdiff_t>(recordAt::inputMark + 1);
    const auto key = recordKey(record, recordEnd != nullptr ? recordEnd - record : longEnough, channel);
    if (!key) {
        return false;
    }
    const bool inUse = containerOf(storage).contains(*key);
    if (debug >= 2) {
        logDebug({"InputSignal", "signalsInUse"}, "index = ", std::hex, *key, std::dec, " - ",
                 inUse ? "found" : "not found");
    }
    return inUse;
}

bool InputSignal::writeValue(std::uint64_t key, unsigned long payload, unsigned long timestamp,
                             std::vector<unsigned long>& ids, SignalStorage* storage, const char* instance) {
    constexpr LogSite site{"InputSignal", "writeValue"};
    const auto* const entry = containerOf(storage).lookup(key);
    if (entry == nullptr) {
        if (debug) {
            logDebug(site, "signal not found, index = ", std::hex, key, std::dec);
        }
        return false;
    }
    bool written = false;
    for (InputSignal* const signal : entry->signals()) {
        if (instance != nullptr && signal->def.instance != instance) {
            continue;
        }
        if (debug) {
            logDebug(site, "Signal = ", signal->def.instance);
        }
        signal->write(payload, timestamp);
        ids.push_back(signal->id);
        written = true;
    }
    return written;
}

bool InputSignal::decodeMessage(const GpioTraceMessage& message, std::vector<unsigned long>& ids,
                                unsigned char channel, SignalStorage* storage) {
    ids.clear();
    const gpioElement_t element = message.elements.empty() ? gpioElement_t() : message.elements.front();
    return writeValue(input::key(input::digitalBit, channel, element.input), element.value & element.mask,
                      message.timestamp, ids, storage);
}

bool InputSignal::decodeMessage(const KeyboardMessage& message, std::vector<unsigned long>& ids,
                                SignalStorage* storage) {
    ids.clear();
    return writeValue(input::keyboardBit + static_cast<std::uint64_t>(std::int64_t{message.keyCode}),
                      static_cast<unsigned long>(std::int64_t{message.value}), message.timestamp, ids,
                      storage);
}

bool InputSignal::decodeMessage(const AnalogTraceMessage& message, std::vector<unsigned long>& ids,
                                unsigned char channel) {
    return decodeMeasurement(message, ids, channel, inputContainer);
}

bool InputSignal::decodeMessage(const AnalogTraceMessage& message, std::vector<unsigned long>& ids,
                                unsigned char channel, SignalStorage* storage) {
    return decodeMeasurement(message, ids, channel, containerOf(storage));
}

bool InputSignal::decodeMessage(const SystemMessage& message, std::vector<unsigned long>& ids,
                                SignalStorage* storage) {
    ids.clear();
    std::uint64_t key = 0;
    switch (message.code) {
    case SystemMessage::MemoryUsage:
        return decodeUsage(message, ids, storage);
    case SystemMessage::Status:
        key = input::statusKey;
        break;
    case SystemMessage::Start:
        key = input::startKey;
        break;
    case SystemMessage::Timer:
        key = input::timerKey;
        break;
    default:
        return false;
    }
    const long value = std::strtol(message.text.c_str(), nullptr, 10);
    return writeValue(key, static_cast<unsigned long>(value), message.timestamp, ids, storage);
}
