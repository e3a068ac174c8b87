/// \file
/// The file that a command writes its result to.
#pragma once

#include <string>

namespace rksignal {

class OutputFile {
  public:
    /// Creates or empties `path`; an empty path stands for the open descriptor `standard`, which is not
    /// closed. \throws std::system_error if that fails; the text names the path.
    OutputFile(const std::string& path, int standard);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    int descriptor() const { return handle; }

  private:
    int handle;
    bool owned;
};

/// Whether both paths exist and lead to the same file.
bool isSameFile(const std::string& left, const std::string& right);

} // namespace rksignal
