#include "definition/arxml/ArxmlSignal.h"

#include "definition/arxml/ArxmlCompuMethod.h"
#include "signal/BitField.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace rksignal {
namespace {

/// The SW-DATA-DEF-PROPS of an element, of AUTOSAR 4 the first variant.
pugi::xml_node dataProps(pugi::xml_node properties) {
    const pugi::xml_node variant =
        arxmlAt(properties, {"SW-DATA-DEF-PROPS-VARIANTS", "SW-DATA-DEF-PROPS-CONDITIONAL"});
    return variant ? variant : properties;
}

/// Where the I-SIGNAL and its SYSTEM-SIGNAL say what the bits mean, the most specific first.
struct Meaning {
    pugi::xml_node iSignal;
    pugi::xml_node systemSignal;
    pugi::xml_node dataType; ///< of AUTOSAR 3
    pugi::xml_node network;  ///< properties on the bus
    pugi::xml_node physical; ///< properties of the value

    Meaning(ArxmlModel& model, pugi::xml_node iSignal)
        : iSignal(iSignal), systemSignal(model.target(iSignal, {"SYSTEM-SIGNAL-REF"})),
          dataType(model.target(systemSignal, {"DATA-TYPE-REF"})),
          network(dataProps(iSignal.child("NETWORK-REPRESENTATION-PROPS"))),
          physical(dataProps(dataType ? dataType.child("SW-DATA-DEF-PROPS")
                                      : systemSignal.child("PHYSICAL-PROPS"))) {}

    pugi::xml_node target(ArxmlModel& model, const char* reference) const {
        const pugi::xml_node own = network.child(reference);
        return model.follow(own ? own : physical.child(reference));
    }
};

/// Reads one mapping, step by step into `signal`.
class SignalReader {
  public:
    SignalReader(ArxmlModel& model, pugi::xml_node mapping, pugi::xml_node iSignal)
        : model(model), mapping(mapping), meaning(model, iSignal) {}

    std::optional<ArxmlSignal> read() {
        signal.element = meaning.iSignal;
        signal.place = model.placeOf(meaning.iSignal);
        record.signal = arxmlName(meaning.iSignal);
        record.comment = arxmlComment(meaning.iSignal);
        if (record.comment.empty()) {
            record.comment = arxmlComment(meaning.systemSignal);
        }
        if (!readPlace()) {
            return std::nullopt;
        }
        readType();
        readScaling();
        readUnit();
        readValues();
        return std::move(signal);
    }

  private:
    bool readPlace() {
        const auto start = arxmlUnsigned(arxmlText(mapping, {"START-POSITION"}));
        std::string_view lengthText = arxmlText(meaning.iSignal, {"LENGTH"});
        lengthText = lengthText.empty() ? arxmlText(meaning.systemSignal, {"LENGTH"}) : lengthText;
        const auto length = arxmlUnsigned(lengthText);
        if (!start || !length) {
            model.leftOut(mapping, start ? "signal without LENGTH, not decoded"
                                         : "signal without START-POSITION, not decoded");
            return false;
        }
        if (*length == 0 || *length > widestSignal) {
            model.leftOut(mapping, "signal of " + std::to_string(*length) + " bits, not decoded");
            return false;
        }
        const auto startBit = movedStartBit(*start, 0);
        if (!startBit) {
            model.leftOut(mapping, "signal beyond 8 KB, not decoded");
            return false;
        }
        record.startbit = *startBit;
        record.bits = static_cast<std::uint8_t>(*length);
        record.endian = isArxmlBigEndian(arxmlText(mapping, {"PACKING-BYTE-ORDER"}));
        const auto update = arxmlUnsigned(arxmlText(mapping, {"UPDATE-INDICATION-BIT-POSITION"}));
        if (update && *update <= std::numeric_limits<std::uint32_t>::max()) {
            signal.updateBit = static_cast<std::uint32_t>(*update);
        }
        return true;
    }

    void readType() {
        const std::string_view dataType = meaning.dataType.name();
        const pugi::xml_node reference = arxmlChild(meaning.network, {"BASE-TYPE-REF"});
        const pugi::xml_node baseType =
            model.follow(reference          ? reference
                         : meaning.dataType ? meaning.physical.child("BASE-TYPE-REF")
                                            : reference);
        if (baseType) {
            readEncoding(arxmlText(baseType, {"BASE-TYPE-ENCODING"}));
        } else if (reference) {
            readPlatformType(reference.child_value());
        } else if (dataType == "REAL-TYPE") {
            readEncoding("IEEE754");
        } else if (dataType == "INTEGER-TYPE" && arxmlLimits(meaning.dataType).lower.value_or(0) < 0) {
            record.type = signalValue_t::Signed;
        }
    }

    void readEncoding(std::string_view encoding) {
        if (encoding == "2C") {
            record.type = signalValue_t::Signed;
        } else if (encoding == "1C" || encoding == "SM") {
            record.type = signalValue_t::Signed;
            model.leftOut(meaning.iSignal, "encoding " + std::string(encoding) + " is taken as 2C");
        } else if (encoding == "IEEE754" || encoding == "SINGLE" || encoding == "DOUBLE") {
            readFloat();
        } else if (!encoding.empty() && encoding != "NONE" && encoding != "BOOLEAN" && encoding != "VOID") {
            model.note(meaning.iSignal, "encoding " + std::string(encoding) + " is shown as a number");
        }
    }

    void readFloat() {
        if (record.bits == 32 || record.bits == 64) {
            record.type = record.bits == 32 ? signalValue_t::Float : signalValue_t::Double;
        } else if (!meaning.dataType) { // an AUTOSAR 3 type is that of the value, not of the bits
            model.leftOut(meaning.iSignal, "floating-point number of " + std::to_string(record.bits) +
                                               " bits is shown as a whole number");
        }
    }

    /// Types of the AUTOSAR platform are often used without being defined.
    void readPlatformType(std::string_view path) {
        const std::string_view name = path.substr(path.rfind('/') + 1);
        if (name.starts_with("sint")) {
            record.type = signalValue_t::Signed;
        } else if (name.starts_with("float")) {
            readFloat();
        }
    }

    void readScaling() {
        const pugi::xml_node method = meaning.target(model, "COMPU-METHOD-REF");
        if (!method) {
            return readRange({});
        }
        readRange(applyCompuMethod(model, method, record));
    }

    /// Physical bounds of the data constraint, else those of its raw values or of the scaling.
    void readRange(const ArxmlLimits& ofScaling) {
        const pugi::xml_node rule =
            arxmlAt(meaning.target(model, "DATA-CONSTR-REF"), {"DATA-CONSTR-RULES", "DATA-CONSTR-RULE"});
        const ArxmlLimits physical = arxmlLimits(rule.child("PHYS-CONSTRS"));
        if (physical.lower && physical.upper) {
            return setRange(*physical.lower, *physical.upper);
        }
        ArxmlLimits raw = arxmlLimits(rule.child("INTERNAL-CONSTRS"));
        raw = raw.lower && raw.upper ? raw : ofScaling;
        raw = raw.lower && raw.upper ? raw : arxmlLimits(meaning.dataType);
        if (raw.lower && raw.upper) {
            setRange(*raw.lower * record.scale + record.offset, *raw.upper * record.scale + record.offset);
        }
    }

    void setRange(double one, double other) {
        if (std::isfinite(one) && std::isfinite(other)) {
            signal.minimum = std::min(one, other);
            signal.maximum = std::max(one, other);
        }
    }

    void readUnit() {
        pugi::xml_node unit = meaning.target(model, "UNIT-REF");
        unit = unit ? unit : model.target(meaning.target(model, "COMPU-METHOD-REF"), {"UNIT-REF"});
        std::string_view text = arxmlText(unit, {"DISPLAY-NAME"});
        text = text.empty() ? arxmlName(unit) : text;
        record.unit = text == "NoUnit" ? "" : text;
    }

    void readValues() {
        signal.initial = valueOf(meaning.iSignal.child("INIT-VALUE"));
        if (!signal.initial) { // of AUTOSAR 3
            signal.initial =
                rawWord(arxmlText(model.target(meaning.systemSignal, {"INIT-VALUE-REF"}), {"VALUE"}));
        }
        const pugi::xml_node invalid = meaning.network.child("INVALID-VALUE");
        signal.invalid = valueOf(invalid ? invalid : meaning.physical.child("INVALID-VALUE"));
    }

    /// Of what stands for a value: a constant, a text or a literal.
    std::optional<std::uint64_t> valueOf(pugi::xml_node element) {
        if (const pugi::xml_node reference = arxmlAt(element, {"CONSTANT-REFERENCE", "CONSTANT-REF"})) {
            element = arxmlChild(model.follow(reference), {"VALUE-SPEC", "VALUE"});
        }
        if (const pugi::xml_node text = element.child("TEXT-VALUE-SPECIFICATION")) {
            return wordOfText(arxmlText(text, {"VALUE"}));
        }
        return rawWord(arxmlText(arxmlChild(element, {"NUMERICAL-VALUE-SPECIFICATION", "INTEGER-LITERAL",
                                                      "BOOLEAN-LITERAL", "REAL-LITERAL"}),
                                 {"VALUE"}));
    }

    std::optional<std::uint64_t> wordOfText(std::string_view text) const {
        const auto found = std::find_if(record.valueDescriptions.begin(), record.valueDescriptions.end(),
                                        [text](const auto& each) { return each.second == text; });
        return found != record.valueDescriptions.end() ? std::optional(found->first) : std::nullopt;
    }

    std::optional<std::uint64_t> rawWord(std::string_view number) const {
        if (number == "true" || number == "false") {
            return number == "true" ? 1 : 0;
        }
        return arxmlRawWord(number, record.type);
    }

    ArxmlModel& model;
    pugi::xml_node mapping;
    Meaning meaning;
    ArxmlSignal signal;
    baseSignalDef_t& record = signal.common;
};

} // namespace

bool isArxmlBigEndian(std::string_view byteOrder) {
    return byteOrder == "MOST-SIGNIFICANT-BYTE-FIRST";
}

std::optional<std::uint16_t> movedStartBit(std::uint64_t startBit, std::uint64_t bytes) {
    constexpr std::uint64_t limit = std::numeric_limits<std::uint16_t>::max();
    return bytes <= limit / 8 && startBit <= limit - bytes * 8
               ? std::optional(static_cast<std::uint16_t>(startBit + bytes * 8))
               : std::nullopt;
}

std::size_t arxmlEnd(std::uint16_t startBit, std::uint8_t bits, bool isBigEndian) {
    const bitfield::ByteRange bytes = bitfield::byteRange(startBit, bits, isBigEndian);
    return std::size_t{bytes.startByte} + bytes.numBytes;
}

std::optional<ArxmlSignal> readArxmlSignal(ArxmlModel& model, pugi::xml_node mapping) {
    if (mapping.child("I-SIGNAL-GROUP-REF")) {
        return std::nullopt;
    }
    const pugi::xml_node iSignal = model.target(mapping, {"I-SIGNAL-REF", "SIGNAL-REF"});
    const bool isGroup = std::string_view(iSignal.child("SYSTEM-SIGNAL-REF").attribute("DEST").value()) ==
                         "SYSTEM-SIGNAL-GROUP";
    if (!iSignal || isGroup) {
        return std::nullopt;
    }
    return SignalReader(model, mapping, iSignal).read();
}

} // namespace rksignal
