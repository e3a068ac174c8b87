#include "live/SegmentOptions.h"

#include "command/UsageError.h"
#include "text/ParseNumber.h"

#include <grp.h>

namespace rksignal {
namespace {

/// The owner can read and write: it is the one who decodes.
mode_t permissions(const std::string& text) {
    constexpr mode_t readAndWrite = 0666;
    constexpr mode_t owner = 0600;
    const auto mode = parseNumber<mode_t>(text, 8);
    if (!mode || (*mode & ~readAndWrite) != 0 || (*mode & owner) != owner) {
        throw UsageError("--mode " + text + ": not permissions to read and write from 600 to 666");
    }
    return *mode;
}

gid_t groupNumber(const std::string& text) {
    if (const auto number = parseNumber<gid_t>(text)) {
        return *number;
    }
    const group* const entry = getgrnam(text.c_str());
    if (entry == nullptr) {
        throw UsageError("--group " + text + ": there is no such group");
    }
    return entry->gr_gid;
}

} // namespace

SegmentAccess segmentAccess(const LiveOptions& options) {
    SegmentAccess access;
    if (!options.mode.empty()) {
        access.mode = permissions(options.mode);
    }
    if (!options.group.empty()) {
        access.group = groupNumber(options.group);
    }
    return access;
}

} // namespace rksignal
