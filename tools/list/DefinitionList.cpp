#include "list/DefinitionList.h"

#include "command/UsageError.h"
#include "decode/SignalSelection.h"
#include "output/DefinitionWords.h"
#include "text/ClosestNames.h"

#include <algorithm>
#include <cctype>
#include <fnmatch.h>
#include <string_view>
#include <unordered_map>

namespace rksignal {
namespace {

bool hasPart(const std::string& text, std::string_view part) {
    const auto same = [](unsigned char left, unsigned char right) {
        return std::tolower(left) == std::tolower(right);
    };
    return part.empty() ||
           std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

bool matches(const MessageDefinition& message, const std::string& pattern) {
    return fnmatch(pattern.c_str(), message.name.c_str(), 0) == 0 ||
           fnmatch(pattern.c_str(), shortIdentifier(message).c_str(), FNM_CASEFOLD) == 0;
}

void requireMatches(const Catalog& catalog, const std::vector<std::string>& patterns) {
    for (const std::string& pattern : patterns) {
        const bool isMatched =
            std::any_of(catalog.messages().begin(), catalog.messages().end(),
                        [&pattern](const MessageDefinition& message) { return matches(message, pattern); });
        if (!isMatched) {
            std::vector<std::string_view> names;
            for (const MessageDefinition& message : catalog.messages()) {
                names.push_back(message.name);
            }
            throw UsageError("--message " + pattern + " matches no message" + closestNames(pattern, names));
        }
    }
}

class Lister {
  public:
    Lister(const Catalog& catalog, const ListFilter& filter)
        : catalog(catalog), filter(filter), selected(selectSignals(catalog, filter.only)) {
        requireMatches(catalog, filter.messages);
        for (std::size_t i = 0; i < catalog.signals().size(); ++i) {
            const Catalog::Origin& origin = catalog.origin(i);
            built.emplace(&origin.definition(), i);
        }
    }

    std::vector<ListedMessage> run() {
        std::vector<ListedMessage> all;
        for (const MessageDefinition& message : catalog.messages()) {
            const auto& patterns = filter.messages;
            const bool isWanted = patterns.empty() || std::any_of(patterns.begin(), patterns.end(),
                                                                  [&message](const std::string& each) {
                                                                      return matches(message, each);
                                                                  });
            ListedMessage listed{&message, isWanted ? signalsOf(message) : std::vector<ListedSignal>()};
            const bool isEmptyOnPurpose = isWanted && filter.only.empty() && hasText(message);
            if (!listed.signals.empty() || isEmptyOnPurpose) {
                addByFrame(std::move(listed), all);
            }
        }
        return all;
    }

  private:
    /// A message of FlexRay or Ethernet may hold signals of several frames or PDUs: they become one each.
    static void addByFrame(ListedMessage listed, std::vector<ListedMessage>& all) {
        const bool hasPositions =
            listed.message->kind == SignalKind::FlexRay || listed.message->kind == SignalKind::Ethernet;
        if (!hasPositions || listed.signals.empty()) {
            all.push_back(std::move(listed));
            return;
        }
        std::unordered_map<std::string, std::size_t> frames; // by key, index in `all`
        for (ListedSignal& signal : listed.signals) {
            const auto [frame, isNew] =
                frames.emplace(frameKey(*listed.message, *signal.definition), all.size());
            if (isNew) {
                all.push_back({listed.message, {}});
            }
            all[frame->second].signals.push_back(std::move(signal));
        }
    }

    std::vector<ListedSignal> signalsOf(const MessageDefinition& message) const {
        std::vector<ListedSignal> listed;
        const bool isWhole = hasText(message);
        for (const SignalDefinition& signal : message.signals) {
            const auto entry = built.find(&signal);
            const bool isDecoded = entry != built.end();
            const bool isSelected = isDecoded ? selected[entry->second] : filter.only.empty();
            if (isSelected && (isWhole || hasText(signal.common()))) {
                const std::string& instance =
                    (isDecoded ? catalog.signals()[entry->second]->def : signal.common()).instance;
                listed.push_back({&signal, instance, isDecoded});
            }
        }
        return listed;
    }

    /// Also if no text is asked for.
    bool hasText(const MessageDefinition& message) const {
        return hasPart(message.name, filter.text) || hasPart(message.comment, filter.text) ||
               hasPart(message.sender, filter.text);
    }
    bool hasText(const baseSignalDef_t& signal) const {
        const auto& texts = signal.valueDescriptions;
        return hasPart(signal.instance, filter.text) || hasPart(signal.comment, filter.text) ||
               std::any_of(texts.begin(), texts.end(),
                           [this](const auto& entry) { return hasPart(entry.second, filter.text); });
    }

    const Catalog& catalog;
    const ListFilter& filter;
    std::vector<bool> selected;
    std::unordered_map<const SignalDefinition*, std::size_t> built; ///< by definition, index in the catalog
};

} // namespace

std::vector<ListedMessage> listDefinitions(const Catalog& catalog, const ListFilter& filter) {
    std::vector<ListedMessage> listed = Lister(catalog, filter).run();
    if (listed.empty() && !filter.text.empty()) {
        throw UsageError("--grep " + filter.text + ": no name, comment or value text holds it");
    }
    return listed;
}

} // namespace rksignal
