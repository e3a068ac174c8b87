/// \file
/// Collects what there is to say about a definition file while it is read.
#pragma once

#include "text/Remark.h"
#include "text/TextEncoding.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace rksignal {

/// The remarks on one file. They are added in the order of the reader's steps and taken in that of the lines.
class DefinitionNotes {
  public:
    explicit DefinitionNotes(std::string path) : path(std::move(path)) {}
    void guess(unsigned line, std::string text) { add(line, Severity::Note, std::move(text)); }
    void dropped(unsigned line, std::string text) { add(line, Severity::Warning, std::move(text)); }
    void error(unsigned line, std::string text) { add(line, Severity::Error, std::move(text)); }
    /// For what adds remarks of its own.
    RemarkList& list() { return remarks; }
    /// All remarks by line; those of one line in the order they were added. Leaves none.
    RemarkList take() {
        remarks.sortByLine();
        return std::move(remarks);
    }
    const std::string& filePath() const { return path; }
    std::string placeOf(unsigned line) const { return path + ":" + std::to_string(line); }

  private:
    void add(unsigned line, Severity severity, std::string text) {
        remarks.add({placeOf(line), severity, std::move(text), {}, line});
    }

    std::string path;
    RemarkList remarks;
};

/// The text in UTF-8. What is not valid UTF-8 throughout is taken as Windows-1252, with a note.
inline std::string utf8Text(std::string text, DefinitionNotes& notes) {
    const std::optional<std::size_t> invalid = findInvalidUtf8(text);
    if (!invalid) {
        return text;
    }
    const auto line =
        1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(*invalid), '\n');
    notes.guess(static_cast<unsigned>(line), "text is not UTF-8; the file is taken as Windows-1252");
    return windows1252ToUtf8(text);
}

} // namespace rksignal
