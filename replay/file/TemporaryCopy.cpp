#include "file/TemporaryCopy.h"

#include "text/Error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

namespace rksignal {
namespace {

/// A new file without a name.
class NamelessFile {
  public:
    explicit NamelessFile(std::string purpose) : purpose(std::move(purpose)) {
        const char* const folder = std::getenv("TMPDIR");
        std::string path = (folder != nullptr && *folder != '\0' ? folder : "/tmp");
        path += "/rksignal-XXXXXX";
        descriptor = mkostemp(path.data(), O_CLOEXEC);
        if (descriptor < 0) {
            fail();
        }
        unlink(path.c_str());
    }
    ~NamelessFile() { close(descriptor); }
    NamelessFile(const NamelessFile&) = delete;
    NamelessFile& operator=(const NamelessFile&) = delete;

    void write(const char* bytes, std::size_t size) {
        while (size > 0) {
            const ssize_t count = ::write(descriptor, bytes, size);
            if (count < 0 && errno != EINTR) {
                fail();
            }
            const auto written = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
            bytes += written;
            size -= written;
        }
    }
    int rewound() {
        lseek(descriptor, 0, SEEK_SET);
        return descriptor;
    }

  private:
    [[noreturn]] void fail() const { throw Error("cannot write " + purpose, errno); }

    std::string purpose;
    int descriptor;
};

} // namespace

std::unique_ptr<InputFile> withRandomAccess(std::unique_ptr<InputFile> file) {
    if (file->canReadAt()) {
        return file;
    }
    NamelessFile copy("a temporary copy of " + file->path());
    std::array<char, 65536> block;
    for (std::size_t count = 0; (count = file->read(block.data(), block.size())) > 0;) {
        copy.write(block.data(), count);
    }
    return std::make_unique<InputFile>(copy.rewound(), file->path(), file->readControl());
}

} // namespace rksignal
