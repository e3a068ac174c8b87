#include "definition/json/DefinitionFile.h"

#include "definition/json/DefinitionKinds.h"
#include "definition/json/JsonTree.h"
#include "text/ClosestNames.h"
#include "trace/LineReader.h"

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

class DocumentReader {
  public:
    explicit DocumentReader(Findings& findings) : findings(findings) {}

    SignalDefinitions read(const JsonValue& document) {
        if (!document.is_object()) {
            findings.expected("an object", document, Place());
            return {};
        }
        readSchemaName(document);
        std::vector<std::string_view> names = {"$schema"};
        forEachKind([&](const auto& kind) {
            names.emplace_back(kind.name);
            if (document.contains(kind.name)) {
                readKind(kind, document[kind.name]);
            }
        });
        findUnknownMembers(document, names, Place(), findings);
        return std::move(definitions);
    }

  private:
    /// Editors look for it; it says nothing about the signals.
    void readSchemaName(const JsonValue& document) {
        if (document.contains("$schema")) {
            TextCodec().read(document["$schema"], Place() / "$schema", findings);
        }
    }

    template <class Kind>
    void readKind(const Kind& kind, const JsonValue& array) {
        const Place place = Place() / kind.name;
        if (!array.is_array()) {
            findings.expected("an array", array, place);
            return;
        }
        for (std::size_t i = 0; i < array.size(); ++i) {
            readDefinition(kind, array[i], place / i);
        }
    }

    template <class Kind>
    void readDefinition(const Kind& kind, const JsonValue& object, const Place& place) {
        const std::size_t before = findings.count();
        auto record = kind.defaults(nameIn(object));
        readFields(kind.fields, object, place, findings, record);
        if (findings.count() == before) {
            checkDefinition(kind, record, place);
        }
        const std::string text = findings.file() + "#" + place.to_string();
        const bool anyChannel = kind.anyChannel && !object.contains("channel");
        (definitions.*kind.list).push_back({std::move(record), text, anyChannel});
    }

    /// The instance name, as far as there is one.
    static std::string nameIn(const JsonValue& object) {
        const bool hasName = object.is_object() && object.contains("instance");
        return hasName && object["instance"].is_string() ? object["instance"].get<std::string>() : "";
    }

    template <class Kind>
    void checkDefinition(const Kind& kind, const typename Kind::Record& record, const Place& place) {
        const std::string wrong = kind.check(record);
        if (!wrong.empty()) {
            findings.add(place, wrong);
        }
        const auto [earlier, isNew] = placesByName.emplace(record.instance, place.to_string());
        if (!isNew) {
            findings.add(place / "instance", "expected a name of its own, found that of #" + earlier->second);
        }
    }

    Findings& findings;
    SignalDefinitions definitions;
    std::unordered_map<std::string, std::string> placesByName;
};

} // namespace

SignalDefinitions parseSignalDefinitions(std::string_view text, const std::string& file) {
    Findings findings(file);
    SignalDefinitions definitions;
    if (const auto document = parseJson(text, findings)) {
        definitions = DocumentReader(findings).read(*document);
    }
    findings.throwIfAny();
    return definitions;
}

SignalDefinitions readSignalDefinitions(const std::string& path) {
    return parseSignalDefinitions(InputFile(path).readAll(), path);
}

} // namespace rksignal
