/// \file
/// COMPU-METHODs of AUTOSAR (Software Component Template, ASAM MCD-2 harmonised data objects): how raw values
/// become physical ones.
#pragma once

#include "definition/arxml/ArxmlModel.h"
#include "signal/SignalDefinition.h"

#include <pugixml.hpp>

#include <cstdint>
#include <optional>
#include <string_view>

namespace rksignal {

/// Bounds of raw values; an absent one is not given.
struct ArxmlLimits {
    std::optional<double> lower;
    std::optional<double> upper;
};

/// Sets scale, offset and value texts of `record`, whose type and bits are known: of IDENTICAL, LINEAR,
/// SCALE_LINEAR, TEXTTABLE, SCALE_LINEAR_AND_TEXTTABLE, BITFIELD_TEXTTABLE, TAB_NOINTP (numbers as texts) and
/// linear RAT_FUNC. The first linear piece is the scaling; pieces that differ and everything else are
/// remarked. \return the bounds of the linear pieces
ArxmlLimits applyCompuMethod(ArxmlModel& model, pugi::xml_node method, baseSignalDef_t& record);

/// LOWER-LIMIT and UPPER-LIMIT of an element; infinite ones are not given.
ArxmlLimits arxmlLimits(pugi::xml_node element);

/// A number as the raw word that a signal of this type has then; nothing if it cannot have it.
std::optional<std::uint64_t> arxmlRawWord(std::string_view number, signalValue_t type);

} // namespace rksignal
