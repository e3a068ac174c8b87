/// \file
/// How the members of a definition stand in JSON: reading, writing and describing one value.
///
/// A codec has
///
///     using Value = ...;                                        // what is read and written
///     std::optional<Value> read(value, place, findings) const;  // nothing: a finding says why
///     JsonOutput write(const Value& value) const;               // read() gives the same again
///     JsonOutput schema() const;                                // in JSON Schema, draft 7
#pragma once

#include "definition/Definition.h"
#include "definition/json/Findings.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {

/// An integer from `first` to `last`. It may be written with a fraction of zero.
struct IntegerCodec {
    using Value = std::uint64_t;
    std::uint64_t first, last;

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const;
    JsonOutput write(Value value) const { return value; }
    JsonOutput schema() const;
};

/// An integer from 0 to `last`, or a text that writes it in hexadecimal, `0x1A0`.
struct IdentifierCodec {
    using Value = std::uint64_t;
    std::uint64_t last;

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const;
    JsonOutput write(Value value) const;
    JsonOutput schema() const;
};

struct NumberCodec {
    using Value = double;

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const;
    /// REQUIRES: `value` is finite.
    JsonOutput write(Value value) const;
    JsonOutput schema() const;
};

struct FlagCodec {
    using Value = bool;

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const;
    JsonOutput write(Value value) const { return value; }
    JsonOutput schema() const;
};

/// Any text.
struct TextCodec {
    using Value = std::string;
    static constexpr const char* noun = "text";

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const;
    JsonOutput write(const Value& value) const { return value; }
    JsonOutput schema() const;
};

/// A text that names something: not empty, without control characters; one of `choices` unless there are
/// none.
struct NameCodec {
    using Value = std::string;
    std::vector<std::string> choices;

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const;
    JsonOutput write(const Value& value) const { return value; }
    JsonOutput schema() const;
};

/// A MAC address, `02:00:00:00:00:01`, in the low 48 bits, the first octet most significant.
struct MacAddressCodec {
    using Value = std::uint64_t;

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const;
    JsonOutput write(Value value) const;
    JsonOutput schema() const;
};

/// An IPv4 address, `10.0.0.1`, in network order in memory.
struct Ipv4AddressCodec {
    using Value = std::uint32_t;

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const;
    JsonOutput write(Value value) const;
    JsonOutput schema() const;
};

/// A raw value, or an array of the first and the last of several.
struct RangeCodec {
    using Value = ValueRange;
    static constexpr const char* noun = "range";

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const;
    JsonOutput write(const Value& value) const;
    JsonOutput schema() const;
};

/// Texts by raw value, an object with the raw values as member names: decimal, negative ones as two's
/// complement of 64 bits.
struct ValueTextsCodec {
    using Value = std::map<std::uint64_t, std::string>;

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const;
    JsonOutput write(const Value& value) const;
    JsonOutput schema() const;
};

/// An array of at least one item, which its codec calls a `noun`.
template <class Item>
struct ListCodec {
    using Value = std::vector<typename Item::Value>;
    Item item;

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const {
        if (!value.is_array() || value.empty()) {
            findings.expected(std::string("an array of at least one ") + Item::noun, value, place);
            return std::nullopt;
        }
        const std::size_t before = findings.count();
        Value items;
        for (std::size_t i = 0; i < value.size(); ++i) {
            if (auto read = item.read(value[i], place / i, findings)) {
                items.push_back(std::move(*read));
            }
        }
        return findings.count() == before ? std::optional(std::move(items)) : std::nullopt;
    }

    JsonOutput write(const Value& value) const {
        JsonOutput array = JsonOutput::array();
        for (const auto& each : value) {
            array.push_back(item.write(each));
        }
        return array;
    }

    JsonOutput schema() const { return {{"type", "array"}, {"minItems", 1}, {"items", item.schema()}}; }
};

/// Names joined for a message: `"A", "B" or "C"`.
std::string shownChoices(const std::vector<std::string>& names);

/// One of a few values, each with a name.
template <class Choice>
struct ChoiceCodec {
    using Value = Choice;
    std::vector<std::pair<std::string, Choice>> choices;

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const {
        for (const auto& [name, choice] : choices) {
            if (value == name) {
                return choice;
            }
        }
        findings.expected(shownChoices(names()), value, place);
        return std::nullopt;
    }

    /// REQUIRES: `value` is one of the choices.
    JsonOutput write(const Value& value) const {
        return std::find_if(choices.begin(), choices.end(),
                            [&value](const auto& choice) { return choice.second == value; })
            ->first;
    }

    JsonOutput schema() const { return {{"enum", names()}}; }

  private:
    std::vector<std::string> names() const {
        std::vector<std::string> list;
        for (const auto& choice : choices) {
            list.push_back(choice.first);
        }
        return list;
    }
};

} // namespace rksignal
