#include "output/OutputFile.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <sys/random.h>
#include <system_error>
#include <unistd.h>

namespace rksignal {
namespace {

constexpr mode_t permissionBits = 07777;

/// The names of incomplete files, for the handler of a signal. More than these at a time are not known to it.
std::array<std::atomic<const char*>, 8> incomplete;

void enter(const char* path) {
    for (auto& slot : incomplete) {
        const char* none = nullptr;
        if (slot.compare_exchange_strong(none, path)) {
            return;
        }
    }
}

void strike(const char* path) {
    for (auto& slot : incomplete) {
        const char* expected = path;
        slot.compare_exchange_strong(expected, nullptr);
    }
}

/// The number in `/dev/stdout`, `/dev/fd/3` and the like; -1 for all other paths. To open such a path again
/// would lose the place in the file, and the end of it that `>>` asks for.
int descriptorIn(std::string_view path) {
    if (path == "/dev/stdout" || path == "/dev/stderr") {
        return path == "/dev/stdout" ? STDOUT_FILENO : STDERR_FILENO;
    }
    for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/"}) {
        int number = -1;
        const char* const end = path.data() + path.size();
        if (path.starts_with(folder) &&
            std::from_chars(path.data() + folder.size(), end, number).ptr == end) {
            return number;
        }
    }
    return -1;
}

/// Follows symbolic links, also to what is not there, up to the names of open descriptors.
std::string followLinks(std::filesystem::path path) {
    constexpr int maxLinks = 40; // as the kernel has it
    std::error_code error;
    for (int i = 0; i < maxLinks && descriptorIn(path.native()) < 0 && is_symlink(path, error); ++i) {
        path = path.parent_path() / read_symlink(path, error);
    }
    return path.native();
}

/// `FOLDER/.rksignal-0123456789abcdef.part`
std::string unguessableSibling(const std::string& target) {
    std::uint64_t number = 0;
    if (getrandom(&number, sizeof number, 0) != sizeof number) {
        throw std::system_error(errno, std::generic_category(), "cannot get a random number");
    }
    std::array<char, 64> name;
    std::snprintf(name.data(), name.size(), ".rksignal-%016llx.part",
                  static_cast<unsigned long long>(number));
    return (std::filesystem::path(target).parent_path() / name.data()).native();
}

} // namespace

OutputFile::OutputFile(const std::string& path, int standard, const InputSet& inputs)
    : shownName(path.empty() ? "standard output" : path), handle(standard), owned(!path.empty()) {
    if (owned) {
        open(path, inputs);
    }
    struct stat file {};
    const bool isFile = part.empty() && fstat(handle, &file) == 0 && S_ISREG(file.st_mode);
    if (const std::string* const input = isFile ? inputs.find(file) : nullptr) {
        if (owned) {
            close(handle);
        }
        throw std::runtime_error("the output would be written into " + *input + ", which is read");
    }
}

void OutputFile::open(const std::string& path, const InputSet& inputs) {
    target = followLinks(path);
    if (const int descriptor = descriptorIn(target); descriptor >= 0) {
        openDirectly(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
        return;
    }
    struct stat former {};
    replaces = stat(target.c_str(), &former) == 0;
    if (!replaces && errno != ENOENT) {
        fail(errno);
    }
    if (replaces && !S_ISREG(former.st_mode)) {
        replaces = false;
        openDirectly(::open(target.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
        return;
    }
    if (const std::string* const input = replaces ? inputs.find(former) : nullptr) {
        throw std::runtime_error("the output would overwrite " + *input + ", which is read");
    }
    createPart(replaces ? &former : nullptr);
}

void OutputFile::openDirectly(int descriptor) {
    handle = descriptor;
    if (handle < 0) {
        fail(errno);
    }
}

/// \param former the file that is replaced, or null
void OutputFile::createPart(const struct stat* former) {
    if (former != nullptr && faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) {
        fail(errno);
    }
    part = unguessableSibling(target);
    enter(part.c_str()); // before it is there: the handler may come in between
    const mode_t readableBy = former != nullptr ? (former->st_mode & 0777) | S_IWUSR : 0666;
    handle = ::open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, readableBy);
    if (handle < 0) {
        const int error = errno;
        strike(part.c_str());
        fail(error);
    }
    if (former != nullptr) {
        // The owner first, as another one takes some permissions away; only a privileged user may set it.
        [[maybe_unused]] const int ignored = fchown(handle, former->st_uid, former->st_gid);
        fchmod(handle, former->st_mode & permissionBits);
    }
}

void OutputFile::fail(int error) const {
    throw std::system_error(error, std::generic_category(), "cannot write " + shownName);
}

OutputFile::~OutputFile() {
    if (owned) {
        close(handle);
    }
    if (!part.empty()) {
        unlink(part.c_str());
        strike(part.c_str());
    }
}

void OutputFile::overwrite(std::uint64_t offset, std::string_view bytes) const {
    while (!part.empty() && !bytes.empty()) {
        const ssize_t count = pwrite(handle, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno != EINTR) {
            fail(errno);
        }
        const auto written = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        offset += written;
        bytes.remove_prefix(written);
    }
}

void OutputFile::complete() {
    if (part.empty()) {
        return;
    }
    if (std::rename(part.c_str(), target.c_str()) != 0) {
        fail(errno);
    }
    strike(part.c_str());
    part.clear();
}

void OutputFile::removeIncomplete() noexcept {
    for (const auto& slot : incomplete) {
        if (const char* const path = slot.load()) {
            unlink(path);
        }
    }
}

} // namespace rksignal
