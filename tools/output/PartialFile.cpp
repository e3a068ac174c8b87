#include "output/PartialFile.h"

#include <system_error>

namespace rksignal {

PartialFile::PartialFile(const std::string& path)
    : target(std::filesystem::is_symlink(path) ? std::filesystem::weakly_canonical(path)
                                               : std::filesystem::path(path)),
      part(target.string() + ".part") {}

PartialFile::~PartialFile() {
    std::error_code ignored;
    std::filesystem::remove(part, ignored);
}

void PartialFile::complete() {
    std::filesystem::rename(part, target);
}

} // namespace rksignal
