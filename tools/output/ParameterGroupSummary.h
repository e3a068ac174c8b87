/// \file
/// What a replay met of SAE J1939, as text.
#pragma once

#include "catalog/Catalog.h"
#include "value/ReplayStatistics.h"

#include <iosfwd>

namespace rksignal {

/// Messages that came in several frames, or did not; nothing if there were none.
void printTransport(std::ostream& out, const TransportStatistics& counts);

/// Values by which a sender says that it has none (SAE J1939-71), by message and sender.
void printReserved(std::ostream& out, const Catalog& catalog);

/// The senders of messages that have several, in the order in which they came.
void printSources(std::ostream& out, const Catalog& catalog);

} // namespace rksignal
