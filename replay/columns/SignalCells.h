/// \file
/// The columns of one signal in the table of its message.
#pragma once

#include "columns/ColumnSet.h"
#include "columns/SignalReader.h"
#include "definition/Definition.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace rksignal {

/// A value as narrow as it can be, and beside it the raw word and the text if they are wanted.
class SignalCells {
  public:
    struct Choice {
        bool raw, text;
    };

    /// Adds the columns. `name` is that of the first one; `nameFor` makes a name of its own of another.
    template <class NameFor>
    SignalCells(BaseSignal& signal, const SignalDefinition& definition, const std::string& name,
                Choice choice, ColumnSet& columns, NameFor&& nameFor)
        : SignalCells(signal, definition, name, columns) {
        if (choice.raw) {
            raw = columns.add({.name = nameFor(name + ".raw"), .type = CellType::Int64, .isNullable = true});
        }
        if (choice.text && hasTexts()) {
            text = columns.add(
                {.name = nameFor(name + ".text"), .type = textType(), .isNullable = true, .texts = texts});
        }
    }

    /// Puts what the signal holds now into the row that has been begun.
    void put(ColumnSet& columns) {
        const std::uint64_t word = reader.raw();
        if (isWord) {
            columns.putInteger(value, word);
        } else {
            columns.put(value, reader.physical(word));
        }
        if (raw != none) {
            columns.put(raw, word);
        }
        if (text != none) {
            putText(columns, word);
        }
    }

  private:
    static constexpr std::size_t none = ~std::size_t{0};

    SignalCells(BaseSignal& signal, const SignalDefinition& definition, const std::string& name,
                ColumnSet& columns);
    bool hasTexts() const { return texts->size() > 0 || reader.makesTexts(); }
    CellType textType() const { return reader.makesTexts() ? CellType::Int32 : indexType(texts->size()); }
    void putText(ColumnSet& columns, std::uint64_t word);

    std::shared_ptr<TextDictionary> texts;
    SignalReader reader;
    std::size_t value, raw = none, text = none;
    bool isWord; ///< the value is the raw word, as wide as the column
};

} // namespace rksignal
