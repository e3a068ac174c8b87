/// \file
/// Turns the statements of a DBC file into its model: finds the messages and signals that each statement is
/// about, and leaves out what cannot be decoded.
#pragma once

#include "definition/DefinitionNotes.h"
#include "definition/dbc/DbcStatements.h"

#include <string>
#include <string_view>
#include <unordered_map>

namespace rksignal {

/// How notes name the object: "message 5", "signal A of message 5".
std::string describeDbcObject(const DbcReference& object);

/// Serves one file. Everything is found by hash, so that the time grows with the size of the file only.
class DbcResolver {
  public:
    /// Both must outlive the resolver, and so must the text that `statements` refers to.
    DbcResolver(DbcStatements& statements, DefinitionNotes& notes) : statements(statements), notes(notes) {}

    /// The messages in use. Consumes the statements; called once.
    std::vector<MessageDefinition> resolve(std::optional<std::uint8_t> channel);

  private:
    struct SignalKey {
        std::size_t message;
        std::string_view name;
        bool operator==(const SignalKey&) const = default;
    };
    struct SignalKeyHash {
        std::size_t operator()(const SignalKey& key) const {
            return std::hash<std::string_view>()(key.name) ^ (key.message * 0x9E3779B97F4A7C15U);
        }
    };

    void indexMessages();
    void indexSignals(std::size_t message);
    void addOfSameName(std::size_t message, std::size_t first, std::size_t added);
    std::optional<std::size_t> findMessage(const DbcReference& object);
    std::optional<std::size_t> findSignal(std::size_t message, std::string_view name) const;
    /// Calls `use(message)` for every message with the identifier of the object, in the order of the text.
    /// That there is none is noted.
    template <class Use>
    void forEachMessage(const DbcReference& object, Use&& use) {
        for (auto message = findMessage(object); message; message = statements.messages[*message].next)
            use(statements.messages[*message]);
    }
    /// Calls `use(message, signal)` for every signal of the object, dropped ones too. That there is none is
    /// noted.
    template <class Use>
    void forEachSignal(const DbcReference& object, Use&& use) {
        const auto first = findMessage(object);
        bool isFound = !first;
        for (auto message = first; message; message = statements.messages[*message].next) {
            std::vector<DbcSignalStatement>& signals = statements.messages[*message].signals;
            for (auto signal = findSignal(*message, object.signal); signal; signal = signals[*signal].next) {
                isFound = true;
                use(statements.messages[*message], signals[*signal]);
            }
        }
        if (!isFound)
            noteMissingSignal(object);
    }
    void noteMissingSignal(const DbcReference& object);
    void checkPlaces(DbcMessageStatement& message);
    void drop(const DbcMessageStatement& message, DbcSignalStatement& signal, const std::string& why);

    void applyValueTypes();
    void applyValueType(const DbcValueTypeStatement& statement, DbcSignalStatement& signal);
    void applyComments();
    void applyComment(const DbcCommentStatement& statement, std::string& comment);
    void applyValues();
    void addValues(canSignalDef_t& record, const DbcValuesStatement& source, const DbcReference& object);
    void applyFrameFormats();
    void applyCycleTimes();
    std::string_view frameFormatName(std::string_view value) const;
    static void applyFrameFormat(DbcMessageStatement& statement, std::string_view format);
    void applyMultiplexing();
    void applyMultiplexing(const DbcMultiplexStatement& statement, DbcMessageStatement& message,
                           std::size_t first, std::size_t multiplexer);
    void multiplex(const DbcMultiplexStatement& statement, DbcMessageStatement& message,
                   DbcSignalStatement& signal, std::size_t multiplexer);
    void markMultiplexer(const DbcMultiplexStatement& statement, canSignalDef_t& multiplexer);
    void applyLongNames();
    void applyLongName(const DbcAttributeStatement& statement);
    void applyLongName(const DbcAttributeStatement& statement, const DbcMessageStatement& message,
                       DbcSignalStatement& signal);
    void applyNodeLongNames();
    void noteDroppedMessage(const DbcMessageStatement& statement);
    void noteGuesses(const DbcMessageStatement& message, const DbcSignalStatement& signal);
    MessageDefinition finish(DbcMessageStatement& statement);

    DbcStatements& statements;
    DefinitionNotes& notes;
    std::unordered_map<std::uint32_t, std::size_t> messagesById;
    std::unordered_map<SignalKey, std::size_t, SignalKeyHash> signalsByName;
    std::unordered_map<std::string_view, std::size_t> tablesByName;
};

} // namespace rksignal
