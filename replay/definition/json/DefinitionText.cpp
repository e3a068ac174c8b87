#include "definition/json/DefinitionText.h"

#include "definition/json/DefinitionKinds.h"
#include "definition/json/MessageFields.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

namespace rksignal {
namespace {

/// What tells messages apart in a file. Several may have the same: then the file makes one of them.
auto identityOf(const MessageDefinition& message) {
    return std::tuple(message.kind, message.id, message.extended, message.canFd, message.isParameterGroup,
                      message.channel, message.pduId, message.pduHeader, message.name);
}

using Identities = std::map<decltype(identityOf({})), std::size_t>;

/// How many messages have each.
Identities identitiesOf(const std::vector<MessageDefinition>& messages) {
    Identities identities;
    for (const MessageDefinition& message : messages) {
        ++identities[identityOf(message)];
    }
    return identities;
}

/// None if the reader calls the message so by itself.
std::string nameOf(const MessageDefinition& message) {
    return message.name == namelessCalled(message) ? "" : message.name;
}

/// The signal as the file has it. What the reader finds out by itself is left out.
template <class Kind>
typename Kind::Row rowOf(const Kind& /*kind*/, const MessageDefinition& message,
                         const SignalDefinition& signal, std::optional<std::size_t> firstMultiplexer) {
    typename Kind::Row row;
    static_cast<typename Kind::Record&>(row) = std::get<typename Kind::Record>(signal.record);
    row.minimum = signal.minimum;
    row.maximum = signal.maximum;
    row.initial = signal.initial;
    row.invalid = signal.invalid;
    row.receivers = signal.receivers;
    row.j1939 = message.isParameterGroup;
    row.pduHeader = message.pduHeader;
    if constexpr (!std::is_same_v<typename Kind::Record, canSignalDef_t>) {
        row.message = nameOf(message);
    }
    if (const auto& multiplexing = signal.multiplexing) {
        if (multiplexing->multiplexer && multiplexing->multiplexer != firstMultiplexer) {
            row.multiplexedBy = message.signals[*multiplexing->multiplexer].common().instance;
        }
        if (multiplexing->ranges != std::vector<ValueRange>{{row.mux, row.mux}}) {
            row.muxValues = multiplexing->ranges;
            row.mux = 0;
        }
    }
    return row;
}

template <class Kind>
JsonOutput writeSignals(const Kind& kind, const std::vector<MessageDefinition>& messages) {
    const Identities identities = identitiesOf(messages);
    JsonOutput array = JsonOutput::array();
    for (const MessageDefinition& message : messages) {
        if (message.kind != kind.kind) {
            continue;
        }
        const bool isAlone = identities.at(identityOf(message)) == 1;
        const auto multiplexer = isAlone ? firstMultiplexer(message) : std::nullopt;
        for (const SignalDefinition& signal : message.signals) {
            auto defaults = kind.defaults(signal.common().instance);
            if (hasMessages(kind.kind)) { // the default is to name none
                const std::uint8_t channel = signal.common().channel;
                defaults.channel = message.channel ? static_cast<std::uint8_t>(~channel) : channel;
            }
            array.push_back(writeFields(kind.fields, rowOf(kind, message, signal, multiplexer), defaults));
        }
    }
    return array;
}

/// Whether the signals of a message, which name it, do not say everything about it.
bool hasMore(const MessageDefinition& message) {
    return message.signals.empty() || message.length != 0 || !message.comment.empty() || message.cycleTime ||
           (message.kind != SignalKind::Can && !message.sender.empty());
}

/// How many messages must be written so that all come in the order that they have here.
std::size_t neededMessages(const std::vector<MessageDefinition>& messages) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        const bool isBeforeEarlierKind = i + 1 < messages.size() && messages[i + 1].kind < messages[i].kind;
        count = hasMore(messages[i]) || isBeforeEarlierKind ? i + 1 : count;
    }
    return count;
}

JsonOutput writeMessages(const std::vector<MessageDefinition>& messages) {
    JsonOutput array = JsonOutput::array();
    Identities written;
    const std::size_t count = neededMessages(messages);
    for (std::size_t i = 0; i < count; ++i) {
        MessageDefinition message = messages[i];
        if (!hasMessages(message.kind) || written[identityOf(message)]++ != 0) {
            continue;
        }
        const bool isNamedBySignals = message.kind == SignalKind::Can && !message.signals.empty();
        message.name = isNamedBySignals ? message.signals.front().can().message : nameOf(message);
        MessageDefinition defaults;
        defaults.kind = message.kind;
        array.push_back(writeFields(messageFields(message.kind), message, defaults));
    }
    return array;
}

/// The schemas of the kinds. What several kinds describe in the same way stands once, in `definitions`.
class SchemaWriter {
  public:
    std::string write() {
        JsonOutput properties = {{"$schema", {{"type", "string"}, {"description", "Not read"}}}};
        properties["version"] = {
            {"type", "integer"},
            {"minimum", 1},
            {"maximum", formVersion},
            {"default", 1},
            {"description", "Of the form; 2 and later: signals without a channel are of all channels"}};
        properties["messages"] = {
            {"type", "array"},
            {"description", "What signals do not say about their messages, and messages without signals"},
            {"items", {{"anyOf", messageSchemas()}}}};
        forEachKind([&](const auto& kind) { properties[kindName(kind.kind)] = describe(kind); });
        const JsonOutput schema = {{"$schema", "http://json-schema.org/draft-07/schema#"},
                                   {"title", "Signal definitions"},
                                   {"type", "object"},
                                   {"additionalProperties", false},
                                   {"properties", std::move(properties)},
                                   {"definitions", std::move(shared)}};
        return schema.dump(2) + '\n';
    }

  private:
    JsonOutput messageSchemas() {
        JsonOutput schemas = JsonOutput::array();
        for (const SignalKind kind : messageKinds) {
            MessageDefinition defaults;
            defaults.kind = kind;
            schemas.push_back(objectSchema(messageFields(kind), [&](const auto& field) {
                return share(field, fieldSchema(field, defaults));
            }));
        }
        return schemas;
    }

    template <class Kind>
    JsonOutput describe(const Kind& kind) {
        const auto defaults = kind.defaults("");
        const auto describeField = [&](const auto& field) {
            JsonOutput schema = fieldSchema(field, defaults);
            if (hasMessages(kind.kind) && field.name == "channel") {
                schema.erase("default");
            }
            return share(field, std::move(schema));
        };
        return {{"type", "array"}, {"items", objectSchema(kind.fields, describeField)}};
    }

    template <class Field>
    JsonOutput share(const Field& field, JsonOutput schema) {
        if (!shared.contains(field.name)) {
            shared[field.name] = schema;
        }
        return shared[field.name] == schema ? JsonOutput{{"$ref", "#/definitions/" + field.name}} : schema;
    }

    JsonOutput shared = JsonOutput::object();
};

} // namespace

std::string definitionText(const std::vector<MessageDefinition>& messages) {
    JsonOutput document = {{"version", formVersion}};
    const auto put = [&document](std::string_view name, JsonOutput array) {
        if (!array.empty()) {
            document[name] = std::move(array);
        }
    };
    put("messages", writeMessages(messages));
    forEachKind([&](const auto& kind) { put(kindName(kind.kind), writeSignals(kind, messages)); });
    return document.dump(2) + '\n';
}

std::size_t messagesPutTogether(const std::vector<MessageDefinition>& messages) {
    const auto count = static_cast<std::size_t>(
        std::count_if(messages.begin(), messages.end(),
                      [](const MessageDefinition& message) { return hasMessages(message.kind); }));
    Identities identities = identitiesOf(messages);
    std::erase_if(identities, [](const auto& entry) { return !hasMessages(std::get<0>(entry.first)); });
    return count - identities.size();
}

std::string definitionSchema() {
    return SchemaWriter().write();
}

} // namespace rksignal
