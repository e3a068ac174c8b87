/// \file
/// The members of a JSON object as the fields of a record: one row a field, for reading, writing and the
/// schema.
#pragma once

#include "definition/json/Codecs.h"

#include <cmath>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace rksignal {

/// One field of a record.
template <class Record>
struct Field {
    std::string name;
    std::string description;
    JsonOutput schema;
    std::function<void(const JsonValue&, const Place&, Findings&, Record&)> read;
    std::function<JsonOutput(const Record&)> write; ///< null: the record has no value
    bool required = false;
};

/// All fields of a record, in the order in which they are written.
template <class Record>
using Fields = std::vector<Field<Record>>;

/// The value of a member, which may be optional: it must have one then.
template <class Member>
const Member& valueOf(const Member& member) {
    return member;
}
template <class Member>
const Member& valueOf(const std::optional<Member>& member) {
    return *member;
}

template <class Member>
bool hasValue(const Member& /*member*/) {
    return true;
}
template <class Member>
bool hasValue(const std::optional<Member>& member) {
    return member.has_value();
}

/// The field that stands in `member` of a record. Values that `codec` reads must fit into it.
template <class Record, class Base, class Member, class Codec>
Field<Record> field(std::string name, Member Base::*member, Codec codec, std::string description) {
    Field<Record> result{std::move(name), std::move(description), codec.schema(), {}, {}};
    result.read = [codec, member](const JsonValue& value, const Place& place, Findings& findings,
                                  Record& record) {
        if (auto read = codec.read(value, place, findings)) {
            record.*member = static_cast<Member>(std::move(*read));
        }
    };
    result.write = [codec, member](const Record& record) {
        using Value = typename Codec::Value;
        return hasValue(record.*member) ? codec.write(static_cast<Value>(valueOf(record.*member)))
                                        : JsonOutput();
    };
    return result;
}

template <class Record>
Field<Record> required(Field<Record> field) {
    field.required = true;
    return field;
}

/// Adds a finding for every member of `object` that is none of `names`.
void findUnknownMembers(const JsonValue& object, const std::vector<std::string_view>& names,
                        const Place& place, Findings& findings);

/// Reads `object` into `record`; fields that it does not have are left alone.
template <class Record>
void readFields(const Fields<Record>& fields, const JsonValue& object, const Place& place, Findings& findings,
                Record& record) {
    if (!object.is_object()) {
        findings.expected("an object", object, place);
        return;
    }
    std::vector<std::string_view> names;
    for (const Field<Record>& field : fields) {
        names.emplace_back(field.name);
        const auto member = object.find(field.name);
        if (member != object.end()) {
            field.read(*member, place / field.name, findings, record);
        } else if (field.required) {
            findings.add(place, "expected a member \"" + field.name + "\", found none");
        }
    }
    findUnknownMembers(object, names, place, findings);
}

/// Whether two values are written alike: 0 and -0 are equal, but as offsets of a double not the same.
inline bool isSame(const JsonOutput& left, const JsonOutput& right) {
    return left == right &&
           (!left.is_number_float() || std::signbit(left.get<double>()) == std::signbit(right.get<double>()));
}

/// Writes `record`; fields that are as in `defaults` are left out.
template <class Record>
JsonOutput writeFields(const Fields<Record>& fields, const Record& record, const Record& defaults) {
    JsonOutput object = JsonOutput::object();
    for (const Field<Record>& field : fields) {
        JsonOutput value = field.write(record);
        if (field.required || !isSame(value, field.write(defaults))) {
            object[field.name] = std::move(value);
        }
    }
    return object;
}

/// The schema of an object with these fields and no others. `describe(field)` gives the schema of one.
template <class Record, class Describe>
JsonOutput objectSchema(const Fields<Record>& fields, const Describe& describe) {
    JsonOutput schema = {{"type", "object"}, {"additionalProperties", false}};
    for (const Field<Record>& field : fields) {
        schema["properties"][field.name] = describe(field);
        if (field.required) {
            schema["required"].push_back(field.name);
        }
    }
    return schema;
}

inline bool isEmpty(const JsonOutput& value) {
    return value.is_string() ? value.get_ref<const std::string&>().empty() : value.empty();
}

/// The schema of a field, with its description, and its default where that is a plain value.
template <class Record>
JsonOutput fieldSchema(const Field<Record>& field, const Record& defaults) {
    JsonOutput schema = field.schema;
    schema["description"] = field.description;
    const JsonOutput value = field.write(defaults);
    if (!field.required && !isEmpty(value)) {
        schema["default"] = value;
    }
    return schema;
}

/// An object that is a record with these fields. See Codecs.h.
template <class Record>
struct ObjectCodec {
    using Value = Record;
    static constexpr const char* noun = "object";
    Fields<Record> fields;

    std::optional<Value> read(const JsonValue& value, const Place& place, Findings& findings) const {
        const std::size_t before = findings.count();
        Record record;
        readFields(fields, value, place, findings, record);
        return findings.count() == before ? std::optional(std::move(record)) : std::nullopt;
    }
    JsonOutput write(const Value& value) const { return writeFields(fields, value, Record()); }
    JsonOutput schema() const {
        return objectSchema(fields, [](const Field<Record>& field) { return fieldSchema(field, Record()); });
    }
};

template <class Record>
using ObjectsCodec = ListCodec<ObjectCodec<Record>>;

} // namespace rksignal
