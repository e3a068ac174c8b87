/// \file
/// The rules by subject, each in a file of its own.
#pragma once

#include "audit/AuditCheck.h"

#include <memory>

namespace rksignal {

/// never-seen, undefined
std::unique_ptr<AuditCheck> makeCoverageCheck(AuditContext& context);
/// wrong-length
std::unique_ptr<AuditCheck> makeLengthCheck(AuditContext& context);
/// lost-messages, cycle-time, bus-gap, time-backwards
std::unique_ptr<AuditCheck> makeTimeCheck(AuditContext& context);
/// counter-stuck, counter-jump. \throws Error
std::unique_ptr<AuditCheck> makeCounterCheck(AuditContext& context, const AuditSettings& settings);
/// checksum. \throws Error
std::unique_ptr<AuditCheck> makeChecksumCheck(AuditContext& context, const AuditSettings& settings);
/// out-of-range, no-text
std::unique_ptr<AuditCheck> makeRangeCheck(AuditContext& context);
/// constant
std::unique_ptr<AuditCheck> makeConstantCheck(AuditContext& context);
/// two-channels
std::unique_ptr<AuditCheck> makeChannelCheck(AuditContext& context);

} // namespace rksignal
