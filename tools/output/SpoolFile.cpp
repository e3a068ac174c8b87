#include "output/SpoolFile.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <system_error>
#include <unistd.h>

namespace rksignal {
namespace {

[[noreturn]] void failSpooling(const char* what) {
    throw std::system_error(errno, std::generic_category(), std::string(what) + " a temporary file");
}

} // namespace

SpoolFile::SpoolFile() {
    const char* const folder = std::getenv("TMPDIR");
    std::string path = folder != nullptr && *folder != '\0' ? folder : "/tmp";
    path += "/rksignal-XXXXXX";
    descriptor = mkostemp(path.data(), O_CLOEXEC);
    if (descriptor < 0) {
        failSpooling("cannot make");
    }
    unlink(path.c_str());
}

SpoolFile::~SpoolFile() {
    close(descriptor);
}

void SpoolFile::write(std::span<const char> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            failSpooling("cannot write");
        }
    }
}

void SpoolFile::read(std::uint64_t offset, std::span<char> bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count > 0) {
            offset += static_cast<std::uint64_t>(count);
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            failSpooling("cannot read");
        }
    }
}

} // namespace rksignal
