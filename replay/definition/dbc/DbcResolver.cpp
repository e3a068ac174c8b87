/// \file
/// Applies the statements of a DBC file to the messages and signals they name.
#include "definition/dbc/DbcResolver.h"

#include "definition/dbc/DbcMultiplexing.h"
#include "text/DbcWords.h"

#include <bit>

namespace rksignal {

namespace {

/// A value of a table as the raw word that the signal has then.
std::uint64_t rawWord(signalValue_t type, std::uint64_t value) {
    const auto number = static_cast<std::int64_t>(value);
    if (type == signalValue_t::Float)
        return std::bit_cast<std::uint32_t>(static_cast<float>(number));
    return type == signalValue_t::Double ? std::bit_cast<std::uint64_t>(static_cast<double>(number)) : value;
}

/// Fills what the record says besides the signal's own lines.
void completeRecord(canSignalDef_t& record, const MessageDefinition& message) {
    record.instance = message.name + "." + record.signal;
    record.msgId = message.id;
    record.extended = message.extended;
    record.canFD = message.canFd;
    record.channel = message.channel.value_or(0);
    record.message = message.name;
    record.sender = message.sender;
    std::map<std::uint64_t, std::string> texts;
    for (auto& [value, text] : record.valueDescriptions)
        texts.emplace(rawWord(record.type, value), std::move(text));
    record.valueDescriptions = std::move(texts);
}

} // namespace

std::string describeDbcObject(const DbcReference& object) {
    const std::string message = "message " + std::to_string(object.rawId);
    return object.signal.empty() ? message : "signal " + std::string(object.signal) + " of " + message;
}

std::vector<MessageDefinition> DbcResolver::resolve(std::optional<std::uint8_t> channel) {
    indexMessages();
    applyValueTypes();
    applyComments();
    applyValues();
    applyFrameFormats();
    applyCycleTimes();
    applyMultiplexing();
    applyLongNames();
    applyNodeLongNames();
    std::vector<MessageDefinition> messages;
    for (DbcMessageStatement& statement : statements.messages) {
        statement.message.channel = channel;
        if (statement.dropReason.empty())
            messages.push_back(finish(statement));
        else
            noteDroppedMessage(statement);
    }
    return messages;
}

/// Messages in use come first, so that references find them rather than a dropped one of the same identifier.
void DbcResolver::indexMessages() {
    for (const bool inUse : {true, false})
        for (std::size_t i = 0; i < statements.messages.size(); ++i) {
            const DbcMessageStatement& message = statements.messages[i];
            if (message.dropReason.empty() == inUse && messagesById.emplace(message.rawId, i).second)
                indexSignals(i);
        }
}

void DbcResolver::indexSignals(std::size_t message) {
    std::vector<DbcSignalStatement>& signals = statements.messages[message].signals;
    for (std::size_t i = 0; i < signals.size(); ++i) {
        const auto [known, isNew] = signalsByName.emplace(SignalKey{message, signals[i].name}, i);
        if (isNew || signals[i].dropped)
            continue;
        if (signals[known->second].dropped) {
            known->second = i;
            continue;
        }
        signals[i].dropped = true;
        if (statements.messages[message].dropReason.empty())
            notes.dropped(signals[i].line, "signal " + signals[i].finalName() + " of message " +
                                               statements.messages[message].message.name +
                                               " dropped: it is already defined on line " +
                                               std::to_string(signals[known->second].line));
    }
}

std::optional<std::size_t> DbcResolver::findMessage(const DbcReference& object) {
    const auto found = messagesById.find(object.rawId);
    if (found != messagesById.end())
        return found->second;
    notes.dropped(object.line, std::string(object.keyword) + " ignored: there is no message " +
                                   std::to_string(object.rawId));
    return std::nullopt;
}

std::optional<std::size_t> DbcResolver::findSignal(std::size_t message, std::string_view name) const {
    const auto found = signalsByName.find({message, name});
    return found == signalsByName.end() ? std::nullopt : std::optional(found->second);
}

/// May be a dropped one. If there is none, that is noted.
DbcSignalStatement* DbcResolver::signalOf(const DbcReference& object) {
    const std::optional<std::size_t> message = findMessage(object);
    if (!message)
        return nullptr;
    const std::optional<std::size_t> signal = findSignal(*message, object.signal);
    if (signal)
        return &statements.messages[*message].signals[*signal];
    notes.dropped(object.line,
                  std::string(object.keyword) + " ignored: there is no " + describeDbcObject(object));
    return nullptr;
}

/// The width decides between float and double; there is no value type for other widths.
void DbcResolver::applyValueTypes() {
    for (const DbcValueTypeStatement& statement : statements.valueTypes) {
        DbcSignalStatement* const found = signalOf(statement.object);
        if (found == nullptr || found->dropped || statement.type == 0)
            continue;
        canSignalDef_t& signal = found->record();
        const std::string subject =
            "SIG_VALTYPE_ " + std::to_string(statement.type) + " of " + describeDbcObject(statement.object);
        if (statement.type > 2) {
            notes.dropped(statement.object.line, subject + " ignored: the value type is unknown");
        } else if (signal.bits != 32 && signal.bits != 64) {
            notes.dropped(statement.object.line, subject + ": a floating-point number of " +
                                                     std::to_string(signal.bits) +
                                                     " bits; the signal is dropped");
            found->dropped = true;
        } else {
            if (signal.bits != statement.type * 32)
                notes.guess(statement.object.line,
                            subject + ": taken by its width of " + std::to_string(signal.bits) + " bits");
            signal.type = signal.bits == 32 ? signalValue_t::Float : signalValue_t::Double;
        }
    }
}

void DbcResolver::applyComments() {
    for (const DbcCommentStatement& statement : statements.comments) {
        std::string* comment = nullptr;
        if (!statement.object.signal.empty()) {
            if (DbcSignalStatement* const signal = signalOf(statement.object))
                comment = &signal->record().comment;
        } else if (const auto message = findMessage(statement.object)) {
            comment = &statements.messages[*message].message.comment;
        }
        if (comment == nullptr)
            continue;
        if (comment->empty())
            *comment = unquoted(statement.text);
        else
            notes.dropped(statement.object.line,
                          "CM_ ignored: " + describeDbcObject(statement.object) + " has a comment already");
    }
}

void DbcResolver::applyValues() {
    for (std::size_t i = 0; i < statements.valueTables.size(); ++i)
        tablesByName.insert_or_assign(statements.valueTables[i].table, i);
    for (const DbcValuesStatement& statement : statements.values) {
        DbcSignalStatement* const signal = signalOf(statement.object);
        if (signal == nullptr)
            continue;
        addValues(signal->record(), statement, statement.object);
        if (statement.table.empty())
            continue;
        const auto table = tablesByName.find(statement.table);
        if (table != tablesByName.end())
            addValues(signal->record(), statements.valueTables[table->second], statement.object);
        else
            notes.dropped(statement.object.line,
                          "VAL_ ignored: there is no VAL_TABLE_ " + std::string(statement.table));
    }
}

void DbcResolver::addValues(canSignalDef_t& record, const DbcValuesStatement& source,
                            const DbcReference& object) {
    for (const auto& [value, quoted] : source.values) {
        std::string text = unquoted(quoted);
        std::string& known = record.valueDescriptions[value];
        if (!known.empty() && known != text)
            notes.guess(object.line, "VAL_: value " + std::to_string(static_cast<std::int64_t>(value)) +
                                         " of " + describeDbcObject(object) +
                                         " is described again; the last text is taken");
        known = std::move(text);
    }
}

void DbcResolver::applyMultiplexing() {
    for (const DbcMultiplexStatement& statement : statements.multiplexing) {
        DbcSignalStatement* const signal = signalOf(statement.object);
        if (signal == nullptr)
            continue;
        const std::size_t message = messagesById.at(statement.object.rawId);
        const auto multiplexer = findSignal(message, statement.multiplexer);
        if (!multiplexer) {
            notes.dropped(statement.object.line, "SG_MUL_VAL_ ignored: there is no signal " +
                                                     std::string(statement.multiplexer) + " in message " +
                                                     std::to_string(statement.object.rawId));
        } else if (signal->multiplexer() && signal->multiplexer() != multiplexer) {
            notes.dropped(statement.object.line,
                          "SG_MUL_VAL_ ignored: " + describeDbcObject(statement.object) +
                              " has another multiplexer already");
        } else {
            auto& multiplexing = signal->definition.multiplexing;
            if (!multiplexing)
                multiplexing = {multiplexer, {}};
            multiplexing->ranges.insert(multiplexing->ranges.end(), statement.ranges.begin(),
                                        statement.ranges.end());
            markMultiplexer(statement, statements.messages[message].signals[*multiplexer].record());
        }
    }
    for (DbcMessageStatement& message : statements.messages)
        if (message.dropReason.empty())
            resolveMultiplexing(message, notes);
}

void DbcResolver::markMultiplexer(const DbcMultiplexStatement& statement, canSignalDef_t& multiplexer) {
    if (multiplexer.multiplexer == 0)
        notes.guess(statement.object.line, "SG_MUL_VAL_: signal " + multiplexer.signal + " of message " +
                                               std::to_string(statement.object.rawId) +
                                               " is not marked as a multiplexer; taken as one");
    multiplexer.multiplexer = 1;
}

void DbcResolver::noteDroppedMessage(const DbcMessageStatement& statement) {
    notes.dropped(statement.line,
                  "message " + statement.message.name + " dropped" +
                      (statement.signals.empty() ? "" : " with " + statement.describeSignals()) + ": " +
                      statement.dropReason);
}

/// Completes the records and leaves dropped signals out.
MessageDefinition DbcResolver::finish(DbcMessageStatement& statement) const {
    MessageDefinition& message = statement.message;
    message.place = notes.placeOf(statement.line);
    std::vector<DbcSignalStatement> signals = std::move(statement.signals);
    std::vector<std::size_t> indices;
    for (DbcSignalStatement& signal : signals) {
        indices.push_back(message.signals.size());
        if (!signal.dropped) {
            completeRecord(signal.record(), message);
            signal.definition.place = notes.placeOf(signal.line);
            message.signals.push_back(std::move(signal.definition));
        }
    }
    for (SignalDefinition& signal : message.signals)
        if (signal.multiplexing) {
            signal.multiplexing->multiplexer = indices[*signal.multiplexing->multiplexer];
            signal.can().multiplexed = true;
            signal.can().mux = firstSelector(signal.multiplexing->ranges);
        }
    return std::move(message);
}

} // namespace rksignal
