#include "definition/json/JsonDefinitions.h"

#include "definition/json/DefinitionKinds.h"
#include "definition/json/JsonTree.h"
#include "definition/json/MessageFields.h"
#include "file/Unpack.h"
#include "text/ClosestNames.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <map>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <utility>

namespace rksignal {

void findUnknownMembers(const JsonValue& object, const std::vector<std::string_view>& names,
                        const Place& place, Findings& findings) {
    for (const auto& [name, value] : object.items()) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            findings.add(place,
                         "expected a known member, found " + shownValue(name) + closestNames(name, names));
        }
    }
}

namespace {

/// The message that a signal belongs to, as far as the signal says it.
template <class Row>
MessageDefinition messageOf(const Row& row, SignalKind kind, bool anyChannel) {
    MessageDefinition message;
    message.kind = kind;
    if (hasMessages(kind)) {
        message.channel = anyChannel ? std::nullopt : std::optional(row.channel);
        message.name = row.message;
    }
    if constexpr (requires { row.msgId; }) { // of CAN and LIN
        message.id = row.msgId;
    }
    if constexpr (requires { row.pduId; }) {
        message.extended = row.extended;
        message.canFd = row.canFD;
        message.isParameterGroup = row.j1939;
        message.pduId = row.pduId;
        message.pduHeader = row.pduHeader;
        message.sender = row.sender;
    }
    if constexpr (std::is_base_of_v<flexRaySignalDef_t, Row>) {
        message.id = row.positions.front().slot;
    }
    return message;
}

class DocumentReader {
  public:
    explicit DocumentReader(Findings& findings) : findings(findings) {}

    std::vector<MessageDefinition> read(const JsonValue& document) {
        if (!document.is_object()) {
            findings.expected("an object", document, Place());
            return {};
        }
        if (!readVersion(document)) {
            return {};
        }
        std::vector<std::string_view> names = {"$schema", "version", "messages"};
        if (document.contains("$schema")) { // editors look for it; it says nothing about the signals
            TextCodec().read(document["$schema"], Place() / "$schema", findings);
        }
        readArray(document, "messages", [this](auto&&... each) { readMessage(each...); });
        forEachKind([&](const auto& kind) {
            names.push_back(kindName(kind.kind));
            readArray(document, kindName(kind.kind), [&](auto&&... each) { readDefinition(kind, each...); });
        });
        findUnknownMembers(document, names, Place(), findings);
        linkMultiplexers();
        nameMessages();
        return std::move(messages);
    }

  private:
    struct SignalPlace {
        std::size_t message, signal;
        std::string text; ///< `/can/3`
    };
    struct Link {
        SignalPlace signal;
        std::optional<std::string> multiplexer; ///< none: the first of the message
    };

    template <class Read>
    void readArray(const JsonValue& document, std::string_view name, Read&& read) {
        const auto array = document.find(name);
        if (array == document.end()) {
            return;
        }
        const Place place = Place() / std::string(name);
        if (!array->is_array()) {
            findings.expected("an array", *array, place);
            return;
        }
        for (std::size_t i = 0; i < array->size(); ++i) {
            read((*array)[i], place / i);
        }
    }

    /// \return whether the file can be read: of a version of the future one cannot tell what it says
    bool readVersion(const JsonValue& document) {
        const auto member = document.find("version");
        if (member == document.end()) {
            return true;
        }
        const Place place = Place() / "version";
        const auto read =
            IntegerCodec{1, std::numeric_limits<std::uint64_t>::max()}.read(*member, place, findings);
        version = read.value_or(version);
        if (version <= formVersion) {
            return true;
        }
        findings.add(place, "expected a version up to " + std::to_string(formVersion) + ", found " +
                                std::to_string(version) + ", which a later program reads");
        return false;
    }

    /// Where nothing says otherwise.
    bool isOfAnyChannel(SignalKind kind) const { return kind == SignalKind::Can || version >= 2; }

    static SignalKind messageKindIn(const JsonValue& object) {
        const bool hasKind = object.is_object() && object.contains("kind");
        const auto* const kind =
            std::find_if(std::begin(messageKinds), std::end(messageKinds),
                         [&](SignalKind each) { return hasKind && object["kind"] == kindName(each); });
        return kind != std::end(messageKinds) ? *kind : SignalKind::Can;
    }

    void readMessage(const JsonValue& object, const Place& place) {
        const std::size_t before = findings.count();
        MessageDefinition message;
        message.kind = messageKindIn(object);
        readFields(messageFields(message.kind), object, place, findings, message);
        if (findings.count() != before) {
            return;
        }
        if (!message.channel && !isOfAnyChannel(message.kind)) {
            message.channel = std::uint8_t{0};
        }
        if (const std::string wrong = checkMessage(message); !wrong.empty()) {
            findings.add(place, wrong);
        }
        const std::size_t known = messages.size();
        if (const std::size_t index = indexOf(std::move(message), place); index < known) {
            findings.add(place, "expected a message of its own, found that of " + messages[index].place);
        }
    }

    /// Of the message with the same identity, which is added if it is new.
    std::size_t indexOf(MessageDefinition&& message, const Place& place) {
        const auto identity =
            std::tuple(message.kind, message.id, message.extended, message.canFd, message.isParameterGroup,
                       message.channel, message.pduId, message.pduHeader, message.name);
        const auto [entry, isNew] = indices.try_emplace(identity, messages.size());
        if (isNew) {
            message.place = findings.placeText(place);
            messages.push_back(std::move(message));
        }
        return entry->second;
    }

    template <class Kind>
    void readDefinition(const Kind& kind, const JsonValue& object, const Place& place) {
        const std::size_t before = findings.count();
        auto row = kind.defaults(nameIn(object));
        readFields(kind.fields, object, place, findings, row);
        if (findings.count() == before) {
            checkDefinition(kind, row, place);
        }
        if (findings.count() == before) {
            addSignal(kind, std::move(row), !object.contains("channel") && isOfAnyChannel(kind.kind), place);
        }
    }

    template <class Kind>
    void addSignal(const Kind& kind, typename Kind::Row&& row, bool anyChannel, const Place& place) {
        const std::size_t index = indexOf(messageOf(row, kind.kind, anyChannel), place);
        std::vector<SignalDefinition>& signals = messages[index].signals;
        const SignalPlace signal{index, signals.size(), place.to_string()};
        placesByName[row.instance] = signal;
        SignalDefinition definition;
        definition.minimum = row.minimum;
        definition.maximum = row.maximum;
        definition.initial = row.initial;
        definition.invalid = row.invalid;
        definition.receivers = std::move(row.receivers);
        definition.place = findings.placeText(place);
        if constexpr (requires { row.pduId; }) { // of CAN
            if (row.multiplexed) {
                links.push_back({signal, std::move(row.multiplexedBy)});
                definition.multiplexing = rangesOf(row);
            }
        }
        definition.record = static_cast<typename Kind::Record&&>(row);
        signals.push_back(std::move(definition));
    }

    static Multiplexing rangesOf(SignalRow<canSignalDef_t>& row) {
        if (row.muxValues.empty()) {
            return {std::nullopt, {{row.mux, row.mux}}};
        }
        row.mux = firstSelector(row.muxValues);
        return {std::nullopt, std::move(row.muxValues)};
    }

    /// The instance name, as far as there is one.
    static std::string nameIn(const JsonValue& object) {
        const bool hasName = object.is_object() && object.contains("instance");
        return hasName && object["instance"].is_string() ? object["instance"].get<std::string>() : "";
    }

    template <class Kind>
    void checkDefinition(const Kind& kind, const typename Kind::Row& row, const Place& place) {
        const std::string wrong = kind.check(row);
        if (!wrong.empty()) {
            findings.add(place, wrong);
        }
        if (const auto earlier = placesByName.find(row.instance); earlier != placesByName.end()) {
            findings.add(place / "instance",
                         "expected a name of its own, found that of #" + earlier->second.text);
        }
    }

    void linkMultiplexers() {
        std::vector<std::optional<std::size_t>> first;
        std::transform(messages.begin(), messages.end(), std::back_inserter(first), firstMultiplexer);
        for (const Link& link : links) {
            MessageDefinition& message = messages[link.signal.message];
            message.signals[link.signal.signal].multiplexing->multiplexer =
                link.multiplexer ? multiplexerCalled(*link.multiplexer, link.signal)
                                 : first[link.signal.message];
        }
        findCycles();
    }

    std::optional<std::size_t> multiplexerCalled(const std::string& instance, const SignalPlace& signal) {
        const auto found = placesByName.find(instance);
        if (found != placesByName.end() && found->second.message == signal.message &&
            messages[signal.message].signals[found->second.signal].can().multiplexer != 0) {
            return found->second.signal;
        }
        findings.expected("the instance of a multiplexer of the same message", instance,
                          Place(signal.text) / "multiplexedBy");
        return std::nullopt;
    }

    /// Follows each chain of multiplexers up to what an earlier walk has seen; what the same walk has seen
    /// closes a cycle.
    void findCycles() {
        std::map<std::pair<std::size_t, std::size_t>, std::size_t> walks; // by message and signal
        for (std::size_t walk = 0; walk < links.size(); ++walk) {
            const SignalPlace& start = links[walk].signal;
            std::optional<std::size_t> at = start.signal;
            while (at && walks.try_emplace({start.message, *at}, walk).second) {
                const auto& multiplexing = messages[start.message].signals[*at].multiplexing;
                at = multiplexing ? multiplexing->multiplexer : std::nullopt;
            }
            if (at && walks.at({start.message, *at}) == walk) {
                findings.add(Place(start.text) / "multiplexedBy",
                             "expected a chain of multiplexers that ends, found a cycle");
            }
        }
    }

    void nameMessages() {
        for (MessageDefinition& message : messages) {
            if (message.name.empty()) {
                message.name = namelessCalled(message);
            }
        }
    }

    Findings& findings;
    std::uint64_t version = 1;
    std::vector<MessageDefinition> messages;
    std::map<std::tuple<SignalKind, std::uint32_t, bool, bool, bool, std::optional<std::uint8_t>,
                        std::optional<std::uint32_t>, PduHeader, std::string>,
             std::size_t>
        indices; ///< in `messages`
    std::unordered_map<std::string, SignalPlace> placesByName;
    std::vector<Link> links;
};

} // namespace

DefinitionFile parseJsonDefinitions(std::string_view text, const std::string& file) {
    Findings findings(file);
    DefinitionFile definitions{file, {}, RemarkList(), /*choosesInstances=*/true};
    if (const auto document = parseJson(text, findings)) {
        definitions.messages = DocumentReader(findings).read(*document);
    }
    findings.throwIfAny();
    return definitions;
}

DefinitionFile readJsonDefinitions(const std::string& path) {
    return parseJsonDefinitions(uncompressed(std::make_unique<InputFile>(path))->readAll(), path);
}

} // namespace rksignal
