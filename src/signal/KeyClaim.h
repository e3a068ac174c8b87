/// \file
/// Notes in /tmp whose a System V key is, since a key alone does not tell.
///
/// A claim is the symbolic link `/tmp/.rksignal-key-<key in hexadecimal>`. It points nowhere; its text is the
/// instance that has the key and, once there is a segment, that segment's identifier and time of creation:
/// `Vehicle.Speed/42.1700000000`. A link is made and read in one step each and survives the truncation of
/// key files. It stays when the segment goes, as the key file does.
#pragma once

#include <string>
#include <sys/types.h>

class KeyClaim {
  public:
    /// The instance that the key belongs to, or empty. A claim no longer counts when the key file of its
    /// instance is gone, or has another key by now, and the segment that it names is gone too.
    static std::string ownerOf(key_t key);

    /// Whether the claim names this segment, as the one created for this instance.
    static bool proves(key_t key, const std::string& instance, int shmId);

    /// Notes that the key is the instance's, and so is the segment. Replaces a claim that was there.
    /// \return false if another claim stays, as it belongs to another user
    static bool record(key_t key, const std::string& instance, int shmId = -1);
};
