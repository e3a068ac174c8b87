/// \file
/// A result file that is there in full or not at all.
#pragma once

#include <filesystem>
#include <string>

namespace rksignal {

/// Stands for `PATH.part`, which becomes `PATH` when it is complete and is removed if it never is. What was
/// at `PATH` before stays until then.
class PartialFile {
  public:
    /// Touches nothing yet. A symbolic link is followed: what it leads to is replaced.
    explicit PartialFile(const std::string& path);
    ~PartialFile();
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    /// Where to write.
    const std::string& path() const { return part; }

    /// Puts the file, written in full by now, in its place. \throws std::system_error if that fails
    void complete();

  private:
    std::filesystem::path target;
    std::string part;
};

} // namespace rksignal
