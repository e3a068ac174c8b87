#include "definition/arxml/ArxmlDataType.h"

#include "definition/arxml/ArxmlCompuMethod.h"
#include "text/ParseNumber.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace rksignal {
namespace {

constexpr unsigned deepestType = 32;      ///< types in types
constexpr std::size_t mostValues = 4096;  ///< in one message
constexpr std::size_t longestData = 8191; ///< bytes: start bits have 16 bits

pugi::xml_node propertiesOf(pugi::xml_node type) {
    return arxmlAt(type,
                   {"SW-DATA-DEF-PROPS", "SW-DATA-DEF-PROPS-VARIANTS", "SW-DATA-DEF-PROPS-CONDITIONAL"});
}

std::string joined(const std::string& label, std::string_view name) {
    return label.empty() ? std::string(name) : label + "_" + std::string(name);
}

struct BaseType {
    signalValue_t type = signalValue_t::Unsigned;
    std::uint64_t bits = 0;
};

signalValue_t floatOf(std::uint64_t bits) {
    return bits == 32 ? signalValue_t::Float : bits == 64 ? signalValue_t::Double : signalValue_t::Unsigned;
}

/// A type of the platform by its name: `uint16`, `sint8_t`, `int32_t`, `float64`, `bool`. Without bits: none.
BaseType platformType(std::string_view name) {
    name = name.ends_with("_t") ? name.substr(0, name.size() - 2) : name;
    if (name == "bool" || name == "boolean") {
        return {signalValue_t::Unsigned, 8};
    }
    if (name == "float" || name == "double") {
        return {floatOf(name == "float" ? 32 : 64), name == "float" ? 32U : 64U};
    }
    const std::size_t digits = std::min(name.find_first_of("0123456789"), name.size());
    const auto bits = parseNumber<std::uint64_t>(name.substr(digits));
    const std::string_view kind = name.substr(0, digits);
    if (!bits || (kind != "uint" && kind != "sint" && kind != "int" && kind != "float")) {
        return {};
    }
    return {kind == "uint"    ? signalValue_t::Unsigned
            : kind == "float" ? floatOf(*bits)
                              : signalValue_t::Signed,
            *bits};
}

BaseType baseTypeOf(pugi::xml_node base) {
    const std::uint64_t bits =
        arxmlUnsigned(arxmlText(base, {"BASE-TYPE-SIZE", "MAX-BASE-TYPE-SIZE"})).value_or(0);
    const std::string_view encoding = arxmlText(base, {"BASE-TYPE-ENCODING"});
    return bits == 0               ? platformType(arxmlName(base))
           : encoding == "IEEE754" ? BaseType{floatOf(bits), bits}
           : encoding == "2C"      ? BaseType{signalValue_t::Signed, bits}
                                   : BaseType{signalValue_t::Unsigned, bits};
}

/// Whether values of the type take as many bytes as they need.
bool isVariable(pugi::xml_node type, std::string_view category) {
    constexpr std::string_view categories[] = {"STRING",  "VECTOR",          "UNION",
                                               "VARIANT", "ASSOCIATIVE_MAP", "DATA_REFERENCE"};
    return std::find(std::begin(categories), std::end(categories), category) != std::end(categories) ||
           arxmlText(type, {"ARRAY-SIZE-SEMANTICS"}) == "VARIABLE-SIZE" ||
           type.child("DYNAMIC-ARRAY-SIZE-PROFILE") || arxmlText(type, {"IS-OPTIONAL"}) == "true";
}

} // namespace

bool ArxmlDataTypes::stop(pugi::xml_node type, std::string_view reason) {
    model.leftOut(type, std::string(reason) + "; it and what follows it in " + pdu.name + " is not decoded");
    return false;
}

bool ArxmlDataTypes::add(const std::string& label, pugi::xml_node type, pugi::xml_node meaning,
                         unsigned depth) {
    if (depth > deepestType || pdu.signals.size() > mostValues || at > longestData) {
        return stop(type, "too many types in types, too many values or too many bytes");
    }
    if (!model.takeRepeated(type, 1)) {
        return false;
    }
    const std::string_view category = arxmlText(type, {"CATEGORY"});
    if (isVariable(type, category)) {
        return stop(type, "values of variable size");
    }
    const pugi::xml_node properties = propertiesOf(type);
    const bool isMeant = meaning.child("COMPU-METHOD-REF") || meaning.child("UNIT-REF");
    const pugi::xml_node next = isMeant ? meaning : properties;
    if (const pugi::xml_node referred = referredType(type, properties)) {
        return add(label, referred, next, depth + 1);
    }
    const pugi::xml_node elements = arxmlChild(type, {"SUB-ELEMENTS", "ELEMENTS"});
    if (category == "ARRAY" || type.child("ELEMENT")) {
        return addArray(label, type, depth);
    }
    return elements ? addElements(label, elements, depth) : addValue(label, type, properties, next);
}

/// What a type only gives another name or other properties; null if it is a type of its own.
pugi::xml_node ArxmlDataTypes::referredType(pugi::xml_node type, pugi::xml_node properties) {
    if (const pugi::xml_node reference = arxmlChild(type, {"TYPE-TREF", "TYPE-REFERENCE-REF"})) {
        return model.follow(reference);
    }
    if (const pugi::xml_node reference = arxmlAt(type, {"TYPE-REFERENCE", "TYPE-REFERENCE-REF"})) {
        return model.follow(reference);
    }
    const auto mapped =
        type.child("SHORT-NAME") ? implementationTypes.find(model.pathOf(type)) : implementationTypes.end();
    const bool isPrimitive = std::string_view(type.name()) == "APPLICATION-PRIMITIVE-DATA-TYPE";
    return isPrimitive && mapped != implementationTypes.end()
               ? model.follow(mapped->second)
               : model.target(properties, {"IMPLEMENTATION-DATA-TYPE-REF"});
}

bool ArxmlDataTypes::addElements(const std::string& label, pugi::xml_node elements, unsigned depth) {
    at += layout.structLengthBytes;
    for (const pugi::xml_node each : elements.children()) {
        if (!add(joined(label, arxmlName(each)), each, {}, depth + 1)) {
            return false;
        }
    }
    return true;
}

bool ArxmlDataTypes::addArray(const std::string& label, pugi::xml_node type, unsigned depth) {
    const pugi::xml_node item =
        type.child("ELEMENT") ? type.child("ELEMENT") : type.child("SUB-ELEMENTS").first_child();
    const pugi::xml_node argument =
        model.follow(arxmlAt(type, {"TEMPLATE-ARGUMENTS", "CPP-TEMPLATE-ARGUMENT", "TEMPLATE-TYPE-REF"}));
    const auto count = arxmlUnsigned(arxmlText(item ? item : type, {"ARRAY-SIZE", "MAX-NUMBER-OF-ELEMENTS"}));
    if (!count || *count > mostValues || (!item && !argument) || isVariable(item, {})) {
        return stop(type, "an array without a fixed size");
    }
    at += layout.arrayLengthBytes;
    for (std::uint64_t i = 0; i < *count; ++i) {
        if (!add(joined(label, std::to_string(i)), item ? item : argument, {}, depth + 1)) {
            return false;
        }
    }
    return true;
}

bool ArxmlDataTypes::addValue(const std::string& label, pugi::xml_node type, pugi::xml_node properties,
                              pugi::xml_node meaning) {
    const pugi::xml_node reference = properties.child("BASE-TYPE-REF");
    const pugi::xml_node base = model.follow(reference);
    const std::string_view path = reference.child_value();
    const BaseType found = base        ? baseTypeOf(base)
                           : reference ? platformType(path.substr(path.rfind('/') + 1))
                                       : platformType(arxmlName(type));
    if (found.bits == 0 || found.bits % 8 != 0 || found.bits > 64) {
        return stop(type, "there is no base type of whole bytes");
    }
    ArxmlSignal signal;
    signal.element = type;
    signal.place = model.placeOf(type);
    signal.common.signal = label;
    signal.common.comment = arxmlComment(type);
    signal.common.type = found.type;
    signal.common.bits = static_cast<std::uint8_t>(found.bits);
    signal.common.endian = layout.isBigEndian;
    signal.common.startbit = static_cast<std::uint16_t>(at * 8 + (layout.isBigEndian ? 7 : 0));
    scale(meaning, signal);
    pdu.signals.push_back(std::move(signal));
    at += found.bits / 8;
    return true;
}

void ArxmlDataTypes::scale(pugi::xml_node meaning, ArxmlSignal& signal) {
    const pugi::xml_node method = model.target(meaning, {"COMPU-METHOD-REF"});
    if (method) {
        const ArxmlLimits raw = applyCompuMethod(model, method, signal.common);
        if (raw.lower && raw.upper) {
            const double one = *raw.lower * signal.common.scale + signal.common.offset;
            const double other = *raw.upper * signal.common.scale + signal.common.offset;
            signal.minimum = std::min(one, other);
            signal.maximum = std::max(one, other);
        }
    }
    const pugi::xml_node own = model.target(meaning, {"UNIT-REF"});
    const pugi::xml_node unit = own ? own : model.target(method, {"UNIT-REF"});
    const std::string_view text = arxmlText(unit, {"DISPLAY-NAME"});
    signal.common.unit = text.empty() ? arxmlName(unit) : text;
}

} // namespace rksignal
