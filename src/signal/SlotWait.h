/// \file
/// Waits between two tries to lock a slot.
#pragma once

#include "signal/SlotHolder.h"

#include <pthread.h>

/// One who waits for the lock of a slot. Locks are held for some 10 ns, unless the holder is interrupted; so
/// he yields at first. If that has not helped for a millisecond he sleeps as well, for 50 us at first, up to
/// 1 ms: then waiting takes less than a hundredth of a processor. Every 10 ms that the lock word has been the
/// same he looks whether the holder is still there.
class SlotWait {
  public:
    explicit SlotWait(pthread_mutex_t& mutex);

    /// Lets others go on. Afterwards it is time to try again.
    void pause();

    /// Takes the lock over if its holder has died, which is looked for now and then. Whoever gets it finds
    /// the slot as the other one left it. \return whether this thread has the lock now
    bool takesOver();

    /// How long it has been, in nanoseconds.
    std::int64_t duration() const;

    /// Who had the lock that was taken over.
    const SlotHolder& formerHolder() const { return holder; }

  private:
    pthread_mutex_t& mutex;
    const std::int64_t start; ///< of waiting, ns
    std::int64_t watched;     ///< when `word` was first seen, or its holder looked for, ns
    std::int64_t sleep;       ///< the next one, ns
    int word;
    SlotHolder holder;
};
