#include "signal/SharedSegment.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <string_view>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int projectId = 102;
constexpr int permissions = 0666;

/// How many new key files are tried before a free key is given up: with a tenth of all 65,536 keys free, one
/// search in a thousand fails.
constexpr int maxKeyFilesTried = 64;

struct Use {
    std::string instance;
    int count;
};

/// The segments that this process uses, by identifier.
std::map<int, Use>& usesOfThisProcess() {
    static std::map<int, Use> uses;
    return uses;
}

SharedSegment missingFile(int error) {
    return {.outcome = SharedSegment::Outcome::MissingFile, .error = error, .owner = {}};
}

SharedSegment shmgetFailed(key_t key, int error) {
    return {.outcome = SharedSegment::Outcome::ShmgetFailed, .key = key, .error = error, .owner = {}};
}

/// Whether the name is a file directly in /tmp: "." and ".." are not, nor is anything with a separator.
bool isPlainFileName(const std::string& name) {
    constexpr std::string_view unfit("/\0",
                                     2); // the system would end the name at a NUL, and take another's file
    return !name.empty() && name != "." && name != ".." && name.find_first_of(unfit) == std::string::npos;
}

bool isSymbolicLink(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

/// Opens (and truncates) the key file, then closes it. \return 0 or the error number
/// Not blocking: the path might be a FIFO that nobody reads.
int touch(const std::string& path, int extraFlags) {
    const int file =
        open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | extraFlags, permissions);
    if (file < 0) {
        return errno;
    }
    close(file);
    return 0;
}

/// The segment behind a key file that exists, created if need be.
SharedSegment acquireByExistingFile(const std::string& path, const std::string& instance, std::size_t size) {
    const key_t key = ftok(path.c_str(), projectId);
    if (key == -1) {
        return missingFile(errno);
    }
    const int found = shmget(key, size, permissions);
    if (found < 0) {
        const int created = shmget(key, size, IPC_CREAT | permissions);
        return created < 0 ? shmgetFailed(key, errno)
                           : SharedSegment{.outcome = SharedSegment::Outcome::Created,
                                           .key = key,
                                           .shmId = created,
                                           .owner = {}};
    }
    const auto use = usesOfThisProcess().find(found);
    if (use != usesOfThisProcess().end() && use->second.instance != instance) {
        return {.outcome = SharedSegment::Outcome::KeyTaken, .key = key, .owner = use->second.instance};
    }
    return {.outcome = SharedSegment::Outcome::Found, .key = key, .shmId = found, .owner = {}};
}

/// New files in /tmp under temporary names. All stay until the end of the search, so that no two of them have
/// the same inode.
class KeyFileCandidates {
  public:
    KeyFileCandidates() = default;
    KeyFileCandidates(const KeyFileCandidates&) = delete;
    KeyFileCandidates& operator=(const KeyFileCandidates&) = delete;
    ~KeyFileCandidates() {
        for (const std::string& path : paths) {
            unlink(path.c_str());
        }
    }

    /// Creates the next one. \return 0 or the error number
    int add() {
        static unsigned counter = 0;
        int error = EEXIST;
        while (error == EEXIST) {
            const std::string path =
                "/tmp/.rksignal-" + std::to_string(getpid()) + "-" + std::to_string(counter++);
            error = touch(path, O_CREAT | O_EXCL);
            if (error == 0) {
                paths.push_back(path);
            }
        }
        return error;
    }

    const std::string& latest() const { return paths.back(); }

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
    std::vector<std::string> paths;
};

/// Creates the key file together with its segment, with a key that no segment has. The file appears under its
/// name only then, so no other process ever sees one whose key is taken.
/// Outcome MissingFile with EEXIST: another process has published the file meanwhile.
SharedSegment acquireByNewFile(const std::string& path, std::size_t size) {
    KeyFileCandidates candidates;
    key_t key = -1;
    int segment = -1;
    int error = EEXIST;
    for (int tried = 0; tried < maxKeyFilesTried && segment < 0 && error == EEXIST; ++tried) {
        if (const int failed = candidates.add(); failed != 0) {
            return missingFile(failed);
        }
        key = ftok(candidates.latest().c_str(), projectId);
        segment = shmget(key, size, IPC_CREAT | IPC_EXCL | permissions);
        error = segment < 0 ? errno : 0;
    }
    const int unpublished = candidates.publishLatest(path);
    if (unpublished != 0 && segment >= 0) {
        shmctl(segment, IPC_RMID, nullptr);
    }
    if (unpublished != 0) {
        return missingFile(unpublished);
    }
    if (segment >= 0) {
        return {.outcome = SharedSegment::Outcome::Created, .key = key, .shmId = segment, .owner = {}};
    }
    if (error == EEXIST) {
        return {.outcome = SharedSegment::Outcome::KeyTaken, .key = key, .owner = {}};
    }
    return shmgetFailed(key, error);
}

} // namespace

std::string SharedSegment::keyFile(const std::string& instance) {
    return "/tmp/" + instance;
}

SharedSegment SharedSegment::acquire(const std::string& instance, std::size_t size) {
    if (!isPlainFileName(instance)) {
        return missingFile(ENOENT);
    }
    const std::string path = keyFile(instance);
    for (;;) {
        const int error = touch(path, O_TRUNC);
        if (error == ELOOP || isSymbolicLink(path)) {
            return missingFile(ELOOP);
        }
        if (error != ENOENT) {
            // Any other error leaves the file as it is: its key counts even if it cannot be opened.
            return acquireByExistingFile(path, instance, size);
        }
        SharedSegment segment = acquireByNewFile(path, size);
        if (segment.outcome != Outcome::MissingFile || segment.error != EEXIST) {
            return segment;
        }
    }
}

void SharedSegment::noteUse(int shmId, const std::string& instance) {
    ++usesOfThisProcess().try_emplace(shmId, Use{instance, 0}).first->second.count;
}

void SharedSegment::releaseUse(int shmId) {
    const auto use = usesOfThisProcess().find(shmId);
    if (use != usesOfThisProcess().end() && --use->second.count == 0) {
        usesOfThisProcess().erase(use);
    }
}
