/// \file
/// Makes messages of CAN and LIN from what files say, whether or not it fits: what all formats have in
/// common.
#pragma once

#include "definition/Definition.h"
#include "definition/DefinitionNotes.h"
#include "definition/FreeNames.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace rksignal {

/// Where and how a file says that a signal lies, in the bit numbering of baseSignalDef_t.
struct FieldLayout {
    std::uint64_t startbit = 0;
    std::uint64_t bits = 0;
    bool bigEndian = false;
    signalValue_t type = signalValue_t::Unsigned;
    /// Physical, as far as the file gives them. If it gives one, the other is that of the raw values.
    std::optional<double> minimum, maximum;
};

/// The start bit of a big endian signal in formats that count from the most significant bit of the first
/// byte on.
constexpr std::uint64_t fromSawtooth(std::uint64_t bit) {
    return bit ^ 7;
}

/// A value of a table as the raw word that a signal of this type has then.
std::uint64_t rawWord(signalValue_t type, std::uint64_t value);

/// The raw word, in two's complement, of a physical value that the signal can have exactly.
std::optional<std::uint64_t> rawWordOf(const baseSignalDef_t& record, double physical);

/// Fills one message. Signals that a record cannot hold are left out, with a warning; what is doubtful gets a
/// note.
class MessageBuilder {
  public:
    /// `message` is what the file says of it, without signals. `notes` must outlive the builder.
    MessageBuilder(MessageDefinition message, unsigned line, DefinitionNotes& notes);

    /// Whether the identifier and the length are ones that a frame can have. If not, a warning says so and
    /// the message is not to be used.
    bool isUsable() const { return usable; }

    /// Adds a signal. Of its record, `signal`, scaling, unit, comment and the value texts are given, the
    /// texts under values in two's complement; its multiplexer is an index that add() returned. \return its
    /// index; nothing if it is left out
    std::optional<std::size_t> add(SignalDefinition signal, const FieldLayout& layout, unsigned line);

    MessageDefinition& message() { return definition; }
    /// The message with all that records say besides the signal's own lines. Called last.
    MessageDefinition take();

  private:
    void checkFrame(unsigned line);
    const char* whyDropped(const FieldLayout& layout) const;
    static void takeRange(const FieldLayout& layout, SignalDefinition& signal);

    MessageDefinition definition;
    DefinitionNotes& notes;
    bool usable = true;
    std::unordered_set<std::string> taken; ///< names of signals
    FreeNames names;
};

} // namespace rksignal
