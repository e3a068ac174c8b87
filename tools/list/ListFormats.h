/// \file
/// Lists of definitions as text.
#pragma once

#include "list/DefinitionList.h"
#include "output/OutputBuffer.h"

#include <vector>

namespace rksignal {

/// What the message is called, its key, length, sender, cycle and place, with a line end.
std::string messageLine(const ListedMessage& listed);

/// For a reader: of each message a line and a table of its signals, without columns that say nothing.
void writeListTable(const std::vector<ListedMessage>& messages, OutputBuffer& out);
/// A row a signal with the columns of its message, in CSV (RFC 4180, with bare line feeds).
void writeListCsv(const std::vector<ListedMessage>& messages, OutputBuffer& out);
/// An array of messages, each with an array of its signals.
void writeListJson(const std::vector<ListedMessage>& messages, OutputBuffer& out);

} // namespace rksignal
