/// \file
/// The files that a command reads.
#pragma once

#include <string>
#include <sys/stat.h>
#include <vector>

namespace rksignal {

/// Remembers files by device and inode, so that none of them is written, whatever name it is given.
class InputSet {
  public:
    /// `-` is standard input. What is not a regular file, or is not there, cannot be overwritten and is
    /// passed over.
    void add(const std::string& path);

    /// \return the name under which the file was added, or null if it was not
    const std::string* find(const struct stat& file) const;

  private:
    struct Entry {
        dev_t device;
        ino_t inode;
        std::string path;
    };

    std::vector<Entry> entries;
};

} // namespace rksignal
