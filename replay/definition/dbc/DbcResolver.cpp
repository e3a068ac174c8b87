/// \file
/// Applies the statements of a DBC file to the messages and signals they name.
#include "definition/dbc/DbcResolver.h"

#include "definition/dbc/DbcMultiplexing.h"
#include "text/DbcWords.h"

namespace rksignal {

std::string describeDbcObject(const DbcReference& object) {
    const std::string message = "message " + std::to_string(object.rawId);
    return object.signal.empty() ? message : "signal " + std::string(object.signal) + " of " + message;
}

std::vector<DbcMessage> DbcResolver::resolve() {
    indexMessages();
    applyValueTypes();
    applyComments();
    applyValues();
    applyFrameFormats();
    applyMultiplexing();
    applyLongNames();
    applyNodeLongNames();
    std::vector<DbcMessage> messages;
    for (DbcMessageStatement& statement : statements.messages) {
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
            if (message.dropReason.empty() == inUse && !message.broken &&
                messagesById.emplace(message.rawId, i).second)
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
            notes.dropped(signals[i].signal.line, "signal " + signals[i].signal.name + " of message " +
                                                      statements.messages[message].message.name +
                                                      " dropped: it is already defined on line " +
                                                      std::to_string(signals[known->second].signal.line));
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
        DbcSignal& signal = found->signal;
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
            signal.type = signal.bits == 32 ? DbcValueType::Float : DbcValueType::Double;
        }
    }
}

void DbcResolver::applyComments() {
    for (const DbcCommentStatement& statement : statements.comments) {
        std::string* comment = nullptr;
        if (!statement.object.signal.empty()) {
            if (DbcSignalStatement* const signal = signalOf(statement.object))
                comment = &signal->signal.comment;
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
        addValues(signal->signal, statement, statement.object);
        if (statement.table.empty())
            continue;
        const auto table = tablesByName.find(statement.table);
        if (table != tablesByName.end())
            addValues(signal->signal, statements.valueTables[table->second], statement.object);
        else
            notes.dropped(statement.object.line,
                          "VAL_ ignored: there is no VAL_TABLE_ " + std::string(statement.table));
    }
}

void DbcResolver::addValues(DbcSignal& signal, const DbcValuesStatement& source, const DbcReference& object) {
    for (const auto& [value, quoted] : source.values) {
        std::string text = unquoted(quoted);
        std::string& known = signal.valueDescriptions[value];
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
        } else if (signal->multiplexer && signal->multiplexer != multiplexer) {
            notes.dropped(statement.object.line,
                          "SG_MUL_VAL_ ignored: " + describeDbcObject(statement.object) +
                              " has another multiplexer already");
        } else {
            signal->multiplexer = multiplexer;
            signal->ranges.insert(signal->ranges.end(), statement.ranges.begin(), statement.ranges.end());
            markMultiplexer(statement, statements.messages[message].signals[*multiplexer].signal);
        }
    }
    for (DbcMessageStatement& message : statements.messages)
        if (message.dropReason.empty())
            resolveMultiplexing(message, notes);
}

void DbcResolver::markMultiplexer(const DbcMultiplexStatement& statement, DbcSignal& multiplexer) {
    if (!multiplexer.multiplexer)
        notes.guess(statement.object.line, "SG_MUL_VAL_: signal " + multiplexer.name + " of message " +
                                               std::to_string(statement.object.rawId) +
                                               " is not marked as a multiplexer; taken as one");
    multiplexer.multiplexer = true;
}

void DbcResolver::noteDroppedMessage(const DbcMessageStatement& statement) {
    const std::size_t count = statement.signals.size();
    const std::string signals = count == 1 ? "its signal" : "its " + std::to_string(count) + " signals";
    const unsigned line = statement.message.line;
    if (statement.broken)
        notes.error(line, statement.dropReason + (count == 0 ? "" : "; " + signals + " dropped with it"));
    else
        notes.dropped(line, "message " + statement.message.name + " dropped" +
                                (count == 0 ? "" : " with " + signals) + ": " + statement.dropReason);
}

DbcMessage DbcResolver::finish(DbcMessageStatement& statement) {
    for (DbcSignalStatement& signal : statement.signals)
        if (!signal.dropped && signal.multiplexer)
            signal.signal.multiplexing = {statement.signals[*signal.multiplexer].signal.name,
                                          std::move(signal.ranges)};
    for (DbcSignalStatement& signal : statement.signals)
        if (!signal.dropped)
            statement.message.signals.push_back(std::move(signal.signal));
    return std::move(statement.message);
}

} // namespace rksignal
