/// \file
/// How well files of definitions fit what is in traces.
#pragma once

#include "catalog/Catalog.h"
#include "survey/Survey.h"

#include <cstdint>
#include <string>
#include <vector>

namespace rksignal {

/// Counts of frames of CAN, LIN and FlexRay.
struct DefinitionFit {
    std::string file;
    std::uint64_t defined = 0;     ///< messages in the file
    std::uint64_t identifiers = 0; ///< identities that came and that it defines
    std::uint64_t lengths = 0;     ///< of these, those whose frames all have the length of a definition
    std::uint64_t frames = 0;      ///< frames of the latter
};

/// The identities and the frames that definitions could cover.
struct CoverableFrames {
    std::uint64_t identifiers = 0;
    std::uint64_t frames = 0;
};

CoverableFrames coverableFrames(const Survey& survey);

/// `catalog` has the definitions of one file.
DefinitionFit fitOf(const std::string& file, Catalog& catalog, const Survey& survey);

/// The best one first: what covers more frames with the right lengths, then more identifiers, then what
/// defines less that did not come.
void rank(std::vector<DefinitionFit>& fits);

} // namespace rksignal
