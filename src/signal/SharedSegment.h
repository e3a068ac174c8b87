/// \file
/// Finds or creates the System V shared-memory segment of a signal instance.
///
/// A segment is found by the `ftok` key of the key file `/tmp/<instance>`. `ftok` keeps 16 bits of a file's
/// inode number, so two key files can have one key, and two signals would share one slot without knowing.
/// Therefore a new key file is only published under its name once its key has been seen to be free and its
/// segment exists; and a segment that this process already uses for another instance is refused.
/// Out of reach: two key files from before that collide, used by different processes.
#pragma once

#include <cstddef>
#include <string>
#include <sys/types.h>

/// A segment, or why there is none.
struct SharedSegment {
    enum class Outcome {
        Created,     ///< new, zero-filled by the system
        Found,       ///< it existed
        MissingFile, ///< no key: the name is not a plain file name, the file is a symbolic link, or `ftok`
                     ///< failed
        ShmgetFailed,
        KeyTaken, ///< the key leads to a segment of another instance, `owner`
    };

    Outcome outcome;
    key_t key = -1;
    int shmId = -1;    ///< -1 unless created or found
    int error = 0;     ///< errno of MissingFile and ShmgetFailed
    std::string owner; ///< of KeyTaken; empty when it is not a signal of this process

    /// Path of the key file of `instance`.
    static std::string keyFile(const std::string& instance);

    /// Finds or creates the segment of `size` bytes for `instance`. Never opens a path outside /tmp and never
    /// follows a symbolic link. May run in several processes at once; in one thread of each.
    static SharedSegment acquire(const std::string& instance, std::size_t size);

    /// Notes that this process uses `shmId` for `instance`; call `releaseUse` once for each call.
    static void noteUse(int shmId, const std::string& instance);
    static void releaseUse(int shmId);
};
