/// \file
/// Collects what there is to say about a DBC file while it is read.
#pragma once

#include "definition/dbc/DbcFile.h"

#include <string>
#include <utility>
#include <vector>

namespace rksignal {

/// The notes of one file. They are added in the order of the reader's steps and taken in that of the lines.
class DbcNotes {
  public:
    explicit DbcNotes(std::string path) : path(std::move(path)) {}
    void guess(unsigned line, std::string message) {
        add(line, DbcNote::Severity::Guess, std::move(message));
    }
    void dropped(unsigned line, std::string message) {
        add(line, DbcNote::Severity::Dropped, std::move(message));
    }
    void error(unsigned line, std::string message) {
        add(line, DbcNote::Severity::Error, std::move(message));
    }
    /// All notes by line; those of one line in the order they were added. Leaves none.
    std::vector<DbcNote> take();

  private:
    void add(unsigned line, DbcNote::Severity severity, std::string message) {
        notes.push_back({path, line, severity, std::move(message)});
    }

    std::string path;
    std::vector<DbcNote> notes;
};

} // namespace rksignal
