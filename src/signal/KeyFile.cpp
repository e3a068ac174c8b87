#include "signal/KeyFile.h"

#include "signal/KeyClaim.h"

#include <cerrno>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int projectId = 102;

/// How many new key files are tried before a free key is given up: with a tenth of all 65,536 keys free, one
/// search in a thousand fails.
constexpr std::size_t maxKeyFilesTried = 64;

/// Opens a file for output, then closes it. \return 0 or the error number
/// Not blocking: the path might be a FIFO that nobody reads. A new file is its owner's alone until it has the
/// group that was asked for, and stays so if that may not be given.
int touch(const std::string& path, int flags, const SegmentAccess& access = {}) {
    const mode_t mode = access.mode & 0666;
    const int file = open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | flags,
                          access.group ? mode & 0600 : mode);
    if (file < 0) {
        return errno;
    }
    if (access.group && fchown(file, static_cast<uid_t>(-1), *access.group) == 0) {
        fchmod(file, mode);
    }
    close(file);
    return 0;
}

/// Whether the path can be a key file that this library or another one has opened for output.
bool looksLikeKeyFile(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && status.st_size == 0 &&
           (S_ISREG(status.st_mode) || S_ISFIFO(status.st_mode));
}

bool hasSegment(key_t key) {
    return shmget(key, 0, 0) >= 0 || errno != ENOENT;
}

/// New files in /tmp under temporary names. All stay until the end of the search, so that no two of them have
/// the same inode. A process that died in a search has left its files: the next search removes them.
class Candidates {
  public:
    explicit Candidates(const SegmentAccess& access) : access(access) {}
    Candidates(const Candidates&) = delete;
    Candidates& operator=(const Candidates&) = delete;
    ~Candidates() {
        for (const std::string& path : paths) {
            unlink(path.c_str());
        }
    }

    /// Creates the next one. \return 0 or the error number
    int add() {
        int error = EEXIST;
        while (error == EEXIST && number < 16 * maxKeyFilesTried) {
            const std::string path = keyfile::ownPrefix + "new-" + std::to_string(number++);
            unlink(path.c_str()); // refused if another user's: that name is passed over
            error = touch(path, O_CREAT | O_EXCL, access);
            if (error == 0) {
                paths.push_back(path);
            }
        }
        return error;
    }

    const std::string& latest() const { return paths.back(); }
    std::size_t count() const { return paths.size(); }

    /// Gives the latest one its final name too, unless that name exists. \return 0 or the error number
    /// A file system without hard links gets a rename, which cannot tell a name that has come up since.
    int publishLatest(const std::string& path) {
        if (link(latest().c_str(), path.c_str()) == 0) {
            return 0;
        }
        if (errno == EEXIST) {
            return EEXIST;
        }
        return rename(latest().c_str(), path.c_str()) == 0 ? 0 : errno;
    }

  private:
    const SegmentAccess& access;
    std::vector<std::string> paths;
    std::size_t number = 0;
};

} // namespace

std::string keyfile::pathOf(const std::string& instance) {
    return "/tmp/" + instance;
}

key_t keyfile::keyOf(const std::string& path) {
    return ftok(path.c_str(), projectId);
}

bool keyfile::isPlainFileName(const std::string& name) {
    constexpr std::string_view unfit("/\0",
                                     2); // the system would end the name at a NUL, and take another's file
    return !name.empty() && name != "." && name != ".." && name.find_first_of(unfit) == std::string::npos;
}

bool keyfile::isSymbolicLink(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

int keyfile::truncate(const std::string& instance) {
    const std::string path = pathOf(instance);
    const int error = touch(path, O_TRUNC);
    return isSymbolicLink(path) ? ELOOP : error;
}

keyfile::Creation keyfile::create(const std::string& instance, const SegmentAccess& access) {
    Candidates candidates(access);
    Creation creation;
    while (candidates.count() < maxKeyFilesTried) {
        creation.error = candidates.add();
        if (creation.error != 0) {
            return creation;
        }
        creation.key = keyOf(candidates.latest());
        creation.owner = KeyClaim::ownerOf(creation.key);
        const bool isOwnedByOther = !creation.owner.empty() && creation.owner != instance;
        if (!isOwnedByOther && !hasSegment(creation.key) && KeyClaim::record(creation.key, instance)) {
            creation.error = candidates.publishLatest(pathOf(instance));
            return creation;
        }
    }
    creation.error = EADDRINUSE;
    return creation;
}

std::string keyfile::rivalOf(const std::string& instance, key_t key) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/tmp"), closedir);
    while (const dirent* const entry = folder != nullptr ? readdir(folder.get()) : nullptr) {
        const std::string path = pathOf(entry->d_name);
        const bool sameBits = ((entry->d_ino ^ static_cast<ino_t>(key)) & 0xFFFF) == 0;
        if (sameBits && entry->d_name != instance && !path.starts_with(ownPrefix) && looksLikeKeyFile(path) &&
            keyOf(path) == key) {
            return entry->d_name;
        }
    }
    return {};
}

std::multimap<key_t, std::string> keyfile::instancesByKey() {
    std::multimap<key_t, std::string> instances;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/tmp"), closedir);
    while (const dirent* const entry = folder != nullptr ? readdir(folder.get()) : nullptr) {
        const std::string path = pathOf(entry->d_name);
        if (!path.starts_with(ownPrefix) && looksLikeKeyFile(path)) {
            instances.emplace(keyOf(path), entry->d_name);
        }
    }
    return instances;
}

int keyfile::remove(const std::string& instance, key_t key) {
    const std::string path = pathOf(instance);
    const bool isKeyFile = isPlainFileName(instance) && looksLikeKeyFile(path) && keyOf(path) == key;
    return !isKeyFile || unlink(path.c_str()) == 0 ? 0 : errno;
}

StartLock::StartLock() : directory(open("/tmp", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    constexpr timespec pause{.tv_sec = 0, .tv_nsec = 50'000};
    constexpr int maxTries = 10'000; // with the system's own delay of 50 microseconds: about a second
    held = flock(directory, LOCK_EX | LOCK_NB) == 0;
    for (int tries = 0; !held && tries < maxTries && errno == EWOULDBLOCK; ++tries) {
        nanosleep(&pause, nullptr);
        held = flock(directory, LOCK_EX | LOCK_NB) == 0;
    }
}

StartLock::~StartLock() {
    flock(directory, LOCK_UN); // closing alone would leave it with a child forked meanwhile
    close(directory);
}
