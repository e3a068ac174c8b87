#include "file/InputFile.h"

#include "file/ContentStream.h"
#include "text/Error.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <new>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t maxContent = std::size_t{256} << 20; // of a compressed file that is read as a whole
constexpr int maxOpenFiles = 256; // of the 1,024 descriptors that a process usually has

std::atomic<int> openFiles = 0;

ssize_t withoutInterruption(auto&& call) {
    ssize_t result = 0;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

/// With a control, opening a named pipe does not wait for who writes to it: reading does, and can be stopped.
int openForReading(const std::string& path, const ReadControl* control) {
    const int handle = open(path.c_str(), O_RDONLY | O_CLOEXEC | (control != nullptr ? O_NONBLOCK : 0));
    if (handle >= 0 && control != nullptr) {
        fcntl(handle, F_SETFL, 0);
    }
    return handle;
}

} // namespace

ReadControl::ReadControl() : wakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wakeUp < 0) {
        throw Error("cannot make an event descriptor", errno);
    }
}

ReadControl::~ReadControl() {
    close(wakeUp);
}

void ReadControl::stop() noexcept {
    const int error = errno; // a signal handler leaves it as it was
    stopped.store(true, std::memory_order_relaxed);
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeUp, &one, sizeof one);
    errno = error;
}

void ReadControl::waitFor(int descriptor) const {
    pollfd both[] = {{descriptor, POLLIN, 0}, {wakeUp, POLLIN, 0}};
    const auto pollFor = [&both](int milliseconds) {
        return withoutInterruption([&] { return poll(both, std::size(both), milliseconds); });
    };
    if (beforeWait && pollFor(0) == 0) {
        beforeWait();
    }
    pollFor(-1);
    if (isStopped()) {
        throw ReadingStopped();
    }
}

InputFile::InputFile(const std::string& path, ReadControl* control)
    : name(path), control(control), handle(path == "-" ? STDIN_FILENO : openForReading(path, control)),
      isOwned(path != "-"), openedPath(isOwned ? path : "") {
    if (handle < 0) {
        fail("open");
    }
    inspect();
    if (isOwned && ++openFiles > maxOpenFiles && isRegular) {
        park();
    }
}

InputFile::InputFile(int descriptor, std::string name, ReadControl* control)
    : name(std::move(name)), control(control), handle(fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {
    if (handle < 0) {
        fail("open");
    }
    inspect();
    ++openFiles;
}

InputFile::InputFile(std::span<const std::uint8_t> memory, std::string name, ReadControl* control)
    : name(std::move(name)), control(control), isOwned(false), memory(memory), whole(memory),
      length(memory.size()) {}

InputFile::InputFile(std::unique_ptr<ContentStream> content, std::string name, ReadControl* control)
    : name(std::move(name)), control(control), isOwned(false), content(std::move(content)) {}

InputFile::~InputFile() {
    if (isOwned && handle >= 0) {
        close(handle);
        --openFiles;
    }
}

void InputFile::fail(const char* action) const {
    throw Error("cannot " + std::string(action) + " " + name, errno);
}

/// \throws Error if the descriptor leads to a folder, and closes it
void InputFile::inspect() {
    struct stat status {};
    if (fstat(handle, &status) != 0) {
        return;
    }
    if (S_ISDIR(status.st_mode)) {
        if (isOwned) {
            close(handle);
        }
        errno = EISDIR;
        fail("open");
    }
    isRegular = S_ISREG(status.st_mode);
    length = isRegular ? static_cast<std::uint64_t>(status.st_size) : 0;
    start = isRegular ? static_cast<std::uint64_t>(std::max<off_t>(lseek(handle, 0, SEEK_CUR), 0)) : 0;
    device = status.st_dev;
    inode = status.st_ino;
}

void InputFile::park() {
    parkedPath = std::filesystem::absolute(name).string();
    close(std::exchange(handle, -1));
    --openFiles;
}

std::uint64_t InputFile::position() const {
    return content != nullptr ? content->position() : given;
}

const std::string& InputFile::damage() const {
    static const std::string none;
    return content != nullptr ? content->damage() : none;
}

std::uint64_t InputFile::size() const {
    if (content != nullptr) {
        return content->size();
    }
    struct stat status {};
    const bool grows = isRegular && handle >= 0 && fstat(handle, &status) == 0;
    return grows ? static_cast<std::uint64_t>(status.st_size) : length;
}

bool InputFile::canReopen() const {
    return content != nullptr ? content->canReopen() : isRegular || handle < 0;
}

std::unique_ptr<InputFile> InputFile::reopen() const {
    if (content != nullptr) {
        return std::make_unique<InputFile>(content->reopen(), name, control);
    }
    if (!isRegular) {
        return std::make_unique<InputFile>(whole, name, control);
    }
    if (!openedPath.empty()) {
        return std::make_unique<InputFile>(openedPath, control);
    }
    const int again = open(("/proc/self/fd/" + std::to_string(handle)).c_str(), O_RDONLY | O_CLOEXEC);
    if (again < 0) {
        fail("open");
    }
    lseek(again, static_cast<off_t>(start), SEEK_SET);
    auto file = std::make_unique<InputFile>(again, name, control);
    close(again);
    return file;
}

bool InputFile::peekFurther() {
    constexpr std::size_t block = 4096;
    const std::size_t used = ahead.size();
    ahead.resize(used + block);
    const std::size_t count = readFurther(ahead.data() + used, block);
    ahead.resize(used + count);
    return count > 0;
}

std::size_t InputFile::read(char* to, std::size_t size) {
    if (control != nullptr && control->beforeRead) {
        control->beforeRead();
    }
    const std::size_t peeked = ahead.copy(to, size);
    ahead.erase(0, peeked);
    // What a pipe has given already must not wait for what it may give later.
    const std::size_t count = peeked > 0 ? peeked : readFurther(to, size);
    given += count;
    return count;
}

std::size_t InputFile::readFurther(char* to, std::size_t size) {
    if (control != nullptr && control->isStopped()) {
        throw ReadingStopped();
    }
    if (content != nullptr) {
        return content->read(to, size);
    }
    if (handle < 0) {
        return parkedPath.empty() ? readMemory(to, size) : readParked(to, size);
    }
    if (control != nullptr && !isRegular) {
        control->waitFor(handle);
    }
    const ssize_t count = withoutInterruption([&] { return ::read(handle, to, size); });
    if (count < 0) {
        fail("read");
    }
    taken += static_cast<std::size_t>(count);
    return static_cast<std::size_t>(count);
}

std::size_t InputFile::readMemory(char* to, std::size_t size) {
    const std::size_t count = std::min(size, memory.size());
    std::copy_n(memory.begin(), count, to);
    memory = memory.subspan(count);
    return count;
}

/// \return a descriptor, which the caller closes \throws Error also if there is another file by now
int InputFile::openParked() {
    const int file = open(parkedPath.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (file < 0 || fstat(file, &status) != 0) {
        fail("read");
    }
    if (status.st_dev != device || status.st_ino != inode) {
        close(file);
        errno = ESTALE;
        fail("read");
    }
    return file;
}

std::size_t InputFile::readParked(char* to, std::size_t size) {
    const int file = openParked();
    const ssize_t count =
        withoutInterruption([&] { return pread(file, to, size, static_cast<off_t>(taken)); });
    const int error = errno;
    close(file);
    if (count < 0) {
        errno = error;
        fail("read");
    }
    taken += static_cast<std::size_t>(count);
    return static_cast<std::size_t>(count);
}

std::size_t InputFile::readAt(std::uint64_t offset, void* to, std::size_t size) {
    if (control != nullptr && control->beforeRead) {
        control->beforeRead();
    }
    if (control != nullptr && control->isStopped()) {
        throw ReadingStopped();
    }
    std::size_t count = 0;
    if (handle < 0 && parkedPath.empty()) {
        count = std::min<std::uint64_t>(size, whole.size() - std::min<std::uint64_t>(offset, whole.size()));
        std::copy_n(whole.data() + (count > 0 ? offset : 0), count, static_cast<std::uint8_t*>(to));
    } else {
        count = readFileAt(start + offset, static_cast<char*>(to), size);
    }
    given = std::min(given + count, std::max(length, given));
    return count;
}

std::size_t InputFile::readFileAt(std::uint64_t offset, char* to, std::size_t size) {
    constexpr std::uint64_t lastOffset = std::numeric_limits<off_t>::max();
    const int file = handle >= 0 ? handle : openParked();
    std::size_t done = 0;
    ssize_t count = 1;
    while (done < size && count > 0 && offset <= lastOffset - done) {
        count = withoutInterruption(
            [&] { return pread(file, to + done, size - done, static_cast<off_t>(offset + done)); });
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    const int error = errno;
    if (handle < 0) {
        close(file);
    }
    if (count < 0) {
        errno = error;
        fail("read");
    }
    return done;
}

void InputFile::enlarge(std::string& text, std::size_t size) const {
    try {
        text.resize(size);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        fail("read");
    }
}

std::string InputFile::readAll() {
    std::string text;
    for (std::size_t used = 0;;) {
        enlarge(text, used + std::max<std::size_t>(65536, used / 2));
        const std::size_t count = read(text.data() + used, text.size() - used);
        used += count;
        if (content != nullptr && used > maxContent) {
            throw Error(name + " holds more than " + std::to_string(maxContent >> 20) + " MB");
        }
        if (count == 0) {
            if (!damage().empty()) {
                throw Error(name + ": " + damage());
            }
            text.resize(used);
            return text;
        }
    }
}

} // namespace rksignal
