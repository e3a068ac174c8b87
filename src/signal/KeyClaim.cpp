#include "signal/KeyClaim.h"

#include "signal/KeyFile.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <dirent.h>
#include <memory>
#include <optional>
#include <string_view>
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

/// What a claim says about a segment, or empty if there is none.
std::string identityOf(int shmId) {
    shmid_ds status{};
    if (shmId < 0 || shmctl(shmId, IPC_STAT, &status) != 0) {
        return {};
    }
    return separator + KeyClaim::segmentName(shmId, status.shm_ctime);
}

/// The key in the name of a claim, if it is one.
std::optional<key_t> keyIn(std::string_view path) {
    const std::string prefix = keyfile::ownPrefix + "key-";
    if (!path.starts_with(prefix)) {
        return {};
    }
    unsigned key = 0;
    const char* const end = path.data() + path.size();
    const auto [rest, error] = std::from_chars(path.data() + prefix.size(), end, key, 16);
    return error == std::errc() && rest == end ? std::optional(static_cast<key_t>(key)) : std::nullopt;
}

} // namespace

std::string KeyClaim::segmentName(int shmId, std::time_t created) {
    return std::to_string(shmId) + "." + std::to_string(created);
}

std::vector<KeyClaim::Entry> KeyClaim::all() {
    std::vector<Entry> entries;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/tmp"), closedir);
    while (const dirent* const file = folder != nullptr ? readdir(folder.get()) : nullptr) {
        if (const std::optional<key_t> key = keyIn(keyfile::pathOf(file->d_name))) {
            const std::string text = textOf(*key), instance = instanceIn(text);
            if (!instance.empty()) {
                entries.push_back({*key, instance, text.substr(std::min(instance.size() + 1, text.size()))});
            }
        }
    }
    return entries;
}

int KeyClaim::remove(const Entry& entry) {
    const std::string text = entry.instance + (entry.segment.empty() ? "" : separator + entry.segment);
    return textOf(entry.key) != text || unlink(pathOf(entry.key).c_str()) == 0 ? 0 : errno;
}

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
