/// \file
/// What lies between the text of a DBC file and its model: every statement of use, as written. Most of them
/// refer to a message by its raw identifier and to a signal by its short name, and may precede it; they are
/// therefore collected first and applied to the definitions afterwards.
///
/// Views refer to the text of the file, which must outlive the statements.
#pragma once

#include "definition/Definition.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace rksignal {

/// The most messages of one identifier, and signals of one name in a message, that are used. It bounds the
/// work that each further statement about them makes.
constexpr std::size_t mostOfOneName = 8;

struct DbcSignalStatement {
    SignalDefinition definition;           ///< as far as the SG_ line says; its `multiplexing`
                                           ///< refers to the statements of the message
    std::string_view name;                 ///< the short name, by which other statements refer to the signal
    std::optional<std::uint64_t> selector; ///< k of `m<k>`
    bool hasIndicator = false;             ///< an `m` without k: SG_MUL_VAL_ lines have to say what it means
    bool dropped = false;                  ///< kept because other statements refer to it
    std::uint64_t bytes = 0;               ///< of a message, up to the end of the signal
    std::string dropReason;                ///< found in its own line; not yet noted
    std::vector<std::string> guesses;      ///< from its own line; not yet noted
    std::optional<std::size_t> next;       ///< the next signal in use of the same name
    unsigned line = 0;

    canSignalDef_t& record() { return definition.can(); }
    const canSignalDef_t& record() const { return definition.can(); }
    /// The name that the signal will have: the long one if the file gives one.
    const std::string& finalName() const { return record().signal; }
    std::optional<std::size_t> multiplexer() const {
        return definition.multiplexing ? definition.multiplexing->multiplexer : std::nullopt;
    }
};

struct DbcMessageStatement {
    MessageDefinition message; ///< as far as the BO_ line says, without signals
    unsigned line = 0;
    std::uint32_t rawId = 0;
    std::vector<DbcSignalStatement> signals;
    std::string dropReason;          ///< not empty: the message is not used. Not yet noted.
    bool broken = false;             ///< the reason is that the line could not be understood
    std::optional<std::size_t> next; ///< the next message in use of the same identifier

    /// `its signal`, `its 3 signals`
    std::string describeSignals() const {
        return signals.size() == 1 ? "its signal" : "its " + std::to_string(signals.size()) + " signals";
    }
};

/// The object that a statement is about. `signal` is empty for a message.
struct DbcReference {
    unsigned line = 0;
    std::string_view keyword;
    std::uint32_t rawId = 0;
    std::string_view signal;
};

struct DbcCommentStatement {
    DbcReference object;
    std::string_view text;
};

struct DbcValuesStatement {
    DbcReference object;
    std::string_view table; ///< the values are those of this VAL_TABLE_; empty if they are given here
    std::vector<std::pair<std::uint64_t, std::string_view>> values;
};

struct DbcValueTypeStatement {
    DbcReference object;
    std::uint64_t type = 0; ///< 0 integer, 1 float, 2 double
};

struct DbcMultiplexStatement {
    DbcReference object;
    std::string_view multiplexer;
    std::vector<ValueRange> ranges;
};

struct DbcAttributeStatement {
    DbcReference object;
    std::string_view value; ///< a number, or a quoted text without its quotes
};

struct DbcNodeNameStatement {
    std::string_view name;
    std::string_view longName;
};

struct DbcStatements {
    std::vector<DbcMessageStatement> messages;
    std::vector<DbcCommentStatement> comments;
    std::vector<DbcValuesStatement> values;
    std::vector<DbcValuesStatement> valueTables; ///< `table` is their own name
    std::vector<DbcValueTypeStatement> valueTypes;
    std::vector<DbcMultiplexStatement> multiplexing;
    std::vector<DbcAttributeStatement> longNames; ///< of messages and signals
    std::vector<DbcNodeNameStatement> nodeLongNames;
    std::vector<DbcAttributeStatement> frameFormats;
    std::vector<DbcAttributeStatement> cycleTimes;
    std::vector<std::string_view> frameFormatNames; ///< in the order of their numbers
    std::string_view defaultFrameFormat;
    std::string_view protocol; ///< of the network
    std::string_view defaultCycleTime;
};

} // namespace rksignal
