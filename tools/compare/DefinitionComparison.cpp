#include "compare/DefinitionComparison.h"

#include "definition/json/DefinitionText.h"
#include "survey/FrameIdentity.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace rksignal {
namespace {

using nlohmann::json;

/// What definition files leave out where a field has its default.
class FieldDefaults {
  public:
    FieldDefaults() : schema(json::parse(definitionSchema())) {}

    /// Null if there is none.
    json of(SignalKind kind, const std::string& field) const {
        const json& fields = schema["properties"][std::string(kindName(kind))]["items"]["properties"];
        return fields.contains(field) ? defaultOf(fields[field]) : json();
    }

  private:
    json defaultOf(const json& field) const {
        if (field.contains("default")) {
            return field["default"];
        }
        return field.contains("$ref")
                   ? defaultOf(schema.at(json::json_pointer(field["$ref"].get<std::string>().substr(1))))
                   : json();
    }

    json schema;
};

/// What tells a message from others. Those of inputs and of Ethernet have no identifier, but a name.
auto messageKey(const MessageDefinition& message) {
    const bool hasId = message.kind == SignalKind::Can || message.kind == SignalKind::Lin ||
                       message.kind == SignalKind::FlexRay;
    return std::tuple(message.kind, message.channel, message.id, message.extended, message.pduId,
                      hasId ? "" : message.name);
}

/// `can 1A0 Engine`, of a channel `can 0 1A0 Engine`
std::string objectName(const MessageDefinition& message) {
    std::string text(kindName(message.kind));
    text += message.channel ? ' ' + std::to_string(*message.channel) : "";
    const std::string id = identityText({message.kind, message.extended, {}, message.id, {}});
    text += message.kind == SignalKind::Ethernet || id.empty() ? "" : ' ' + id;
    text += message.pduId ? " PDU " + std::to_string(*message.pduId) : "";
    return message.name.empty() ? text : text + ' ' + message.name;
}

/// The signals of a message as definition files have them, without what they say of the message, by name.
std::map<std::string, json> signalsOf(const MessageDefinition& message) {
    const json file = json::parse(definitionText({message}));
    const json array = file.value(std::string(kindName(message.kind)), json::array());
    std::map<std::string, json> signals;
    for (std::size_t i = 0; i < array.size(); ++i) {
        json fields = array[i];
        const std::string name = fields.value("signal", fields.value("instance", std::string()));
        for (const char* const other : {"instance", "signal", "channel", "msgId", "extended", "canFD",
                                        "j1939", "pduId", "message", "sender"}) {
            fields.erase(other);
        }
        signals.emplace(signals.contains(name) ? name + '#' + std::to_string(i) : name, std::move(fields));
    }
    return signals;
}

class DefinitionComparison {
  public:
    explicit DefinitionComparison(std::vector<Difference>& differences) : differences(differences) {}

    void compare(const std::vector<MessageDefinition>& left, const std::vector<MessageDefinition>& right) {
        std::multimap<decltype(messageKey({})), const MessageDefinition*> open;
        for (const MessageDefinition& message : right) {
            open.emplace(messageKey(message), &message);
        }
        for (const MessageDefinition& message : left) {
            const auto [begin, end] = open.equal_range(messageKey(message));
            const auto sameName = std::find_if(
                begin, end, [&message](const auto& each) { return each.second->name == message.name; });
            const auto other = sameName != end ? sameName : begin;
            if (other == end) {
                differences.push_back({objectName(message), "", true, {}});
            } else {
                compareMessages(message, *other->second);
                open.erase(other);
            }
        }
        for (const auto& [key, message] : open) {
            differences.push_back({objectName(*message), "", {}, true});
        }
    }

  private:
    void compareMessages(const MessageDefinition& left, const MessageDefinition& right) {
        const std::string object = objectName(left);
        const auto field = [&](const char* name, const json& first, const json& second) {
            compareValues(object, name, first, second);
        };
        field("name", left.name, right.name);
        field("length", left.length, right.length);
        field("sender", left.sender, right.sender);
        field("cycleTime", left.cycleTime ? json(*left.cycleTime) : json(),
              right.cycleTime ? json(*right.cycleTime) : json());
        field("canFD", left.canFd, right.canFd);
        field("j1939", left.isParameterGroup, right.isParameterGroup);
        field("comment", left.comment, right.comment);
        compareSignals(left.kind, object, signalsOf(left), signalsOf(right));
    }

    void compareSignals(SignalKind kind, const std::string& message, const std::map<std::string, json>& left,
                        const std::map<std::string, json>& right) {
        for (const auto& [name, fields] : left) {
            if (const auto other = right.find(name); other != right.end()) {
                compareFields(kind, message + ' ' + name, fields, other->second);
            } else {
                differences.push_back({message + ' ' + name, "", true, {}});
            }
        }
        for (const auto& [name, fields] : right) {
            if (!left.contains(name)) {
                differences.push_back({message + ' ' + name, "", {}, true});
            }
        }
    }

    void compareFields(SignalKind kind, const std::string& object, const json& left, const json& right) {
        std::set<std::string> names;
        for (const json* const side : {&left, &right}) {
            for (const auto& [name, value] : side->items()) {
                names.insert(name);
            }
        }
        for (const std::string& name : names) {
            const json byDefault = defaults.of(kind, name);
            compareValues(object, name, left.value(name, byDefault), right.value(name, byDefault));
        }
    }

    /// Of value texts, member by member.
    void compareValues(const std::string& object, const std::string& name, const json& left,
                       const json& right) {
        if (left == right) {
            return;
        }
        if (!left.is_object() || !right.is_object()) {
            differences.push_back({object, name, left, right});
            return;
        }
        std::set<std::string> members;
        for (const json* const side : {&left, &right}) {
            for (const auto& [member, value] : side->items()) {
                members.insert(member);
            }
        }
        for (const std::string& member : members) {
            compareValues(object, name + ' ' + member, left.value(member, json()),
                          right.value(member, json()));
        }
    }

    FieldDefaults defaults;
    std::vector<Difference>& differences;
};

} // namespace

void compareDefinitions(const Catalog& left, const Catalog& right, std::vector<Difference>& differences) {
    DefinitionComparison(differences).compare(left.decodedMessages(), right.decodedMessages());
}

} // namespace rksignal
