/// \file
/// The order and the text form of notes.
#include "definition/dbc/DbcNotes.h"

#include <algorithm>
#include <ostream>

namespace rksignal {

std::ostream& operator<<(std::ostream& out, const DbcNote& note) {
    return out << note.file << ':' << note.line << ": " << note.message;
}

std::vector<DbcNote> DbcNotes::take() {
    std::stable_sort(notes.begin(), notes.end(),
                     [](const DbcNote& a, const DbcNote& b) { return a.line < b.line; });
    return std::move(notes);
}

} // namespace rksignal
