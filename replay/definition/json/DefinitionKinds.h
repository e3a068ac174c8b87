/// \file
/// The kinds of signals that a definition file holds, and their fields.
#pragma once

#include "definition/SignalDefinitions.h"
#include "definition/json/Field.h"

#include <string>
#include <vector>

namespace rksignal {

/// One kind of signals. A row here is all that reading, writing and the schema know of it.
template <class RecordType>
struct DefinitionKind {
    using Record = RecordType;

    const char* name; ///< of the array in the file, and of the bus in rows
    std::vector<PlacedDefinition<Record>> SignalDefinitions::*list;
    Fields<Record> fields;
    /// What a definition of this name has where the file says nothing.
    Record (*defaults)(const std::string& instance);
    /// What is wrong with a record whose fields are each in its range; empty if nothing.
    std::string (*check)(const Record& record);
    bool anyChannel = false; ///< a definition without `channel` is one for any channel
};

const DefinitionKind<canSignalDef_t>& canKind();
const DefinitionKind<linSignalDef_t>& linKind();
const DefinitionKind<flexRaySignalDef_t>& flexRayKind();
const DefinitionKind<ethernetSignalDef_t>& ethernetKind();
const DefinitionKind<inputSignalDef_t>& digitalKind();
const DefinitionKind<inputSignalDef_t>& analogKind();
const DefinitionKind<inputSignalDef_t>& keyboardKind();
const DefinitionKind<inputSignalDef_t>& statusKind();
const DefinitionKind<inputSignalDef_t>& gpsKind();

/// Calls `use(kind)` for every kind, in the order in which they are written.
template <class Use>
void forEachKind(Use&& use) {
    use(canKind());
    use(linKind());
    use(flexRayKind());
    use(ethernetKind());
    use(digitalKind());
    use(analogKind());
    use(keyboardKind());
    use(statusKind());
    use(gpsKind());
}

} // namespace rksignal
