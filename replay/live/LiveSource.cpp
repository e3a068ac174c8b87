#include "live/LiveSource.h"

#include "live/ClockTime.h"

#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t keptDamage = 10;

} // namespace

SourceError::~SourceError() = default;

LiveSource::LiveSource(std::string name) : itsName(std::move(name)), notes(keptDamage) {}
LiveSource::~LiveSource() = default;

void LiveSource::countDamage(const char* reason) {
    if (++counted.damaged <= keptDamage) { // a flood of them costs no memory
        notes.add({itsName, Severity::Error, reason});
    }
}

std::uint64_t monotonicTime() {
    return clockTime(CLOCK_MONOTONIC);
}

} // namespace rksignal
