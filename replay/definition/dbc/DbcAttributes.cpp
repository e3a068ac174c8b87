/// \file
/// Applies the attributes of use to the messages and signals of a DBC file: frame formats and long names.
#include "definition/dbc/DbcResolver.h"

#include "text/DbcWords.h"
#include "text/ParseNumber.h"

#include <cmath>

namespace rksignal {

namespace {

constexpr std::string_view parameterGroup = "J1939PG";

} // namespace

/// A message's own frame format decides; where it has none, the protocol of the network before the default.
void DbcResolver::applyFrameFormats() {
    const std::string_view byDefault =
        statements.protocol == "J1939" ? parameterGroup : frameFormatName(statements.defaultFrameFormat);
    const std::string_view otherwise = frameFormatName(statements.defaultFrameFormat);
    for (DbcMessageStatement& statement : statements.messages) {
        const bool isOfProtocol = statement.message.extended;
        applyFrameFormat(statement, isOfProtocol ? byDefault : otherwise);
    }
    for (const DbcAttributeStatement& statement : statements.frameFormats)
        forEachMessage(statement.object, [&](DbcMessageStatement& message) {
            const std::string_view format = frameFormatName(statement.value);
            applyFrameFormat(message, format);
            if (message.message.canFd && message.message.length <= longestFrame && !format.ends_with("_FD"))
                notes.guess(statement.object.line, "message " + message.message.name + " of " +
                                                       std::to_string(message.message.length) +
                                                       " bytes taken as CAN FD despite its frame format " +
                                                       std::string(format));
        });
}

/// Parameter groups have identifiers of 29 bits.
void DbcResolver::applyFrameFormat(DbcMessageStatement& statement, std::string_view format) {
    MessageDefinition& message = statement.message;
    message.isParameterGroup = format == parameterGroup && message.extended;
    message.canFd = !message.isParameterGroup && (format.ends_with("_FD") || message.length > 8);
}

/// `value` is a name or a number; 3, 14 and 15 are the customary numbers of parameter groups and of the FD
/// formats. A number without a name stays as it is.
std::string_view DbcResolver::frameFormatName(std::string_view value) const {
    std::string_view digits = value;
    const auto number = takeNumber<std::size_t>(digits);
    if (number && *number < statements.frameFormatNames.size())
        return statements.frameFormatNames[*number];
    if (number == 3)
        return parameterGroup;
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
        forEachMessage(statement.object, [&](DbcMessageStatement& message) {
            message.message.cycleTime = cycleTimeOf(statement.value);
        });
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
        forEachMessage(
            object, [&](DbcMessageStatement& message) { message.message.name = unquoted(statement.value); });
    } else if (statement.value != object.signal) {
        forEachSignal(object, [&](DbcMessageStatement& message, DbcSignalStatement& signal) {
            applyLongName(statement, message, signal);
        });
    }
}

/// The name must not be that of another signal.
void DbcResolver::applyLongName(const DbcAttributeStatement& statement, const DbcMessageStatement& message,
                                DbcSignalStatement& signal) {
    const DbcReference& object = statement.object;
    const auto index = static_cast<std::size_t>(&signal - message.signals.data());
    const auto inMessage = static_cast<std::size_t>(&message - statements.messages.data());
    const bool plain = unquoted(statement.value) == statement.value;
    if (plain && signalsByName.emplace(SignalKey{inMessage, statement.value}, index).second)
        signal.record().signal = statement.value;
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
