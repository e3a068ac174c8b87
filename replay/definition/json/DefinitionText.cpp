#include "definition/json/DefinitionText.h"

#include "definition/json/DefinitionKinds.h"

#include <cstdint>
#include <utility>

namespace rksignal {
namespace {

template <class Kind>
JsonOutput writeDefinition(const Kind& kind, const PlacedDefinition<typename Kind::Record>& definition) {
    auto defaults = kind.defaults(definition.record.instance);
    if (kind.anyChannel) { // the default is to name none
        const std::uint8_t channel = definition.record.channel;
        defaults.channel = definition.anyChannel ? channel : static_cast<std::uint8_t>(~channel);
    }
    return writeFields(kind.fields, definition.record, defaults);
}

/// The schemas of the kinds. What several kinds describe in the same way stands once, in `definitions`.
class SchemaWriter {
  public:
    std::string write() {
        JsonOutput properties = {{"$schema", {{"type", "string"}, {"description", "Not read"}}}};
        forEachKind([&](const auto& kind) { properties[kind.name] = describe(kind); });
        const JsonOutput schema = {{"$schema", "http://json-schema.org/draft-07/schema#"},
                                   {"title", "Signal definitions"},
                                   {"type", "object"},
                                   {"additionalProperties", false},
                                   {"properties", std::move(properties)},
                                   {"definitions", std::move(shared)}};
        return schema.dump(2) + '\n';
    }

  private:
    template <class Kind>
    JsonOutput describe(const Kind& kind) {
        const auto defaults = kind.defaults("");
        const auto describeField = [&](const auto& field) {
            JsonOutput schema = fieldSchema(field, defaults);
            if (kind.anyChannel && field.name == "channel") {
                schema.erase("default");
            }
            if (!shared.contains(field.name)) {
                shared[field.name] = schema;
            }
            return shared[field.name] == schema ? JsonOutput{{"$ref", "#/definitions/" + field.name}}
                                                : schema;
        };
        return {{"type", "array"}, {"items", objectSchema(kind.fields, describeField)}};
    }

    JsonOutput shared = JsonOutput::object();
};

} // namespace

std::string definitionText(const SignalDefinitions& definitions) {
    JsonOutput document = JsonOutput::object();
    forEachKind([&](const auto& kind) {
        for (const auto& definition : definitions.*kind.list) {
            document[kind.name].push_back(writeDefinition(kind, definition));
        }
    });
    return document.dump(2) + '\n';
}

std::string definitionSchema() {
    return SchemaWriter().write();
}

} // namespace rksignal
