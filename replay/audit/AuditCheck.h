/// \file
/// What a rule of an audit is made of.
#pragma once

#include "audit/Audit.h"
#include "audit/Finding.h"
#include "catalog/Catalog.h"
#include "survey/DefinedFrames.h"
#include "survey/Survey.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

/// A message of CAN, LIN, FlexRay or Ethernet. Good until the call returns.
struct AuditedFrame {
    const FrameStatistics& statistics; ///< which have counted it
    std::uint64_t timestamp;
    std::span<const std::uint8_t> payload; ///< of CAN and LIN
    bool isKnown;                          ///< a definition decodes it
};

/// A signal got a value.
struct AuditedValue {
    std::size_t signal; ///< index in Catalog::signals()
    std::uint64_t raw;
    std::uint64_t timestamp;
    const MessageOrigin& origin;
};

/// What all rules look at.
class AuditContext {
  public:
    explicit AuditContext(Catalog& catalog) : catalog(catalog), frames(catalog) {}

    const BaseSignal& signal(std::size_t index) const { return *catalog.signals()[index]; }
    /// The physical value of a raw one with its unit and text.
    std::string valueText(std::size_t signal, std::uint64_t raw) const;
    double physical(std::size_t signal, std::uint64_t raw) const;

    /// About a frame identity.
    Finding about(AuditRule rule, const FrameIdentity& identity);
    /// About a signal, on the channel where it was seen.
    Finding about(AuditRule rule, std::size_t signal, std::optional<std::uint8_t> channel) const;

    Catalog& catalog;
    Survey survey;
    DefinedFrames frames;
};

/// One rule, or a few that have their subject in common. Takes memory in proportion to the signals and the
/// identities that the survey tells apart.
class AuditCheck {
  public:
    virtual ~AuditCheck() = default;

    virtual void received(const AuditedFrame& /*frame*/) {}
    virtual void written(const AuditedValue& /*value*/) {}
    /// The end: adds what was found, of rules that are skipped, too.
    virtual void report(std::vector<Finding>& findings) = 0;
};

/// The state for an index, made with all before it where it is new.
template <class State>
State& stateAt(std::deque<State>& states, std::size_t index) {
    if (index >= states.size()) {
        states.resize(index + 1);
    }
    return states[index];
}

} // namespace rksignal
