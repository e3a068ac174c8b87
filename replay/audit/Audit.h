/// \file
/// What is odd in traces: compares the messages with their definitions, and with themselves.
#pragma once

#include "audit/AuditRule.h"
#include "audit/Checksum.h"
#include "audit/Finding.h"
#include "catalog/Catalog.h"
#include "survey/Survey.h"
#include "text/Export.h"
#include "trace/MessageSink.h"
#include "value/ReplayStatistics.h"
#include "value/ValueSink.h"

#include <bitset>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace rksignal {

/// The rule of the checksums whose instance names match a pattern.
struct ChecksumChoice {
    std::string pattern; ///< as of file names in a shell
    ChecksumRule rule;
};

struct AuditSettings {
    std::bitset<auditRules> skipped;       ///< by AuditRule
    std::vector<std::string> counters;     ///< patterns of instance names; besides what is found by name
    std::vector<ChecksumChoice> checksums; ///< the first one that matches counts
    bool strict = false;                   ///< ReplaySettings::strict
};

/// Follows messages and tells what is odd about them:
///
///     rksignal::Audit audit(catalog);
///     trace.run(audit);
///     for (const rksignal::Finding& finding : audit.findings()) ...
///
/// docs/rksignal.md, "rksignal audit", has all rules with their thresholds. Takes memory in proportion to the
/// signals of the catalog and to the frame identities, of which Survey::maxIdentities are told apart,
/// whatever the length of the traces; a finding keeps at most ten moments. Allocates nothing a message but
/// where something odd is new. For one thread.
class RKREPLAY_EXPORT Audit final : public MessageSink {
  public:
    /// `catalog` must outlive the audit, and nothing may be added to it any more.
    /// \throws Error if a pattern matches no signal, or one that cannot be a counter or hold the checksum
    explicit Audit(Catalog& catalog, const AuditSettings& settings = {});
    ~Audit() override;
    Audit(const Audit&) = delete;
    Audit& operator=(const Audit&) = delete;

    /// A sink that gets all values, so that messages are decoded once. It must outlive the audit.
    void addValueSink(ValueSink& sink);

    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void receive(const FlexRayExtTraceMessage& frame) override;
    void receive(const MIITraceMessage& frame) override;
    void receive(const EthernetTraceMessage& frame) override;
    void receive(const GpioTraceMessage& message) override;
    void receive(const AnalogTraceMessage& message) override;
    void receive(const KeyboardMessage& message) override;
    void receive(const SystemMessage& message) override;
    void receive(const GPSTraceMessage& message) override;
    void pass(PassedMessage kind, std::uint64_t timestamp) override;
    bool closed() const override;

    /// Ends the audit. By severity, the gravest first, then by rule, then by the first time. Call it once.
    std::vector<Finding> findings();

    const Survey& survey() const;
    const ReplayStatistics& statistics() const;

  private:
    std::unique_ptr<class AuditEngine> engine;
};

} // namespace rksignal
