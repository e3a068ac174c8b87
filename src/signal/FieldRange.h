/// \file
/// The byte range of a definition that a decoder takes its field from.
#pragma once

#include "signal/BitField.h"
#include "signal/SignalDefinition.h"

#include <cstdint>

/// Enters the byte range in `place`, the definition itself or one of its positions. \return whether the codec
/// takes the field: it is at most 64 bits wide and touches at most 8 bytes
template <class Place>
bool setFieldRange(Place& place, const baseSignalDef_t& definition, const bitfield::ByteRange& range) {
    place.startByte = static_cast<decltype(place.startByte)>(range.startByte);
    place.numBytes = range.numBytes;
    return definition.bits <= 64 && range.numBytes <= bitfield::maxRangeBytes;
}
