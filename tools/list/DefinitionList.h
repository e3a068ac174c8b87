/// \file
/// The messages and signals that `rksignal list` shows.
#pragma once

#include "catalog/Catalog.h"

#include <string>
#include <vector>

namespace rksignal {

/// What is listed; everything that is empty restricts nothing.
struct ListFilter {
    std::vector<std::string> only;     ///< patterns of instance names
    std::vector<std::string> messages; ///< patterns of message names or identifiers
    std::string text;                  ///< in names, comments or value texts, upper case as lower case
};

struct ListedSignal {
    const SignalDefinition* definition;
    std::string instance; ///< of the catalog, else what the file asks for
    bool isDecoded;
};

struct ListedMessage {
    const MessageDefinition* message;
    std::vector<ListedSignal>
        signals; ///< those that are listed, of buses with positions all in one frame or PDU
};

/// In the order of definition. A message of which no signal is listed is left out, unless the filter asks for
/// messages only, or for a text that the message has. What lies in different frames or PDUs of FlexRay and
/// Ethernet is listed as a message each. \throws UsageError if a pattern matches nothing, with what comes
/// close, or the text is nowhere
std::vector<ListedMessage> listDefinitions(const Catalog& catalog, const ListFilter& filter);

} // namespace rksignal
