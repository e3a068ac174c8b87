// Messages to records and back.

#include "rktrace/TraceRecord.h"

#include <algorithm>
#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>

namespace {

constexpr std::uint16_t layoutVersion = 1;
constexpr std::uint32_t extendedFlag = 0x80000000;
constexpr std::uint32_t canFdFlag = 0x40000000;

using Record = std::vector<std::uint8_t>;

/// Appends big-endian numbers.
class RecordEncoder {
  public:
    RecordEncoder(Record& record, RecordType type, std::uint64_t timestamp) : record(record) {
        record.clear();
        put(layoutVersion);
        put(static_cast<std::uint16_t>(type));
        put(timestamp);
        put(std::uint16_t{0});
    }

    template <std::integral Number>
    void put(Number number) {
        const auto bits = static_cast<std::make_unsigned_t<Number>>(number);
        for (std::size_t i = sizeof bits; i-- > 0;) {
            record.push_back(static_cast<std::uint8_t>(bits >> (8 * i)));
        }
    }
    void putZeros(std::size_t count) { record.insert(record.end(), count, 0); }
    void putBytes(std::span<const std::uint8_t> bytes) {
        record.insert(record.end(), bytes.begin(), bytes.end());
    }
    void putText(std::string_view text) { record.insert(record.end(), text.begin(), text.end()); }

    /// What GPIO and analog records have in front of their elements.
    template <class Element>
    void putElementsHead(const std::vector<Element>& elements) {
        put(elements.empty() ? std::uint16_t{0} : elements.front().input);
        put(std::uint8_t{1});
        put(std::uint8_t{0});
        put(static_cast<std::uint32_t>(elements.size()));
    }

  private:
    Record& record;
};

/// Reads what RecordEncoder appends. Reading past the end gives zeros and makes the record one that is not
/// whole.
class RecordDecoder {
  public:
    RecordDecoder(std::span<const std::uint8_t> record, RecordType type, std::uint64_t& timestamp)
        : rest(record) {
        whole =
            get<std::uint16_t>() == layoutVersion && get<std::uint16_t>() == static_cast<std::uint16_t>(type);
        timestamp = get<std::uint64_t>();
        skip(2);
    }

    template <std::integral Number>
    Number get() {
        std::make_unsigned_t<Number> bits = 0;
        for (const std::uint8_t byte : getBytes(sizeof bits)) {
            bits = static_cast<decltype(bits)>(bits << 8 | byte);
        }
        return static_cast<Number>(bits);
    }
    void skip(std::size_t count) { getBytes(count); }

    /// `count` bytes, or none if there are not so many.
    std::span<const std::uint8_t> getBytes(std::size_t count) {
        if (count > rest.size()) {
            whole = false;
            rest = {};
            return {};
        }
        const auto bytes = rest.first(count);
        rest = rest.subspan(count);
        return bytes;
    }

    void getText(std::string& text) {
        text.assign(rest.begin(), rest.end());
        rest = {};
    }

    /// Makes room for the elements of a GPIO or analog record, each of `size` bytes.
    template <class Element>
    void getElementsHead(std::vector<Element>& elements, std::size_t size) {
        skip(4);
        const std::size_t count = get<std::uint32_t>();
        whole = whole && count == rest.size() / size;
        elements.resize(whole ? count : 0);
    }

    /// Whether all that was asked for was there, and no more.
    bool isWhole() const { return whole && rest.empty(); }

  private:
    std::span<const std::uint8_t> rest;
    bool whole = false;
};

/// The identifier word of a CAN record: the flags are added, as they are in frame keys.
std::uint32_t flagsOf(std::uint32_t frameFormat) {
    using Format = CANExtTraceMessage::FrameFormat;
    const bool extended = frameFormat == Format::Extended || frameFormat == Format::FdExtended;
    const bool canFd = frameFormat == Format::FdStandard || frameFormat == Format::FdExtended;
    return (extended ? extendedFlag : 0) + (canFd ? canFdFlag : 0);
}

std::size_t payloadLength(const CANExtTraceMessage& message) {
    return std::min<std::size_t>(message.length, message.payload.size());
}

} // namespace

RecordType recordType(std::span<const std::uint8_t> record) {
    return static_cast<RecordType>(record[2] << 8 | record[3]);
}

std::uint64_t recordTimestamp(std::span<const std::uint8_t> record) {
    std::uint64_t timestamp = 0;
    for (const std::uint8_t byte : record.subspan(4, 8)) {
        timestamp = timestamp << 8 | byte;
    }
    return timestamp;
}

void encodeRecord(const CANExtTraceMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::Can, message.timestamp);
    encoder.put(message.channel);
    encoder.putZeros(3);
    encoder.put(message.canId + flagsOf(message.frameFormat));
    encoder.put(message.frameFormat);
    encoder.put(message.length);
    encoder.putBytes(std::span(message.payload).first(payloadLength(message)));
}

bool decodeRecord(std::span<const std::uint8_t> record, CANExtTraceMessage& message) {
    RecordDecoder decoder(record, RecordType::Can, message.timestamp);
    message.channel = decoder.get<std::uint8_t>();
    decoder.skip(3);
    const auto identifier = decoder.get<std::uint32_t>();
    message.frameFormat = decoder.get<std::uint32_t>();
    message.canId = identifier - flagsOf(message.frameFormat);
    message.length = decoder.get<std::uint8_t>();
    const auto payload = decoder.getBytes(payloadLength(message));
    std::fill(std::copy(payload.begin(), payload.end(), message.payload.begin()), message.payload.end(), 0);
    return decoder.isWhole();
}

void encodeRecord(const LINTraceMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::Lin, message.timestamp);
    encoder.put(message.channel);
    encoder.putZeros(7);
    encoder.put(static_cast<std::uint32_t>(message.data.size()));
    encoder.put(message.protectedId);
    encoder.putBytes(message.data);
}

bool decodeRecord(std::span<const std::uint8_t> record, LINTraceMessage& message) {
    RecordDecoder decoder(record, RecordType::Lin, message.timestamp);
    message.channel = decoder.get<std::uint8_t>();
    decoder.skip(7);
    const auto length = decoder.get<std::uint32_t>();
    message.protectedId = decoder.get<std::uint8_t>();
    const auto data = decoder.getBytes(length);
    message.data.assign(data.begin(), data.end());
    return decoder.isWhole();
}

void encodeRecord(const GpioTraceMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::Gpio, message.timestamp);
    encoder.putElementsHead(message.elements);
    for (const gpioElement_t& element : message.elements) {
        encoder.put(element.input);
        encoder.put(element.value);
        encoder.put(element.mask);
    }
}

bool decodeRecord(std::span<const std::uint8_t> record, GpioTraceMessage& message) {
    RecordDecoder decoder(record, RecordType::Gpio, message.timestamp);
    decoder.getElementsHead(message.elements, 6);
    for (gpioElement_t& element : message.elements) {
        element.input = decoder.get<std::uint16_t>();
        element.value = decoder.get<std::uint16_t>();
        element.mask = decoder.get<std::uint16_t>();
    }
    return decoder.isWhole();
}

void encodeRecord(const AnalogTraceMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::Analog, message.timestamp);
    encoder.putElementsHead(message.elements);
    for (const analogElement_t& element : message.elements) {
        encoder.put(element.input);
        encoder.put(element.mantissa);
        encoder.put(element.exponent);
    }
}

bool decodeRecord(std::span<const std::uint8_t> record, AnalogTraceMessage& message) {
    RecordDecoder decoder(record, RecordType::Analog, message.timestamp);
    decoder.getElementsHead(message.elements, 7);
    for (analogElement_t& element : message.elements) {
        element.input = decoder.get<std::uint16_t>();
        element.mantissa = decoder.get<std::int32_t>();
        element.exponent = decoder.get<std::int8_t>();
    }
    return decoder.isWhole();
}

void encodeRecord(const KeyboardMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::Keyboard, message.timestamp);
    encoder.put(message.keyCode);
    encoder.put(message.value);
}

bool decodeRecord(std::span<const std::uint8_t> record, KeyboardMessage& message) {
    RecordDecoder decoder(record, RecordType::Keyboard, message.timestamp);
    message.keyCode = decoder.get<std::int32_t>();
    message.value = decoder.get<std::int32_t>();
    return decoder.isWhole();
}

void encodeRecord(const SystemMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::System, message.timestamp);
    encoder.put(message.code);
    encoder.putText(message.text);
}

bool decodeRecord(std::span<const std::uint8_t> record, SystemMessage& message) {
    RecordDecoder decoder(record, RecordType::System, message.timestamp);
    message.code = decoder.get<std::uint32_t>();
    decoder.getText(message.text);
    return decoder.isWhole();
}

void encodeRecord(const SystemUsageMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::SystemUsage, message.timestamp);
    encoder.put(message.code);
    encoder.put(message.internalUsage);
    encoder.put(message.externalUsage);
    encoder.put(message.externalUsage2);
    encoder.putText(message.text);
}

bool decodeRecord(std::span<const std::uint8_t> record, SystemUsageMessage& message) {
    RecordDecoder decoder(record, RecordType::SystemUsage, message.timestamp);
    message.code = decoder.get<std::uint32_t>();
    message.internalUsage = decoder.get<std::uint8_t>();
    message.externalUsage = decoder.get<std::uint8_t>();
    message.externalUsage2 = decoder.get<std::uint8_t>();
    decoder.getText(message.text);
    return decoder.isWhole();
}

void encodeRecord(const GPSTraceMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::Gps, message.timestamp);
    encoder.putText(message.sentences);
}

bool decodeRecord(std::span<const std::uint8_t> record, GPSTraceMessage& message) {
    RecordDecoder decoder(record, RecordType::Gps, message.timestamp);
    decoder.getText(message.sentences);
    return decoder.isWhole();
}
