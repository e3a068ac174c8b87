/// \file
/// What there is to tell of a drive, and the data of the page that tells it.
#pragma once

#include "audit/Audit.h"
#include "audit/Finding.h"
#include "catalog/Catalog.h"
#include "condition/FiringLog.h"
#include "condition/Triggers.h"
#include "curve/CurveRecorder.h"
#include "text/Export.h"
#include "trace/MessageSink.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace rksignal {

struct DriveReportSettings {
    AuditSettings audit = {};
    CurveSettings curves = {};
    FiringLog::Limits firings = {};
    std::optional<std::uint64_t> timeout = {}; ///< TriggerSettings::timeout
};

/// What a page says besides what is recorded. All texts may hold anything.
struct PageSettings {
    std::string program = "rksignal"; ///< that has made the page, with its version
    std::string title = {};
    std::vector<std::string> traces = {};              ///< names
    std::vector<std::string> definitions = {};         ///< names
    std::vector<std::string> remarks = {};             ///< shown in front of those of the page itself
    std::vector<std::vector<std::size_t>> panels = {}; ///< the signals that are shown at first, by index
    /// The most for both parts, when the curves are written in base64. All but the curves is bounded by
    /// itself: where that is more, the page is larger.
    std::size_t maxBytes = 12'000'000;
};

/// The data of a page, version 1. docs/report-data.md describes both parts.
struct PageData {
    std::string header; ///< a JSON document, which can stand in a script element as it is
    std::string curves; ///< the points of all curves
};

/// Follows a drive: curves of all signals, firings of conditions with their explanations, and an audit, in
/// one pass.
///
///     rksignal::DriveReport report(catalog, compileConditions(texts, catalog));
///     trace.run(report.messages());
///     report.finish();
///     const rksignal::PageData data = report.page({.title = "drive.log"});
///
/// Memory depends on the catalog, the conditions and the settings, not on the length of the traces. For one
/// thread.
class RKREPLAY_EXPORT DriveReport {
  public:
    /// `catalog` must outlive the report, and nothing may be added to it any more. \throws Error as Audit
    /// does
    DriveReport(Catalog& catalog, std::vector<Condition> conditions,
                const DriveReportSettings& settings = {});
    ~DriveReport();
    DriveReport(const DriveReport&) = delete;
    DriveReport& operator=(const DriveReport&) = delete;

    /// Who gets the messages.
    MessageSink& messages();
    /// To be called behind the last message; then what follows can be asked.
    void finish();

    const Audit& audit() const;
    const std::vector<Finding>& findings() const;
    const CurveRecorder& curves() const;
    const Triggers& triggers() const;
    const FiringLog& firings() const;

    /// The same for the same drive and settings. Curves that are too large together are reduced: of these,
    /// the signals of panels get 32 times the room of others. What else a page has no room for (findings,
    /// rare messages without definition, signals without values) is left out, and a remark in it says how
    /// much.
    PageData page(const PageSettings& settings) const;

  private:
    struct State;
    class Page;
    std::unique_ptr<State> state;
};

} // namespace rksignal
