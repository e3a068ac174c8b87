#include "definition/ldf/LdfResolver.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <unordered_set>
#include <utility>

namespace rksignal {
namespace {

constexpr std::uint64_t greatestFrameId = 63;

/// Bytes of a frame without a length (LIN 1.3, 2.1): identifiers from 32 and from 48 on have more.
std::uint64_t defaultLength(std::uint64_t id) {
    return id < 32 ? 2 : id < 48 ? 4 : 8;
}

/// The identifier with its two parity bits (LIN 2.2A, 2.3.1.3), as the first byte of a frame has it.
std::uint64_t protectedId(std::uint64_t id) {
    const auto bit = [id](unsigned number) { return id >> number & 1; };
    const std::uint64_t even = bit(0) ^ bit(1) ^ bit(2) ^ bit(4);
    const std::uint64_t odd = 1 ^ bit(1) ^ bit(3) ^ bit(4) ^ bit(5);
    return id | even << 6 | odd << 7;
}

template <class Statement>
std::unordered_map<std::string_view, const Statement*> byName(const std::vector<Statement>& list) {
    std::unordered_map<std::string_view, const Statement*> found;
    for (const Statement& statement : list) {
        found.emplace(statement.name, &statement);
    }
    return found;
}

bool haveSameScaling(const LdfPhysicalRange& left, const LdfPhysicalRange& right) {
    return std::tie(left.scale, left.offset, left.unit) == std::tie(right.scale, right.offset, right.unit);
}

} // namespace

LdfResolver::LdfResolver(const LdfStatements& statements, DefinitionNotes& notes)
    : statements(statements), notes(notes), signals(byName(statements.signals)),
      groups(byName(statements.groups)), frames(byName(statements.frames)) {}

std::vector<MessageDefinition> LdfResolver::resolve(std::optional<std::uint8_t> bound) {
    channel = bound;
    for (const LdfSignal& signal : statements.signals) {
        if (signals[signal.name] != &signal) {
            notes.dropped(signal.line, "signal " + std::string(signal.name) +
                                           " is defined already; this definition is not used");
        }
    }
    applyRepresentations();
    readCycleTimes();
    for (const LdfFrame& frame : statements.frames) {
        addFrame(frame);
    }
    for (const LdfEventFrame& frame : statements.eventFrames) {
        addEventFrame(frame);
    }
    return std::move(messages);
}

void LdfResolver::applyRepresentations() {
    const auto known = byName(statements.encodings);
    std::unordered_set<const LdfEncoding*> noted;
    for (const LdfRepresentation& representation : statements.representations) {
        const auto encoding = known.find(representation.encoding);
        if (encoding == known.end()) {
            notes.dropped(representation.line, "there is no encoding " +
                                                   std::string(representation.encoding) +
                                                   "; its signals are raw numbers");
            continue;
        }
        if (noted.insert(encoding->second).second) {
            noteEncoding(*encoding->second);
        }
        for (const std::string_view signal : representation.signals) {
            const LdfEncoding*& chosen = encodings[signal];
            if (chosen != nullptr && chosen != encoding->second) {
                notes.dropped(representation.line, "signal " + std::string(signal) +
                                                       " has several encodings; the first one is taken");
            }
            chosen = chosen == nullptr ? encoding->second : chosen;
        }
    }
}

/// Says what of an encoding in use is not held.
void LdfResolver::noteEncoding(const LdfEncoding& encoding) {
    const std::string subject = "encoding " + std::string(encoding.name);
    const bool haveOthers =
        std::any_of(encoding.ranges.begin(), encoding.ranges.end(), [&](const LdfPhysicalRange& range) {
            return !haveSameScaling(range, encoding.ranges.front());
        });
    if (haveOthers) {
        notes.dropped(encoding.line,
                      subject +
                          " has ranges of different scaling; that of the first is taken for all values");
    }
    if (encoding.isBcd || encoding.isAscii) {
        notes.dropped(encoding.line, subject + (encoding.isBcd ? " is BCD" : " is ASCII text") +
                                         "; its signals are raw numbers");
    }
}

void LdfResolver::applyEncoding(const LdfEncoding& encoding, SignalDefinition& signal, FieldLayout& layout) {
    baseSignalDef_t& record = signal.common();
    if (!encoding.ranges.empty()) {
        const LdfPhysicalRange& first = encoding.ranges.front();
        record.scale = first.scale;
        record.offset = first.offset;
        record.unit = first.unit;
        for (const LdfPhysicalRange& range : encoding.ranges) {
            for (const std::uint64_t raw : {range.first, range.last}) {
                const double value = static_cast<double>(raw) * first.scale + first.offset;
                layout.minimum = std::min(layout.minimum.value_or(value), value);
                layout.maximum = std::max(layout.maximum.value_or(value), value);
            }
        }
    }
    for (const auto& [value, text] : encoding.values) {
        if (!text.empty()) {
            record.valueDescriptions.emplace(value, text);
        }
    }
}

/// A frame that a table has several times, or tables of different times, has none.
void LdfResolver::readCycleTimes() {
    for (const LdfSchedule& schedule : statements.schedules) {
        std::unordered_map<std::string_view, std::size_t> counts;
        for (const std::string_view frame : schedule.frames) {
            ++counts[frame];
        }
        for (const auto& [frame, count] : counts) {
            const double time = count == 1 ? schedule.milliseconds : 0;
            const auto [known, isNew] = cycleTimes.emplace(frame, time);
            if (!isNew && known->second != time) {
                known->second = 0;
            }
        }
    }
}

std::uint64_t LdfResolver::lengthOf(const LdfFrame& frame) const {
    return frame.length.value_or(frame.publisher.empty() ? 8 : defaultLength(frame.id));
}

MessageBuilder LdfResolver::frameBuilder(std::string_view name, std::uint64_t id, unsigned line) const {
    MessageDefinition message;
    message.kind = SignalKind::Lin;
    message.channel = channel;
    message.name = name;
    message.id = static_cast<std::uint32_t>(std::min<std::uint64_t>(id, greatestFrameId + 1));
    if (const auto time = cycleTimes.find(name); time != cycleTimes.end() && time->second > 0) {
        message.cycleTime = time->second;
    }
    return {std::move(message), line, notes};
}

void LdfResolver::addFrame(const LdfFrame& frame) {
    MessageBuilder builder = frameBuilder(frame.name, frame.id, frame.line);
    constexpr std::uint64_t longest = 8;
    const std::uint64_t length = lengthOf(frame);
    if (!builder.isUsable()) {
        return;
    }
    if (length == 0 || length > longest) {
        return notes.dropped(frame.line, "message " + std::string(frame.name) + " dropped: its length of " +
                                             std::to_string(length) + " bytes is none of LIN");
    }
    builder.message().length = static_cast<std::uint16_t>(length);
    const bool isRequest = frame.publisher.empty() && frame.name == "MasterReq";
    builder.message().sender = isRequest ? statements.master : frame.publisher;
    for (const LdfPlace& place : frame.signals) {
        const auto group = groups.find(place.name);
        if (group == groups.end()) {
            addSignal(place, place.offset, builder);
            continue;
        }
        for (const LdfPlace& member : group->second->signals) {
            if (!expansion.take(Expansion::object)) {
                return notes.dropped(place.line, "message " + std::string(frame.name) +
                                                     " dropped: the file repeats its groups too often");
            }
            addSignal({member.name, member.offset, place.line}, place.offset + member.offset, builder);
        }
    }
    messages.push_back(builder.take());
}

void LdfResolver::addSignal(const LdfPlace& place, std::uint64_t offset, MessageBuilder& builder) {
    const auto known = signals.find(place.name);
    if (known == signals.end()) {
        return notes.error(place.line, "signal " + std::string(place.name) + " of message " +
                                           builder.message().name + " dropped: it is not defined");
    }
    const LdfSignal& definition = *known->second;
    SignalDefinition signal;
    signal.record = linSignalDef_t{};
    signal.common().signal = place.name;
    signal.initial = definition.initial;
    signal.receivers.assign(definition.subscribers.begin(), definition.subscribers.end());
    FieldLayout layout;
    layout.startbit = offset;
    layout.bits = definition.bits;
    const auto encoding = encodings.find(place.name);
    if (!expansion.take(encoding == encodings.end() ? 0 : encoding->second->bytes)) {
        notes.dropped(place.line, "signal " + std::string(place.name) + " of message " +
                                      builder.message().name + " has no encoding: the file repeats too many");
    } else if (encoding != encodings.end()) {
        applyEncoding(*encoding->second, signal, layout);
    }
    builder.add(std::move(signal), layout, place.line);
}

/// Its first byte says which frame it carries (LIN 2.2A, 2.3.3.2).
void LdfResolver::addEventFrame(const LdfEventFrame& frame) {
    MessageBuilder builder = frameBuilder(frame.name, frame.id, frame.line);
    if (!builder.isUsable()) {
        return;
    }
    SignalDefinition signal;
    linSignalDef_t record;
    record.signal = "ProtectedId";
    for (const std::string_view name : frame.frames) {
        const auto carried = frames.find(name);
        if (carried == frames.end() || carried->second->id > greatestFrameId) {
            notes.error(frame.line, "event-triggered frame " + std::string(frame.name) +
                                        " carries a frame that is not defined: " + std::string(name));
            continue;
        }
        const std::uint64_t length = std::min<std::uint64_t>(lengthOf(*carried->second), 8);
        builder.message().length = std::max(builder.message().length, static_cast<std::uint16_t>(length));
        record.valueDescriptions.emplace(protectedId(carried->second->id), name);
    }
    notes.guess(frame.line, "event-triggered frame " + std::string(frame.name) +
                                ": of the frame that it carries, only the identifier is decoded");
    signal.record = std::move(record);
    FieldLayout layout;
    layout.bits = 8;
    builder.add(std::move(signal), layout, frame.line);
    messages.push_back(builder.take());
}

} // namespace rksignal
