// Messages to records and back.

#include "rktrace/TraceRecord.h"

#include "rkutil/ByteOrder.h"

#include <algorithm>
#include <concepts>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

namespace {

constexpr std::uint16_t layoutVersion = 1;
constexpr std::size_t maxFrameLength = 0xFFFF; // that is told as it is

using Record = std::vector<std::uint8_t>;

/// Appends big-endian numbers.
class RecordEncoder {
  public:
    RecordEncoder(Record& record, RecordType type, std::uint64_t timestamp) : record(record) {
        record.clear();
        put(layoutVersion);
        put(static_cast<std::uint16_t>(type));
        put(timestamp);
        at(recordHeaderLength);
    }

    template <std::integral Number>
    void put(Number number) {
        const auto bits = static_cast<std::make_unsigned_t<Number>>(number);
        for (std::size_t i = sizeof bits; i-- > 0;) {
            record.push_back(static_cast<std::uint8_t>(bits >> (8 * i)));
        }
    }
    /// Goes on at `offset`, not before the end; the bytes between are zero.
    RecordEncoder& at(std::size_t offset) {
        record.resize(offset);
        return *this;
    }
    void putBytes(std::span<const std::uint8_t> bytes) {
        record.insert(record.end(), bytes.begin(), bytes.end());
    }
    void putText(std::string_view text) { record.insert(record.end(), text.begin(), text.end()); }

    /// What GPIO and analog records have in front of their elements.
    template <class Element>
    void putElementsHead(const std::vector<Element>& elements) {
        at(recordAt::inputNumber).put(elements.empty() ? std::uint16_t{0} : elements.front().input);
        at(recordAt::inputMark).put(std::uint8_t{1});
        at(recordAt::inputCount).put(static_cast<std::uint32_t>(elements.size()));
    }

    /// An Ethernet frame behind its length, which has 16 bits; the record's own length tells that of a longer
    /// frame.
    void putFrame(const std::vector<std::uint8_t>& frame) {
        put(static_cast<std::uint16_t>(std::min(frame.size(), maxFrameLength)));
        putBytes(frame);
    }

  private:
    Record& record;
};

/// Reads what RecordEncoder appends. Reading past the end gives zeros and makes the record one that is not
/// whole.
class RecordDecoder {
  public:
    RecordDecoder(std::span<const std::uint8_t> record, RecordType type, std::uint64_t& timestamp)
        : length(record.size()), rest(record) {
        whole =
            get<std::uint16_t>() == layoutVersion && get<std::uint16_t>() == static_cast<std::uint16_t>(type);
        timestamp = get<std::uint64_t>();
        at(recordHeaderLength);
    }

    template <std::integral Number>
    Number get() {
        const auto bytes = getBytes(sizeof(Number));
        return bytes.empty() ? Number{0} : static_cast<Number>(bigEndian<sizeof(Number)>(bytes.data()));
    }
    /// Goes on at `offset`, which has not been passed.
    RecordDecoder& at(std::size_t offset) {
        getBytes(offset - (length - rest.size()));
        return *this;
    }

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

    void getOctets(std::size_t count, std::vector<std::uint8_t>& octets) {
        const auto bytes = getBytes(count);
        octets.assign(bytes.begin(), bytes.end());
    }

    void getText(std::string& text) {
        text.assign(rest.begin(), rest.end());
        rest = {};
    }

    /// The frame that RecordEncoder puts, with `behind` bytes behind it.
    void getFrame(std::vector<std::uint8_t>& frame, std::size_t behind = 0) {
        const std::size_t length = get<std::uint16_t>();
        const auto bytes = getBytes(rest.size() - std::min(rest.size(), behind));
        whole = whole && length == std::min(bytes.size(), maxFrameLength);
        frame.assign(bytes.begin(), bytes.end());
    }

    /// Makes room for the elements of a GPIO or analog record, each of `size` bytes.
    template <class Element>
    void getElementsHead(std::vector<Element>& elements, std::size_t size) {
        const std::size_t count = at(recordAt::inputCount).template get<std::uint32_t>();
        whole = whole && count == rest.size() / size;
        elements.resize(whole ? count : 0);
    }

    /// Whether all that was asked for was there, and no more.
    bool isWhole() const { return whole && rest.empty(); }

  private:
    const std::size_t length;
    std::span<const std::uint8_t> rest;
    bool whole = false;
};

template <class Message, class Class>
concept Is = std::same_as<std::remove_const_t<Message>, Class>;

// What stands in a record behind its header, in this order, and how it is written as well as read.
auto fieldsOf(Is<gpioElement_t> auto& element) {
    return std::tie(element.input, element.value, element.mask);
}
auto fieldsOf(Is<analogElement_t> auto& element) {
    return std::tie(element.input, element.mantissa, element.exponent);
}
auto fieldsOf(Is<KeyboardMessage> auto& message) {
    return std::tie(message.keyCode, message.value);
}
auto fieldsOf(Is<SystemMessage> auto& message) {
    return std::tie(message.code, message.text);
}
auto fieldsOf(Is<SystemUsageMessage> auto& message) {
    return std::tie(message.code, message.internalUsage, message.externalUsage, message.externalUsage2,
                    message.text);
}
auto fieldsOf(Is<GPSTraceMessage> auto& message) {
    return std::tie(message.sentences);
}

void putField(RecordEncoder& encoder, std::integral auto number) {
    encoder.put(number);
}
void putField(RecordEncoder& encoder, const std::string& text) {
    encoder.putText(text);
}
template <std::integral Number>
void getField(RecordDecoder& decoder, Number& number) {
    number = decoder.get<Number>();
}
void getField(RecordDecoder& decoder, std::string& text) {
    decoder.getText(text);
}

template <class Fields>
void putFields(RecordEncoder& encoder, const Fields& fields) {
    std::apply([&encoder](const auto&... field) { (putField(encoder, field), ...); }, fields);
}
template <class Fields>
void getFields(RecordDecoder& decoder, const Fields& fields) {
    std::apply([&decoder](auto&... field) { (getField(decoder, field), ...); }, fields);
}

template <class Message>
void encodeFields(const Message& message, RecordType type, Record& record) {
    RecordEncoder encoder(record, type, message.timestamp);
    putFields(encoder, fieldsOf(message));
}
template <class Message>
bool decodeFields(std::span<const std::uint8_t> record, RecordType type, Message& message) {
    RecordDecoder decoder(record, type, message.timestamp);
    getFields(decoder, fieldsOf(message));
    return decoder.isWhole();
}

template <class Message>
void encodeElements(const Message& message, RecordType type, Record& record) {
    RecordEncoder encoder(record, type, message.timestamp);
    encoder.putElementsHead(message.elements);
    for (const auto& element : message.elements) {
        putFields(encoder, fieldsOf(element));
    }
}
/// `elementLength`: of an element in the record.
template <class Message>
bool decodeElements(std::span<const std::uint8_t> record, RecordType type, std::size_t elementLength,
                    Message& message) {
    RecordDecoder decoder(record, type, message.timestamp);
    decoder.getElementsHead(message.elements, elementLength);
    for (auto& element : message.elements) {
        getFields(decoder, fieldsOf(element));
    }
    return decoder.isWhole();
}

/// The identifier word of a CAN record: the flags are added, as they are in frame keys.
std::uint32_t flagsOf(const CANExtTraceMessage& message) {
    return (message.isExtended() ? recordExtendedFlag : 0) + (message.isFd() ? recordCanFdFlag : 0);
}

std::size_t payloadLength(const CANExtTraceMessage& message) {
    return std::min<std::size_t>(message.length, message.payload.size());
}

} // namespace

RecordType recordType(std::span<const std::uint8_t> record) {
    return static_cast<RecordType>(bigEndian<2>(record.data() + recordAt::type));
}

std::uint64_t recordTimestamp(std::span<const std::uint8_t> record) {
    return bigEndian<8>(record.data() + recordAt::timestamp);
}

void encodeRecord(const CANExtTraceMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::Can, message.timestamp);
    encoder.at(recordAt::canChannel).put(message.channel);
    encoder.at(recordAt::canIdentifier).put(message.canId + flagsOf(message));
    encoder.put(message.frameFormat);
    encoder.put(message.length);
    encoder.putBytes(std::span(message.payload).first(payloadLength(message)));
}

bool decodeRecord(std::span<const std::uint8_t> record, CANExtTraceMessage& message) {
    RecordDecoder decoder(record, RecordType::Can, message.timestamp);
    message.channel = decoder.at(recordAt::canChannel).get<std::uint8_t>();
    const auto identifier = decoder.at(recordAt::canIdentifier).get<std::uint32_t>();
    message.frameFormat = decoder.get<std::uint32_t>();
    message.canId = identifier - flagsOf(message);
    message.length = decoder.get<std::uint8_t>();
    const auto payload = decoder.getBytes(payloadLength(message));
    std::fill(std::copy(payload.begin(), payload.end(), message.payload.begin()), message.payload.end(), 0);
    return decoder.isWhole();
}

void encodeRecord(const LINTraceMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::Lin, message.timestamp);
    encoder.at(recordAt::linChannel).put(message.channel);
    encoder.at(recordAt::linLength).put(static_cast<std::uint32_t>(message.data.size()));
    encoder.at(recordAt::linIdentifier).put(message.protectedId);
    encoder.putBytes(message.data);
}

bool decodeRecord(std::span<const std::uint8_t> record, LINTraceMessage& message) {
    RecordDecoder decoder(record, RecordType::Lin, message.timestamp);
    message.channel = decoder.at(recordAt::linChannel).get<std::uint8_t>();
    const auto length = decoder.at(recordAt::linLength).get<std::uint32_t>();
    message.protectedId = decoder.at(recordAt::linIdentifier).get<std::uint8_t>();
    decoder.getOctets(length, message.data);
    return decoder.isWhole();
}

void encodeRecord(const FlexRayExtTraceMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::FlexRay, message.timestamp);
    encoder.at(recordAt::flexRayKind).put(message.frameKind);
    encoder.at(recordAt::flexRayChannel).put(message.channel);
    encoder.at(recordAt::flexRaySlot).put(message.slot);
    encoder.at(recordAt::flexRayCycle).put(message.cycle);
    encoder.put(static_cast<std::uint32_t>(message.data.size()));
    encoder.put(static_cast<std::uint32_t>(message.payload.size()));
    encoder.putBytes(message.data);
    encoder.putBytes(message.payload);
}

bool decodeRecord(std::span<const std::uint8_t> record, FlexRayExtTraceMessage& message) {
    RecordDecoder decoder(record, RecordType::FlexRay, message.timestamp);
    message.frameKind = decoder.at(recordAt::flexRayKind).get<std::uint8_t>();
    message.channel = decoder.at(recordAt::flexRayChannel).get<std::uint8_t>();
    message.slot = decoder.at(recordAt::flexRaySlot).get<std::uint16_t>();
    message.cycle = decoder.at(recordAt::flexRayCycle).get<std::uint8_t>();
    const auto dataLength = decoder.get<std::uint32_t>();
    const auto payloadLength = decoder.get<std::uint32_t>();
    decoder.getOctets(dataLength, message.data);
    decoder.getOctets(payloadLength, message.payload);
    return decoder.isWhole();
}

void encodeRecord(const GpioTraceMessage& message, Record& record) {
    encodeElements(message, RecordType::Gpio, record);
}

bool decodeRecord(std::span<const std::uint8_t> record, GpioTraceMessage& message) {
    return decodeElements(record, RecordType::Gpio, 6, message);
}

void encodeRecord(const AnalogTraceMessage& message, Record& record) {
    encodeElements(message, RecordType::Analog, record);
}

bool decodeRecord(std::span<const std::uint8_t> record, AnalogTraceMessage& message) {
    return decodeElements(record, RecordType::Analog, 7, message);
}

void encodeRecord(const KeyboardMessage& message, Record& record) {
    encodeFields(message, RecordType::Keyboard, record);
}

bool decodeRecord(std::span<const std::uint8_t> record, KeyboardMessage& message) {
    return decodeFields(record, RecordType::Keyboard, message);
}

void encodeRecord(const SystemMessage& message, Record& record) {
    encodeFields(message, RecordType::System, record);
}

bool decodeRecord(std::span<const std::uint8_t> record, SystemMessage& message) {
    return decodeFields(record, RecordType::System, message);
}

void encodeRecord(const SystemUsageMessage& message, Record& record) {
    encodeFields(message, RecordType::SystemUsage, record);
}

bool decodeRecord(std::span<const std::uint8_t> record, SystemUsageMessage& message) {
    return decodeFields(record, RecordType::SystemUsage, message);
}

void encodeRecord(const GPSTraceMessage& message, Record& record) {
    encodeFields(message, RecordType::Gps, record);
}

bool decodeRecord(std::span<const std::uint8_t> record, GPSTraceMessage& message) {
    return decodeFields(record, RecordType::Gps, message);
}

void encodeRecord(const EthernetTraceMessage& message, Record& record) {
    const auto kind = static_cast<std::uint8_t>(message.kind);
    RecordEncoder encoder(record, RecordType::Ethernet, message.timestamp);
    encoder.at(recordAt::ethernetChannel).put(message.channel);
    encoder.at(recordAt::ethernetKind).put(kind == message.kind ? kind : std::uint8_t{0});
    encoder.at(recordAt::ethernetChannelAgain).put(message.channel);
    encoder.at(recordAt::ethernetLength).putFrame(message.frame);
    encoder.put(message.kind);
}

bool decodeRecord(std::span<const std::uint8_t> record, EthernetTraceMessage& message) {
    RecordDecoder decoder(record, RecordType::Ethernet, message.timestamp);
    message.channel = decoder.at(recordAt::ethernetChannel).get<std::uint8_t>();
    decoder.at(recordAt::ethernetLength).getFrame(message.frame, sizeof message.kind);
    message.kind = decoder.get<std::int32_t>();
    return decoder.isWhole();
}

void encodeRecord(const MIITraceMessage& message, Record& record) {
    RecordEncoder encoder(record, RecordType::Mii, message.timestamp);
    encoder.at(recordAt::miiChannel).put(message.channel);
    encoder.at(recordAt::miiLength).putFrame(message.frame);
}

bool decodeRecord(std::span<const std::uint8_t> record, MIITraceMessage& message) {
    RecordDecoder decoder(record, RecordType::Mii, message.timestamp);
    message.channel = decoder.at(recordAt::miiChannel).get<std::uint8_t>();
    decoder.at(recordAt::miiLength).getFrame(message.frame);
    return decoder.isWhole();
}
