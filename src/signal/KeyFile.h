/// \file
/// The key files of shared signals, `/tmp/<instance>`, and the keys that they stand for.
///
/// The key is what `ftok` makes of the file: 16 bits of its inode number and 8 bits of its device. Two files
/// can have one key. `KeyClaim` notes whose a key is.
#pragma once

#include "signal/SegmentAccess.h"

#include <map>
#include <string>
#include <sys/types.h>

namespace keyfile {

/// All files of this library other than key files begin like this.
inline const std::string ownPrefix = "/tmp/.rksignal-";

std::string pathOf(const std::string& instance);

/// The key of a file, or -1 with `errno` set.
key_t keyOf(const std::string& path);

/// Whether the name is a file directly in /tmp: "." and ".." are not, nor is anything with a separator.
bool isPlainFileName(const std::string& name);

bool isSymbolicLink(const std::string& path);

/// Truncates the key file of an instance. Never follows a symbolic link.
/// \return 0; ENOENT if there is none; ELOOP if it is a symbolic link; else why it could not be opened
int truncate(const std::string& instance);

/// Whether `create` could make a file with a free key.
struct Creation {
    int error = 0;     ///< 0; EEXIST: another process has made the file meanwhile; EADDRINUSE: no free key
    key_t key = -1;    ///< of the file, or with EADDRINUSE the last one tried
    std::string owner; ///< with EADDRINUSE: the instance that has this key, empty if unknown
};

/// Makes the key file of an instance, with a key that no segment has and no other instance, and claims that
/// key. The file appears under its name only then. To be called with the `StartLock`.
Creation create(const std::string& instance, const SegmentAccess& access);

/// Another file in /tmp that looks like a key file and has this key: the name of its instance, or empty.
/// Reads the whole directory.
std::string rivalOf(const std::string& instance, key_t key);

/// The files in /tmp that may be key files, by their keys.
std::multimap<key_t, std::string> instancesByKey();

/// Removes the key file of an instance if it has this key. To be called with the `StartLock`, when nobody is
/// attached to the segment of that key. \return 0 or the error number
int remove(const std::string& instance, key_t key);

} // namespace keyfile

/// Held by a process while it finds or creates a segment: no other process does so meanwhile. It is the lock
/// of the directory /tmp, which the system releases when a process dies. Who does not get it within a second
/// goes on without: a process may be stopped, or another program may hold it.
class StartLock {
  public:
    StartLock();
    ~StartLock();
    StartLock(const StartLock&) = delete;
    StartLock& operator=(const StartLock&) = delete;

    /// Whether it was got.
    bool isHeld() const { return held; }

  private:
    int directory;
    bool held = false;
};
