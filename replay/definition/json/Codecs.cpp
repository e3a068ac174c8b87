#include "definition/json/Codecs.h"

#include "text/ParseNumber.h"

#include <cmath>
#include <limits>
#include <string_view>

namespace rksignal {
namespace {

/// The value of a JSON number without a fraction.
std::optional<std::uint64_t> wholeNumber(const JsonValue& value) {
    if (value.is_number_unsigned()) {
        return value.get<std::uint64_t>();
    }
    if (!value.is_number_float()) {
        return std::nullopt;
    }
    const double number = value.get<double>();
    const bool isWhole = number >= 0 && number < 0x1p64 && std::trunc(number) == number;
    return isWhole ? std::optional(static_cast<std::uint64_t>(number)) : std::nullopt;
}

std::string hexText(std::uint64_t value) {
    std::string digits;
    do {
        digits.insert(digits.begin(), "0123456789ABCDEF"[value % 16]);
        value /= 16;
    } while (value != 0);
    return "0x" + digits;
}

bool isControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < ' ' || byte == 0x7F;
}

/// A raw value: an unsigned one, or a negative one as its two's complement.
std::optional<std::uint64_t> parseRaw(const std::string& text) {
    if (!text.starts_with('-')) {
        return parseNumber<std::uint64_t>(text);
    }
    const auto number = parseNumber<std::int64_t>(text);
    return number ? std::optional(static_cast<std::uint64_t>(*number)) : std::nullopt;
}

} // namespace

std::optional<std::uint64_t> IntegerCodec::read(const JsonValue& value, const Place& place,
                                                Findings& findings) const {
    const auto number = wholeNumber(value);
    if (number && *number >= first && *number <= last) {
        return number;
    }
    findings.expected("an integer from " + std::to_string(first) + " to " + std::to_string(last), value,
                      place);
    return std::nullopt;
}

JsonOutput IntegerCodec::schema() const {
    return {{"type", "integer"}, {"minimum", first}, {"maximum", last}};
}

std::optional<std::uint64_t> IdentifierCodec::read(const JsonValue& value, const Place& place,
                                                   Findings& findings) const {
    auto number = wholeNumber(value);
    if (value.is_string()) {
        const std::string& text = value.get_ref<const std::string&>();
        if (text.starts_with("0x")) {
            number = parseNumber<std::uint64_t>(std::string_view(text).substr(2), 16);
        }
    }
    if (number && *number <= last) {
        return number;
    }
    findings.expected("an identifier from 0 to " + std::to_string(last) + " or \"0x0\" to \"" +
                          hexText(last) + "\"",
                      value, place);
    return std::nullopt;
}

JsonOutput IdentifierCodec::write(Value value) const {
    return hexText(value);
}

/// Leading zeros are allowed; a hexadecimal text of more digits than `last` has can still be too large, as
/// the pattern knows digits only.
JsonOutput IdentifierCodec::schema() const {
    const std::string digits = std::to_string(hexText(last).size() - 2);
    return {{"anyOf",
             {{{"type", "integer"}, {"minimum", 0}, {"maximum", last}},
              {{"type", "string"}, {"pattern", "^0x0*[0-9A-Fa-f]{1," + digits + "}$"}}}}};
}

std::optional<double> NumberCodec::read(const JsonValue& value, const Place& place,
                                        Findings& findings) const {
    if (value.is_number()) {
        return value.get<double>();
    }
    findings.expected("a number", value, place);
    return std::nullopt;
}

/// Whole numbers without a fraction, where a double holds them exactly.
JsonOutput NumberCodec::write(Value value) const {
    const bool isWhole = std::abs(value) < 0x1p53 && std::trunc(value) == value;
    const bool isNegativeZero = value == 0 && std::signbit(value);
    return isWhole && !isNegativeZero ? JsonOutput(static_cast<std::int64_t>(value)) : JsonOutput(value);
}

JsonOutput NumberCodec::schema() const {
    return {{"type", "number"}};
}

std::optional<bool> FlagCodec::read(const JsonValue& value, const Place& place, Findings& findings) const {
    if (value.is_boolean()) {
        return value.get<bool>();
    }
    findings.expected("true or false", value, place);
    return std::nullopt;
}

JsonOutput FlagCodec::schema() const {
    return {{"type", "boolean"}};
}

std::optional<std::string> TextCodec::read(const JsonValue& value, const Place& place,
                                           Findings& findings) const {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    findings.expected("a text", value, place);
    return std::nullopt;
}

JsonOutput TextCodec::schema() const {
    return {{"type", "string"}};
}

std::optional<std::string> NameCodec::read(const JsonValue& value, const Place& place,
                                           Findings& findings) const {
    if (value.is_string()) {
        const auto name = value.get<std::string>();
        const bool fits = choices.empty() ? !name.empty() && std::none_of(name.begin(), name.end(), isControl)
                                          : std::find(choices.begin(), choices.end(), name) != choices.end();
        if (fits) {
            return name;
        }
    }
    findings.expected(choices.empty() ? "a name without control characters" : shownChoices(choices), value,
                      place);
    return std::nullopt;
}

JsonOutput NameCodec::schema() const {
    if (!choices.empty()) {
        return {{"enum", choices}};
    }
    return {{"type", "string"}, {"pattern", R"(^[^\u0000-\u001F\u007F]+$)"}};
}

std::optional<ValueRange> RangeCodec::read(const JsonValue& value, const Place& place,
                                           Findings& findings) const {
    const bool isPair = value.is_array() && value.size() == 2;
    const auto first = wholeNumber(isPair ? value[0] : value);
    const auto last = wholeNumber(isPair ? value[1] : value);
    if (first && last && *first <= *last) {
        return std::pair(*first, *last);
    }
    findings.expected("a raw value, or an array of the first and the last one", value, place);
    return std::nullopt;
}

JsonOutput RangeCodec::write(const Value& value) const {
    return value.first == value.second ? JsonOutput(value.first)
                                       : JsonOutput::array({value.first, value.second});
}

JsonOutput RangeCodec::schema() const {
    const JsonOutput raw = IntegerCodec{0, std::numeric_limits<std::uint64_t>::max()}.schema();
    return {{"anyOf", {raw, {{"type", "array"}, {"minItems", 2}, {"maxItems", 2}, {"items", raw}}}}};
}

std::optional<ValueTextsCodec::Value> ValueTextsCodec::read(const JsonValue& value, const Place& place,
                                                            Findings& findings) const {
    if (!value.is_object()) {
        findings.expected("an object with raw values and their texts", value, place);
        return std::nullopt;
    }
    const std::size_t before = findings.count();
    Value texts;
    for (const auto& [key, member] : value.items()) {
        const auto raw = parseRaw(key);
        const auto text = TextCodec().read(member, place / key, findings);
        if (!raw) {
            findings.expected("a raw value in decimal digits", key, place / key);
        } else if (text && !texts.emplace(*raw, *text).second) {
            findings.add(place / key, "expected a raw value once, found it again");
        }
    }
    return findings.count() == before ? std::optional(std::move(texts)) : std::nullopt;
}

JsonOutput ValueTextsCodec::write(const Value& value) const {
    JsonOutput object = JsonOutput::object();
    for (const auto& [raw, text] : value) {
        const bool isNegative = raw > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        object[isNegative ? std::to_string(static_cast<std::int64_t>(raw)) : std::to_string(raw)] = text;
    }
    return object;
}

JsonOutput ValueTextsCodec::schema() const {
    return {{"type", "object"},
            {"propertyNames", {{"pattern", "^-?[0-9]{1,20}$"}}},
            {"additionalProperties", {{"type", "string"}}}};
}

std::string shownChoices(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        text += i == 0 ? "" : i + 1 < names.size() ? ", " : " or ";
        text += '"' + names[i] + '"';
    }
    return text;
}

} // namespace rksignal
