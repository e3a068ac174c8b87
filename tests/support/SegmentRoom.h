/// \file
/// How many more System V segments the system has room for.
#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <sys/shm.h>

/// What `kernel.shmmni` leaves, all programs counted; 0 if it cannot be found out.
inline std::uint64_t segmentRoom() {
    std::uint64_t limit = 0;
    std::ifstream("/proc/sys/kernel/shmmni") >> limit;
    shm_info status{};
    shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&status));
    const auto used = static_cast<std::uint64_t>(std::max(status.used_ids, 0));
    return limit - std::min(limit, used);
}
