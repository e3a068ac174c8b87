/// \file
/// Notes in /tmp whose a System V key is, since a key alone does not tell.
///
/// A claim is the symbolic link `/tmp/.rksignal-key-<key in hexadecimal>`. It points nowhere; its text is the
/// instance that has the key and, once there is a segment, that segment's identifier and time of creation:
/// `Vehicle.Speed/42.1700000000`. A link is made and read in one step each and survives the truncation of
/// key files. It stays when the segment goes, as the key file does.
#pragma once

#include <ctime>
#include <string>
#include <sys/types.h>
#include <vector>

class KeyClaim {
  public:
    /// A claim as it lies in /tmp, whether it counts or not.
    struct Entry {
        key_t key;
        std::string instance;
        std::string segment; ///< as segmentName() has it; empty: none yet
    };

    /// All claims.
    static std::vector<Entry> all();

    /// What tells a segment from all others: identifiers come again, but not within a second.
    static std::string segmentName(int shmId, std::time_t created);

    /// Removes the claim of a key, if it is this one. \return 0 or the error number
    static int remove(const Entry& entry);

    /// The instance that the key belongs to, or empty. A claim no longer counts when the key file of its
    /// instance is gone, or has another key by now, and the segment that it names is gone too.
    static std::string ownerOf(key_t key);

    /// Whether the claim names this segment, as the one created for this instance.
    static bool proves(key_t key, const std::string& instance, int shmId);

    /// Notes that the key is the instance's, and so is the segment. Replaces a claim that was there.
    /// \return false if another claim stays, as it belongs to another user
    static bool record(key_t key, const std::string& instance, int shmId = -1);
};
