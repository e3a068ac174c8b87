/// \file
/// What becomes of values when definitions are loaded again.
#pragma once

#include "catalog/Catalog.h"

#include <cstddef>

namespace rksignal {

/// How many signals.
struct ValueTransfer {
    std::size_t kept = 0;    ///< in both catalogs
    std::size_t added = 0;   ///< in the new one alone
    std::size_t removed = 0; ///< in the old one alone
    std::size_t reset = 0;   ///< in both, with another width or type: their values mean nothing any more
};

/// Gives the signals of `next` the values of those of the same name in `old`, with the instances for further
/// senders of parameter groups. Values in shared memory are there already, in the same segments; segments of
/// signals that are gone are removed, also while other processes are attached to them.
/// Neither catalog is decoded meanwhile.
ValueTransfer transferValues(const Catalog& old, Catalog& next);

/// Removes the segments that these signals have created: the definitions are not used after all.
void removeNewSegments(const Catalog& catalog);

} // namespace rksignal
