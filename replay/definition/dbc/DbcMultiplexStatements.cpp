/// \file
/// Applies what SG_MUL_VAL_ statements say about the signals of a DBC file.
#include "definition/dbc/DbcMultiplexing.h"
#include "definition/dbc/DbcResolver.h"

#include <algorithm>

namespace rksignal {

void DbcResolver::applyMultiplexing() {
    for (const DbcMultiplexStatement& statement : statements.multiplexing) {
        bool isUsed = false;
        bool hasSignal = false;
        forEachMessage(statement.object, [&](DbcMessageStatement& message) {
            const auto index = static_cast<std::size_t>(&message - statements.messages.data());
            const auto signal = findSignal(index, statement.object.signal);
            const auto multiplexer = findSignal(index, statement.multiplexer);
            hasSignal = hasSignal || signal;
            if (signal && multiplexer) {
                isUsed = true;
                applyMultiplexing(statement, message, *signal, *multiplexer);
            }
        });
        if (hasSignal && !isUsed)
            notes.dropped(statement.object.line, "SG_MUL_VAL_ ignored: there is no signal " +
                                                     std::string(statement.multiplexer) + " in message " +
                                                     std::to_string(statement.object.rawId));
        else if (!hasSignal && messagesById.contains(statement.object.rawId))
            noteMissingSignal(statement.object);
    }
    for (DbcMessageStatement& message : statements.messages)
        if (message.dropReason.empty())
            resolveMultiplexing(message, notes);
}

/// Of several signals of the name, the statement is about those with a selector in its ranges.
void DbcResolver::applyMultiplexing(const DbcMultiplexStatement& statement, DbcMessageStatement& message,
                                    std::size_t first, std::size_t multiplexer) {
    std::vector<DbcSignalStatement>& signals = message.signals;
    const auto isMeant = [&](const DbcSignalStatement& signal) {
        return signal.selector && std::any_of(statement.ranges.begin(), statement.ranges.end(),
                                              [selector = *signal.selector](const ValueRange& range) {
                                                  return range.first <= selector && selector <= range.second;
                                              });
    };
    bool isUsed = false;
    if (signals[first].next)
        for (std::optional<std::size_t> signal = first; signal; signal = signals[*signal].next)
            if (isMeant(signals[*signal])) {
                isUsed = true;
                multiplex(statement, message, signals[*signal], multiplexer);
            }
    if (!isUsed)
        multiplex(statement, message, signals[first], multiplexer);
}

void DbcResolver::multiplex(const DbcMultiplexStatement& statement, DbcMessageStatement& message,
                            DbcSignalStatement& signal, std::size_t multiplexer) {
    if (signal.multiplexer() && signal.multiplexer() != multiplexer) {
        notes.dropped(statement.object.line, "SG_MUL_VAL_ ignored: " + describeDbcObject(statement.object) +
                                                 " has another multiplexer already");
        return;
    }
    auto& multiplexing = signal.definition.multiplexing;
    if (!multiplexing)
        multiplexing = {multiplexer, {}};
    multiplexing->ranges.insert(multiplexing->ranges.end(), statement.ranges.begin(), statement.ranges.end());
    markMultiplexer(statement, message.signals[multiplexer].record());
}

void DbcResolver::markMultiplexer(const DbcMultiplexStatement& statement, canSignalDef_t& multiplexer) {
    if (multiplexer.multiplexer == 0)
        notes.guess(statement.object.line, "SG_MUL_VAL_: signal " + multiplexer.signal + " of message " +
                                               std::to_string(statement.object.rawId) +
                                               " is not marked as a multiplexer; taken as one");
    multiplexer.multiplexer = 1;
}

} // namespace rksignal
