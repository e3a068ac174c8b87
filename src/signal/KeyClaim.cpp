#include "signal/KeyClaim.h"

#include "signal/KeyFile.h"

#include <climits>
#include <cstdio>
#include <sys/shm.h>
#include <unistd.h>

namespace {

constexpr char separator = '/'; // stands in no instance name that has a key file

std::string pathOf(key_t key) {
    char digits[2 * sizeof key + 1];
    std::snprintf(digits, sizeof digits, "%08x", static_cast<unsigned>(key));
    return keyfile::ownPrefix + "key-" + digits;
}

/// The text of a claim, or empty.
std::string textOf(key_t key) {
    char text[PATH_MAX];
    const ssize_t length = readlink(pathOf(key).c_str(), text, sizeof text);
    return {text, length < 0 ? 0 : static_cast<std::size_t>(length)};
}

std::string instanceIn(const std::string& text) {
    return text.substr(0, text.find(separator));
}

/// What tells a segment from all others, or empty if there is none: identifiers come again, but not within a
/// second.
std::string identityOf(int shmId) {
    shmid_ds status{};
    if (shmId < 0 || shmctl(shmId, IPC_STAT, &status) != 0) {
        return {};
    }
    return separator + std::to_string(shmId) + "." + std::to_string(status.shm_ctime);
}

} // namespace

std::string KeyClaim::ownerOf(key_t key) {
    const std::string text = textOf(key), instance = instanceIn(text);
    const bool hasKey = keyfile::keyOf(keyfile::pathOf(instance)) == key;
    return hasKey || proves(key, instance, shmget(key, 0, 0)) ? instance : std::string();
}

bool KeyClaim::proves(key_t key, const std::string& instance, int shmId) {
    const std::string identity = identityOf(shmId);
    return !identity.empty() && textOf(key) == instance + identity;
}

bool KeyClaim::record(key_t key, const std::string& instance, int shmId) {
    const std::string text = instance + identityOf(shmId), path = pathOf(key);
    if (symlink(text.c_str(), path.c_str()) == 0 || textOf(key) == text) {
        return true;
    }
    const std::string replacement = keyfile::ownPrefix + "claim-" + std::to_string(getpid());
    unlink(replacement.c_str());
    const bool replaced =
        symlink(text.c_str(), replacement.c_str()) == 0 && rename(replacement.c_str(), path.c_str()) == 0;
    if (!replaced) {
        unlink(replacement.c_str());
    }
    return replaced || textOf(key).empty();
}
