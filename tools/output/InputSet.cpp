#include "output/InputSet.h"

#include <algorithm>
#include <unistd.h>

namespace rksignal {

void InputSet::add(const std::string& path) {
    struct stat file {};
    const int failure = path == "-" ? fstat(STDIN_FILENO, &file) : stat(path.c_str(), &file);
    if (failure == 0 && S_ISREG(file.st_mode)) {
        entries.push_back({file.st_dev, file.st_ino, path == "-" ? "standard input" : path});
    }
}

const std::string* InputSet::find(const struct stat& file) const {
    const auto entry = std::find_if(entries.begin(), entries.end(), [&file](const Entry& each) {
        return each.device == file.st_dev && each.inode == file.st_ino;
    });
    return entry != entries.end() ? &entry->path : nullptr;
}

} // namespace rksignal
