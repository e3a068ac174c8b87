#include "info/DefinitionRank.h"

#include "survey/DefinedFrames.h"

#include <algorithm>
#include <tuple>

namespace rksignal {
namespace {

bool isCoverable(const FrameStatistics& frames) {
    const SignalKind kind = frames.identity.kind;
    return kind == SignalKind::Can || kind == SignalKind::Lin || kind == SignalKind::FlexRay;
}

/// A message whose length is not known fits any.
bool hasLength(const MessageDefinition& message, const FrameStatistics& frames) {
    return message.length == 0 || (message.length == frames.shortest && message.length == frames.longest);
}

} // namespace

CoverableFrames coverableFrames(const Survey& survey) {
    CoverableFrames sum;
    for (const FrameStatistics& each : survey.frames()) {
        sum.identifiers += isCoverable(each) ? 1 : 0;
        sum.frames += isCoverable(each) ? each.count : 0;
    }
    return sum;
}

DefinitionFit fitOf(const std::string& file, Catalog& catalog, const Survey& survey) {
    DefinitionFit fit{file, catalog.messages().size()};
    DefinedFrames defined(catalog);
    for (const FrameStatistics& each : survey.frames()) {
        const auto messages = defined.of(each.identity);
        const bool fits =
            std::any_of(messages.begin(), messages.end(),
                        [&each](const MessageDefinition* message) { return hasLength(*message, each); });
        fit.identifiers += messages.empty() ? 0 : 1;
        fit.lengths += fits ? 1 : 0;
        fit.frames += fits ? each.count : 0;
    }
    return fit;
}

void rank(std::vector<DefinitionFit>& fits) {
    std::stable_sort(fits.begin(), fits.end(), [](const DefinitionFit& left, const DefinitionFit& right) {
        return std::tuple(right.frames, right.identifiers, left.defined) <
               std::tuple(left.frames, left.identifiers, right.defined);
    });
}

} // namespace rksignal
