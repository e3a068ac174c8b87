/// \file
/// Who may use the shared memory of signals.
#pragma once

#include <optional>
#include <sys/types.h>

/// What new segments, and new key files, are given. Those that exist stay as they are.
///
/// A process that writes, or that reads through `BaseSignal`, needs both to read and to write; one that reads
/// through `SlotView` needs to read alone. The key file needs no permission to be of use.
///
/// The system counts two groups of a segment: `group`, and for good the one under which its creator ran
/// (`cgid`). Where this one is not to have access, the creator runs under `group` itself.
struct SegmentAccess {
    mode_t mode = 0666;         ///< read and write bits; a key file has those that the umask leaves
    std::optional<gid_t> group; ///< else the one under which the process runs
};
