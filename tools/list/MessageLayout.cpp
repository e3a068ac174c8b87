#include "list/MessageLayout.h"

#include "output/BitTable.h"
#include "output/DefinitionWords.h"
#include "text/PrintableText.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

/// A, B, ... Z, AA, AB, ...
std::string labelOf(std::size_t number) {
    constexpr std::size_t letters = 26;
    std::string label;
    for (std::size_t rest = number + 1; rest > 0; rest = (rest - 1) / letters) {
        label.insert(label.begin(), static_cast<char>('A' + (rest - 1) % letters));
    }
    return label;
}

/// Signals that are present together, by index in the list.
using Group = std::vector<std::size_t>;

class LayoutDrawer {
  public:
    LayoutDrawer(const ListedMessage& listed, const TerminalStyle& style) : listed(listed), style(style) {
        for (std::size_t i = 0; i < listed.signals.size(); ++i) {
            const SignalDefinition* const signal = listed.signals[i].definition;
            byDefinition.emplace(signal - listed.message->signals.data(), i);
        }
    }

    std::string run() {
        Group always;
        std::set<std::size_t> multiplexers;
        for (std::size_t i = 0; i < listed.signals.size(); ++i) {
            const auto& multiplexing = listed.signals[i].definition->multiplexing;
            if (!multiplexing) {
                always.push_back(i);
            } else if (multiplexing->multiplexer) {
                multiplexers.insert(*multiplexing->multiplexer);
            }
        }
        std::string text = multiplexers.empty() || !always.empty() ? draw(always) : "";
        for (const std::size_t multiplexer : multiplexers) {
            for (const auto& [members, ranges] : branchesOf(multiplexer)) {
                text += "\n  " + nameOf(multiplexer) + " = " + rangesText(ranges) + "\n" +
                        draw(with(chainOf(multiplexer), with(always, members)));
            }
        }
        return text + "\n" + legend();
    }

  private:
    std::string nameOf(std::size_t definition) const {
        return printable(listed.message->signals[definition].common().signal);
    }

    /// In ascending order.
    static Group with(const Group& left, const Group& right) {
        std::set<std::size_t> both(left.begin(), left.end());
        both.insert(right.begin(), right.end());
        return {both.begin(), both.end()};
    }

    /// The multiplexer, and those that it depends on, as far as they are listed.
    Group chainOf(std::size_t multiplexer) const {
        Group chain;
        for (std::optional<std::size_t> next = multiplexer; next;) {
            const auto entry = byDefinition.find(static_cast<std::ptrdiff_t>(*next));
            if (entry != byDefinition.end()) {
                chain.push_back(entry->second);
            }
            const auto& above = listed.message->signals[*next].multiplexing;
            next = above ? above->multiplexer : std::nullopt;
        }
        return chain;
    }

    /// The signals that values of the multiplexer select together, with the values; in the order of values.
    std::vector<std::pair<Group, std::vector<ValueRange>>> branchesOf(std::size_t multiplexer) const {
        std::map<std::uint64_t, std::pair<Group, Group>>
            edges; // by value: signals that begin, and that have ended
        for (std::size_t i = 0; i < listed.signals.size(); ++i) {
            const auto& multiplexing = listed.signals[i].definition->multiplexing;
            if (multiplexing && multiplexing->multiplexer == multiplexer) {
                for (const auto& [first, last] : multiplexing->ranges) {
                    edges[first].first.push_back(i);
                    if (last != ~std::uint64_t{0}) {
                        edges[last + 1].second.push_back(i);
                    }
                }
            }
        }
        std::vector<std::pair<Group, std::vector<ValueRange>>> branches;
        std::multiset<std::size_t> present;
        for (auto edge = edges.begin(); edge != edges.end(); ++edge) {
            for (const std::size_t signal : edge->second.second) {
                present.erase(present.find(signal));
            }
            present.insert(edge->second.first.begin(), edge->second.first.end());
            const auto next = std::next(edge);
            const ValueRange range{edge->first, next != edges.end() ? next->first - 1 : ~std::uint64_t{0}};
            if (!present.empty()) {
                addBranch(Group(present.begin(), present.end()), range, branches);
            }
        }
        return branches;
    }

    static void addBranch(Group members, const ValueRange& range,
                          std::vector<std::pair<Group, std::vector<ValueRange>>>& branches) {
        members.erase(std::unique(members.begin(), members.end()), members.end());
        const auto same = std::find_if(branches.begin(), branches.end(),
                                       [&members](const auto& branch) { return branch.first == members; });
        if (same != branches.end()) {
            same->second.push_back(range);
        } else {
            branches.emplace_back(std::move(members), std::vector<ValueRange>{range});
        }
    }

    std::string draw(const Group& group) {
        BitTable table(listed.message->length, style);
        std::map<std::size_t, std::size_t> owners; // by bit
        std::set<std::pair<std::size_t, std::size_t>> overlaps;
        for (const std::size_t signal : group) {
            const std::vector<std::size_t> bits = BitRange::of(*listed.signals[signal].definition).numbers();
            for (std::size_t i = 0; i < bits.size(); ++i) {
                table.add(bits[i], labelOf(signal) + (bits.size() > 1 ? std::to_string(i) : ""), signal + 1);
                const auto [owner, isFree] = owners.emplace(bits[i], signal);
                if (!isFree) {
                    overlaps.emplace(owner->second, signal);
                }
            }
        }
        std::string text = table.text();
        for (const auto& [left, right] : overlaps) {
            text += "      " + labelOf(left) + " and " + labelOf(right) + " overlap\n";
        }
        return text;
    }

    std::string legend() const {
        std::string text;
        for (std::size_t i = 0; i < listed.signals.size(); ++i) {
            const ListedSignal& signal = listed.signals[i];
            const std::string branch = branchText(*listed.message, *signal.definition);
            text += "  " + labelOf(i) + "  " + printable(signal.instance) + ": " +
                    fieldText(*signal.definition) + (branch.empty() ? "" : ", while " + printable(branch)) +
                    "\n";
        }
        return text;
    }

    const ListedMessage& listed;
    TerminalStyle style;
    std::map<std::ptrdiff_t, std::size_t> byDefinition; ///< index in the list by that in the definition
};

} // namespace

std::string layoutText(const ListedMessage& listed, const TerminalStyle& style) {
    const bool hasPayload = listed.message->kind <= SignalKind::Ethernet && !listed.signals.empty();
    return hasPayload ? LayoutDrawer(listed, style).run() : "";
}

} // namespace rksignal
