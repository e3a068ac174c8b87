/// \file
/// The blocks of a symbol as messages.
#include "definition/sym/SymReader.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t mostMessages = 256; ///< of one symbol
constexpr std::uint16_t classicSymBytes = 8;

auto placeIn(const FieldLayout& layout) {
    return std::tie(layout.startbit, layout.bits, layout.bigEndian);
}

bool isAlike(const SymVariable& left, const SymVariable& right) {
    const baseSignalDef_t& a = left.signal.common();
    const baseSignalDef_t& b = right.signal.common();
    return placeIn(left.layout) == placeIn(right.layout) && left.layout.type == right.layout.type &&
           std::tie(a.signal, a.scale, a.offset, a.unit, a.valueDescriptions) ==
               std::tie(b.signal, b.scale, b.offset, b.unit, b.valueDescriptions);
}

/// What of a symbol does not depend on its identifier.
class SymSymbol {
  public:
    SymSymbol(std::span<SymBlock* const> blocks, DefinitionNotes& notes)
        : blocks(blocks), first(*blocks.front()), notes(notes) {
        for (const SymBlock* const block : blocks) {
            collect(*block);
        }
    }

    /// \return false if its type is none of frames with data
    bool readType() {
        const std::string& type = first.type;
        const bool isFd = type.starts_with("FD");
        const std::string_view format = std::string_view(type).substr(isFd ? 2 : 0);
        message.extended = type.empty() ? first.hasLongId : format == "Extended";
        if (!type.empty() && format != "Extended" && format != "Standard") {
            notes.dropped(first.line, "symbol " + first.name + " dropped: it is of type " + type);
            return false;
        }
        message.name = first.name;
        message.comment = first.comment;
        message.cycleTime = first.cycleTime;
        for (const SymBlock* const block : blocks) {
            message.length = std::max(message.length, block->length);
        }
        message.canFd = isFd || message.length > classicSymBytes;
        return true;
    }

    void build(std::uint32_t id, std::optional<std::uint8_t> channel,
               std::vector<MessageDefinition>& messages) {
        message.id = id;
        message.channel = channel;
        MessageBuilder builder(message, first.line, isFirst ? notes : unheard);
        if (builder.isUsable()) {
            addSignals(builder, isFirst ? notes : unheard);
            messages.push_back(builder.take());
        }
        isFirst = false;
    }

    /// The memory that a message takes, roughly.
    std::size_t size() const { return bytes; }

  private:
    struct Member {
        const SymVariable* variable;
        std::optional<std::size_t> multiplexer; ///< index in `multiplexers`
        std::vector<ValueRange> values;
    };
    struct Selector {
        const SymMultiplexer* multiplexer; ///< the first one at its place
        std::map<std::uint64_t, std::string> texts;
    };

    void collect(const SymBlock& block) {
        if (block.isUnreadable) {
            return;
        }
        std::optional<std::size_t> multiplexer;
        std::vector<ValueRange> values;
        if (block.multiplexer) {
            multiplexer = selectorFor(*block.multiplexer);
            values.push_back(block.multiplexer->values);
            selectors[*multiplexer].texts[values.front().first] = block.multiplexer->name;
        }
        for (const SymVariable& variable : block.variables) {
            addMember({&variable, multiplexer, values});
        }
    }

    std::size_t selectorFor(const SymMultiplexer& multiplexer) {
        const auto known = std::find_if(selectors.begin(), selectors.end(), [&](const Selector& each) {
            return placeIn(each.multiplexer->layout) == placeIn(multiplexer.layout);
        });
        if (known != selectors.end()) {
            return static_cast<std::size_t>(known - selectors.begin());
        }
        selectors.push_back({&multiplexer, {}});
        return selectors.size() - 1;
    }

    /// A variable that other blocks have alike is theirs too.
    void addMember(Member member) {
        const auto [known, isNew] =
            byName.try_emplace(member.variable->signal.common().signal, members.size());
        if (!isNew && members[known->second].multiplexer == member.multiplexer &&
            isAlike(*members[known->second].variable, *member.variable)) {
            auto& values = members[known->second].values;
            values.insert(values.end(), member.values.begin(), member.values.end());
            return;
        }
        bytes += member.variable->bytes;
        members.push_back(std::move(member));
    }

    void addSignals(MessageBuilder& builder, DefinitionNotes& told) {
        std::vector<std::optional<std::size_t>> indices;
        for (const Selector& selector : selectors) {
            SignalDefinition signal;
            canSignalDef_t record;
            record.signal = selector.multiplexer->name;
            record.multiplexer = 1;
            record.valueDescriptions = selector.texts;
            signal.record = std::move(record);
            indices.push_back(
                builder.add(std::move(signal), selector.multiplexer->layout, selector.multiplexer->line));
        }
        for (const Member& member : members) {
            SignalDefinition signal = member.variable->signal;
            if (member.multiplexer && !indices[*member.multiplexer]) {
                told.dropped(member.variable->line,
                             "signal " + signal.common().signal + " dropped with its multiplexer");
                continue;
            }
            if (member.multiplexer) {
                signal.multiplexing = Multiplexing{indices[*member.multiplexer], member.values};
            }
            const auto index = builder.add(std::move(signal), member.variable->layout, member.variable->line);
            if (index && member.variable->initial) {
                SignalDefinition& added = builder.message().signals[*index];
                added.initial = rawWordOf(added.common(), *member.variable->initial);
            }
        }
    }

    std::span<SymBlock* const> blocks;
    const SymBlock& first;
    DefinitionNotes& notes;
    DefinitionNotes unheard{notes.filePath()}; ///< the same of further identifiers
    MessageDefinition message;
    bool isFirst = true;
    std::size_t bytes = Expansion::object;
    std::vector<Selector> selectors;
    std::vector<Member> members;
    std::unordered_map<std::string, std::size_t> byName; ///< the first member of a name
};

} // namespace

void buildSymMessages(std::span<SymBlock* const> blocks, std::optional<std::uint8_t> channel,
                      Expansion& expansion, DefinitionNotes& notes,
                      std::vector<MessageDefinition>& messages) {
    SymSymbol symbol(blocks, notes);
    if (!symbol.readType()) {
        return;
    }
    std::size_t made = 0;
    for (const auto& [firstId, lastId] : blocks.front()->ids) {
        for (std::uint64_t id = firstId; id <= lastId; ++id) {
            if (made == mostMessages || (made > 0 && !expansion.take(symbol.size()))) {
                return notes.dropped(blocks.front()->line, "symbol " + blocks.front()->name +
                                                               " has too many identifiers; only the first " +
                                                               std::to_string(made) + " are used");
            }
            symbol.build(static_cast<std::uint32_t>(id), channel, messages);
            ++made;
        }
    }
}

} // namespace rksignal
