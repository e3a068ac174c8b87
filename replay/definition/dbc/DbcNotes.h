/// \file
/// Collects what there is to say about a DBC file while it is read.
#pragma once

#include "text/Remark.h"

#include <string>
#include <utility>

namespace rksignal {

/// The remarks on one file. They are added in the order of the reader's steps and taken in that of the lines.
class DbcNotes {
  public:
    explicit DbcNotes(std::string path) : path(std::move(path)) {}
    void guess(unsigned line, std::string text) { add(line, Severity::Note, std::move(text)); }
    void dropped(unsigned line, std::string text) { add(line, Severity::Warning, std::move(text)); }
    void error(unsigned line, std::string text) { add(line, Severity::Error, std::move(text)); }
    /// All remarks by line; those of one line in the order they were added. Leaves none.
    RemarkList take() {
        remarks.sortByLine();
        return std::move(remarks);
    }
    std::string placeOf(unsigned line) const { return path + ":" + std::to_string(line); }

  private:
    void add(unsigned line, Severity severity, std::string text) {
        remarks.add({placeOf(line), severity, std::move(text), {}, line});
    }

    std::string path;
    RemarkList remarks;
};

} // namespace rksignal
