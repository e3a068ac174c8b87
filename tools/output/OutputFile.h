/// \file
/// The file that a command writes its result to.
#pragma once

#include "output/InputSet.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace rksignal {

/// A result that is there in full or not at all.
///
/// A regular file is written under another name in its folder, which nobody can guess, and takes its place
/// when it is complete; what was there before stays until then. A symbolic link is followed: what it leads
/// to is replaced. The permissions of the file that is replaced are kept, and its owner where that is
/// allowed. Pipes, devices and open descriptors (`/dev/stdout`, `/dev/fd/3`) are written to directly.
class OutputFile {
  public:
    /// An empty path stands for the open descriptor `standard`, which is not closed.
    /// \throws std::system_error if `path` cannot be written, std::runtime_error if it is one of `inputs`;
    /// the text names the path
    OutputFile(const std::string& path, int standard, const InputSet& inputs);
    /// Removes what is not complete.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    int descriptor() const { return handle; }
    const std::string& name() const { return shownName; } ///< for messages
    /// Whether complete() replaces a file.
    bool replacesFile() const { return replaces; }

    /// Writes over what was written at `offset`, e.g. a length that is known at the end. Does nothing where
    /// complete() has nothing to put in place, as with a pipe. \throws std::system_error if that fails
    void overwrite(std::uint64_t offset, std::string_view bytes) const;

    /// Puts the file, written in full by now, in its place. \throws std::system_error if that fails
    void complete();

    /// Removes all files that are not complete, of all threads. To be called by the handler of a signal
    /// that is about to end the process: async-signal-safe.
    static void removeIncomplete() noexcept;

  private:
    void open(const std::string& path, const InputSet& inputs);
    void openDirectly(int descriptor);
    void createPart(const struct stat* former);
    [[noreturn]] void fail(int error) const;

    std::string shownName;
    std::string target; ///< of the path, behind its symbolic links
    std::string part;   ///< what is written until it is complete; empty: `handle` is written to directly
    int handle;
    bool owned;
    bool replaces = false;
};

} // namespace rksignal
