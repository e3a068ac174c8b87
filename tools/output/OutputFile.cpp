#include "output/OutputFile.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace rksignal {

OutputFile::OutputFile(const std::string& path, int standard)
    : handle(path.empty() ? standard : open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)),
      owned(!path.empty()) {
    if (handle < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + path);
    }
}

OutputFile::~OutputFile() {
    if (owned) {
        close(handle);
    }
}

bool isSameFile(const std::string& left, const std::string& right) {
    std::error_code ignored;
    return std::filesystem::equivalent(left, right, ignored);
}

} // namespace rksignal
