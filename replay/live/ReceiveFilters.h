/// \file
/// Which frames of a CAN interface have definitions.
#pragma once

#include "catalog/Catalog.h"
#include "text/Export.h"

#include <cstdint>
#include <linux/can.h>
#include <vector>

namespace rksignal {

/// Filters that let through the data frames of this channel that the catalog has definitions for, so that the
/// kernel drops all others: one an identifier, each of the form that the kernel finds by table. Nothing, that
/// is, all frames, if there are parameter groups of SAE J1939 among the definitions, which come with any
/// priority and in frames of other identifiers, if there are more identifiers than the kernel takes filters
/// (512), or if there are none.
RKREPLAY_EXPORT std::vector<can_filter> receiveFilters(const Catalog& catalog, std::uint8_t channel);

} // namespace rksignal
