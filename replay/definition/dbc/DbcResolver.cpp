/// \file
/// Applies the statements of a DBC file to the messages and signals they name.
#include "definition/dbc/DbcResolver.h"

#include "definition/MessageBuilder.h"
#include "text/DbcWords.h"

namespace rksignal {

namespace {

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
    applyFrameFormats();
    for (DbcMessageStatement& statement : statements.messages)
        checkPlaces(statement);
    for (std::size_t i = 0; i < statements.messages.size(); ++i)
        indexSignals(i);
    applyValueTypes();
    applyComments();
    applyValues();
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
    std::unordered_map<std::uint32_t, std::size_t> last;
    for (const bool inUse : {true, false})
        for (std::size_t i = 0; i < statements.messages.size(); ++i) {
            const DbcMessageStatement& message = statements.messages[i];
            if (message.dropReason.empty() != inUse)
                continue;
            if (!messagesById.emplace(message.rawId, i).second && inUse)
                statements.messages[last[message.rawId]].next = i;
            last[message.rawId] = i;
        }
}

/// What decides here is known only with the frame format.
void DbcResolver::checkPlaces(DbcMessageStatement& statement) {
    const unsigned longest = statement.message.isParameterGroup ? longestParameterGroup : longestFrame;
    if (statement.message.length > longest)
        statement.dropReason =
            "length " + std::to_string(statement.message.length) + " is more than 64 bytes";
    for (DbcSignalStatement& signal : statement.signals) {
        if (!signal.dropReason.empty())
            drop(statement, signal, signal.dropReason);
        else if (signal.bytes > longest)
            drop(statement, signal, "it lies beyond " + std::to_string(longest) + " bytes");
    }
}

/// Of a message that is not used, nothing is worth a note but the message itself.
void DbcResolver::drop(const DbcMessageStatement& message, DbcSignalStatement& signal,
                       const std::string& why) {
    signal.dropped = true;
    if (message.dropReason.empty())
        notes.dropped(signal.line, "signal " + signal.finalName() + " of message " + message.message.name +
                                       " dropped: " + why);
}

void DbcResolver::indexSignals(std::size_t message) {
    std::vector<DbcSignalStatement>& signals = statements.messages[message].signals;
    for (std::size_t i = 0; i < signals.size(); ++i) {
        const auto [known, isNew] = signalsByName.emplace(SignalKey{message, signals[i].name}, i);
        if (isNew || signals[i].dropped)
            continue;
        if (signals[known->second].dropped)
            known->second = i;
        else
            addOfSameName(message, known->second, i);
    }
}

void DbcResolver::addOfSameName(std::size_t message, std::size_t first, std::size_t added) {
    DbcMessageStatement& statement = statements.messages[message];
    std::size_t count = 1;
    std::size_t last = first;
    for (; statement.signals[last].next; last = *statement.signals[last].next)
        ++count;
    DbcSignalStatement& signal = statement.signals[added];
    const std::string line = "on line " + std::to_string(statement.signals[first].line);
    if (count == mostOfOneName)
        return drop(statement, signal,
                    "it is already defined " + std::to_string(count) + " times, first " + line);
    statement.signals[last].next = added;
    signal.guesses.push_back("is already defined " + line + "; both are decoded");
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

void DbcResolver::noteMissingSignal(const DbcReference& object) {
    notes.dropped(object.line,
                  std::string(object.keyword) + " ignored: there is no " + describeDbcObject(object));
}

void DbcResolver::applyValueTypes() {
    for (const DbcValueTypeStatement& statement : statements.valueTypes)
        forEachSignal(statement.object, [&](DbcMessageStatement&, DbcSignalStatement& signal) {
            if (!signal.dropped && statement.type != 0)
                applyValueType(statement, signal);
        });
}

/// The width decides between float and double; there is no value type for other widths.
void DbcResolver::applyValueType(const DbcValueTypeStatement& statement, DbcSignalStatement& found) {
    canSignalDef_t& signal = found.record();
    const std::string subject =
        "SIG_VALTYPE_ " + std::to_string(statement.type) + " of " + describeDbcObject(statement.object);
    if (statement.type > 2) {
        notes.dropped(statement.object.line, subject + " ignored: the value type is unknown");
    } else if (signal.bits != 32 && signal.bits != 64) {
        notes.dropped(statement.object.line, subject + ": a floating-point number of " +
                                                 std::to_string(signal.bits) +
                                                 " bits; the signal is dropped");
        found.dropped = true;
    } else {
        if (signal.bits != statement.type * 32)
            notes.guess(statement.object.line,
                        subject + ": taken by its width of " + std::to_string(signal.bits) + " bits");
        signal.type = signal.bits == 32 ? signalValue_t::Float : signalValue_t::Double;
    }
}

void DbcResolver::applyComments() {
    for (const DbcCommentStatement& statement : statements.comments) {
        if (statement.object.signal.empty())
            forEachMessage(statement.object, [&](DbcMessageStatement& message) {
                applyComment(statement, message.message.comment);
            });
        else
            forEachSignal(statement.object, [&](DbcMessageStatement&, DbcSignalStatement& signal) {
                applyComment(statement, signal.record().comment);
            });
    }
}

void DbcResolver::applyComment(const DbcCommentStatement& statement, std::string& comment) {
    if (comment.empty())
        comment = unquoted(statement.text);
    else
        notes.dropped(statement.object.line,
                      "CM_ ignored: " + describeDbcObject(statement.object) + " has a comment already");
}

void DbcResolver::applyValues() {
    for (std::size_t i = 0; i < statements.valueTables.size(); ++i)
        tablesByName.insert_or_assign(statements.valueTables[i].table, i);
    for (const DbcValuesStatement& statement : statements.values) {
        const auto table = statement.table.empty() ? tablesByName.end() : tablesByName.find(statement.table);
        bool isUsed = false;
        forEachSignal(statement.object, [&](DbcMessageStatement&, DbcSignalStatement& signal) {
            isUsed = true;
            addValues(signal.record(), statement, statement.object);
            if (table != tablesByName.end())
                addValues(signal.record(), statements.valueTables[table->second], statement.object);
        });
        if (isUsed && !statement.table.empty() && table == tablesByName.end())
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

void DbcResolver::noteDroppedMessage(const DbcMessageStatement& statement) {
    notes.dropped(statement.line,
                  "message " + statement.message.name + " dropped" +
                      (statement.signals.empty() ? "" : " with " + statement.describeSignals()) + ": " +
                      statement.dropReason);
}

/// What is said of a signal that is used. One that has bytes in no frame of the message is said to be not
/// decoded, elsewhere.
void DbcResolver::noteGuesses(const DbcMessageStatement& message, const DbcSignalStatement& signal) {
    const MessageDefinition& definition = message.message;
    const std::string subject = "signal " + signal.finalName() + " of message " + definition.name + " ";
    if (signal.bytes > definition.length &&
        whyNotDecodable(signal.record(), definition.isParameterGroup) == nullptr)
        notes.guess(signal.line, subject + "reaches to byte " + std::to_string(signal.bytes) +
                                     " of a message of " + std::to_string(definition.length) +
                                     " bytes; kept");
    for (const std::string& guess : signal.guesses)
        notes.guess(signal.line, subject + guess);
}

/// Completes the records and leaves dropped signals out.
MessageDefinition DbcResolver::finish(DbcMessageStatement& statement) {
    for (const DbcSignalStatement& signal : statement.signals)
        if (!signal.dropped)
            noteGuesses(statement, signal);
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
