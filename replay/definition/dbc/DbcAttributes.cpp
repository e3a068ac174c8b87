/// \file
/// Applies the attributes of use to the messages and signals of a DBC file: frame formats and long names.
#include "definition/dbc/DbcResolver.h"

#include "text/DbcWords.h"
#include "text/ParseNumber.h"

#include <cmath>

namespace rksignal {

void DbcResolver::applyFrameFormats() {
    const bool fdByDefault = frameFormatName(statements.defaultFrameFormat).ends_with("_FD");
    for (DbcMessageStatement& statement : statements.messages)
        statement.message.canFd = fdByDefault || statement.message.length > 8;
    for (const DbcAttributeStatement& statement : statements.frameFormats) {
        const auto found = findMessage(statement.object);
        if (!found)
            continue;
        MessageDefinition& message = statements.messages[*found].message;
        const std::string_view format = frameFormatName(statement.value);
        const bool fd = format.ends_with("_FD");
        message.canFd = fd || message.length > 8;
        if (message.canFd && !fd)
            notes.guess(statement.object.line,
                        "message " + message.name + " of " + std::to_string(message.length) +
                            " bytes taken as CAN FD despite its frame format " + std::string(format));
    }
}

/// `value` is a name or a number; 14 and 15 are the customary numbers of the FD formats. A number without a
/// name stays as it is.
std::string_view DbcResolver::frameFormatName(std::string_view value) const {
    std::string_view digits = value;
    const auto number = takeNumber<std::size_t>(digits);
    if (number && *number < statements.frameFormatNames.size())
        return statements.frameFormatNames[*number];
    if (number == 14)
        return "StandardCAN_FD";
    return number == 15 ? "ExtendedCAN_FD" : value;
}

/// A cycle time of 0 means that there is none.
void DbcResolver::applyCycleTimes() {
    const auto cycleTimeOf = [](std::string_view value) {
        const auto milliseconds = parseNumber<double>(value);
        return milliseconds > 0 && std::isfinite(*milliseconds) ? milliseconds : std::nullopt;
    };
    for (DbcMessageStatement& statement : statements.messages)
        statement.message.cycleTime = cycleTimeOf(statements.defaultCycleTime);
    for (const DbcAttributeStatement& statement : statements.cycleTimes)
        if (const auto found = findMessage(statement.object))
            statements.messages[*found].message.cycleTime = cycleTimeOf(statement.value);
}

/// Comes after everything that refers to signals by their short names.
void DbcResolver::applyLongNames() {
    for (const DbcAttributeStatement& statement : statements.longNames)
        if (!statement.value.empty())
            applyLongName(statement);
}

void DbcResolver::applyLongName(const DbcAttributeStatement& statement) {
    const DbcReference& object = statement.object;
    if (object.signal.empty()) {
        if (const auto message = findMessage(object))
            statements.messages[*message].message.name = unquoted(statement.value);
        return;
    }
    DbcSignalStatement* const signal = signalOf(object);
    if (signal == nullptr || statement.value == object.signal)
        return;
    const std::size_t message = messagesById.at(object.rawId);
    const auto index = static_cast<std::size_t>(signal - statements.messages[message].signals.data());
    const bool plain = unquoted(statement.value) == statement.value;
    if (plain && signalsByName.emplace(SignalKey{message, statement.value}, index).second)
        signal->record().signal = statement.value;
    else
        notes.guess(object.line, "long name " + std::string(statement.value) + " of " +
                                     describeDbcObject(object) +
                                     (plain ? " belongs to another signal already" : " is not plain text") +
                                     "; the short name is kept");
}

void DbcResolver::applyNodeLongNames() {
    std::unordered_map<std::string_view, std::string_view> longNames;
    for (const DbcNodeNameStatement& node : statements.nodeLongNames)
        if (!node.longName.empty())
            longNames.emplace(node.name, node.longName);
    if (longNames.empty())
        return;
    const auto rename = [&](std::string& name) {
        if (const auto found = longNames.find(name); found != longNames.end())
            name = unquoted(found->second);
    };
    for (DbcMessageStatement& message : statements.messages) {
        rename(message.message.sender);
        for (DbcSignalStatement& signal : message.signals)
            for (std::string& receiver : signal.definition.receivers)
                rename(receiver);
    }
}

} // namespace rksignal
