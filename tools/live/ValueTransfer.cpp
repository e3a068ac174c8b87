#include "live/ValueTransfer.h"

#include <sys/shm.h>

namespace rksignal {
namespace {

bool meansTheSame(const BaseSignal& old, const BaseSignal& next) {
    return old.def.bits == next.def.bits && old.def.type == next.def.type;
}

void copyValue(BaseSignal& old, BaseSignal& next) {
    unsigned long raw = 0;
    unsigned long timestamp = 0;
    if (old.read(raw, timestamp) && (next.shmId < 0 || next.shmId != old.shmId)) {
        next.writeRaw(raw, timestamp);
    }
}

} // namespace

ValueTransfer transferValues(const Catalog& old, Catalog& next) {
    ValueTransfer transfer;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < old.signals().size(); ++i) {
        BaseSignal& former = *old.signals()[i];
        if (old.definedSignal(i) != i) {
            next.addSources(former.def.instance);
        }
        const auto same = next.storage().instancesByName.find(former.def.instance);
        if (same == next.storage().instancesByName.end()) {
            ++transfer.removed;
            if (former.shmId >= 0) {
                shmctl(former.shmId, IPC_RMID, nullptr); // fails if somebody else has removed it
            }
            continue;
        }
        ++kept;
        if (meansTheSame(former, *same->second)) {
            copyValue(former, *same->second);
        } else {
            same->second->invalidate();
            ++transfer.reset;
        }
    }
    transfer.kept = kept - transfer.reset;
    transfer.added = next.signals().size() - kept;
    return transfer;
}

void removeNewSegments(const Catalog& catalog) {
    for (const auto& signal : catalog.signals()) {
        if (signal->shmId >= 0 && signal->initSmData) {
            shmctl(signal->shmId, IPC_RMID, nullptr);
        }
    }
}

} // namespace rksignal
