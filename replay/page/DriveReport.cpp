#include "page/DriveReport.h"

#include "page/MessageTable.h"
#include "page/PageJson.h"
#include "page/PageSignals.h"
#include "page/PageSizes.h"
#include "text/NumberText.h"

#include <algorithm>
#include <utility>

namespace rksignal {

struct DriveReport::State {
    State(Catalog& catalog, std::vector<Condition> conditions, const DriveReportSettings& settings)
        : catalog(catalog), audit(catalog, settings.audit),
          triggers(catalog, std::move(conditions), {.timeout = settings.timeout}),
          firings(triggers, true, settings.firings), curves(catalog, {}, settings.curves) {
        triggers.addFiringSink(firings);
        triggers.addValueSink(curves);
        audit.addValueSink(triggers);
    }

    Catalog& catalog;
    Audit audit;
    Triggers triggers;
    FiringLog firings;
    CurveRecorder curves;
    std::vector<Finding> findings;
};

namespace {

PageJson textsJson(const std::vector<std::string>& texts, std::size_t limit) {
    PageJson all = PageJson::array();
    for (const std::string& text : texts) {
        all.push_back(boundedText(text, limit));
    }
    return all;
}

PageJson gapsJson(std::span<const Gap> gaps, const DriveSpan& span) {
    PageJson all = PageJson::array();
    for (const Gap& gap : gaps) {
        all.push_back({{"from", span.micro(gap.begin)}, {"to", span.micro(gap.end())}});
    }
    return all;
}

PageJson conditionsJson(const Triggers& triggers, const FiringLog& log, const DriveSpan& span) {
    PageJson all = PageJson::array();
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        PageJson firings = PageJson::array();
        for (const KeptFiring& each : log.firings(i)) {
            firings.push_back({{"at", span.micro(each.time)},
                               {"until", each.end ? PageJson(span.micro(*each.end)) : PageJson()},
                               {"why", each.why}});
        }
        const Condition& condition = triggers.condition(i);
        all.push_back({{"name", boundedText(condition.name(), page_sizes::name)},
                       {"text", boundedText(condition.expression(), page_sizes::text)},
                       {"firings", std::move(firings)},
                       {"count", triggers.counts(i).firings}});
    }
    return all;
}

PageJson momentsJson(const Finding& finding, const DriveSpan& span) {
    PageJson moments = PageJson::array();
    for (const Occurrence& each : finding.occurrences) {
        moments.push_back(
            {{"at", span.micro(each.time)}, {"text", boundedText(each.text, page_sizes::text)}});
    }
    return moments;
}

PageJson findingsJson(const std::vector<Finding>& findings, const MessageTable& messages,
                      const PageSignals& signals, const DriveSpan& span) {
    const auto orNull = [](const auto& value) { return value ? PageJson(*value) : PageJson(); };
    PageJson all = PageJson::array();
    for (const Finding& each : findings) {
        if (all.size() == page_sizes::findings) {
            break;
        }
        all.push_back(
            {{"rule", infoOf(each.rule).name},
             {"severity", findingSeverityName(each.severity)},
             {"at", each.count > 0 ? PageJson(span.micro(each.first)) : PageJson()},
             {"until", each.count > 1 ? PageJson(span.micro(each.last)) : PageJson()},
             {"message", orNull(messages.rowOfFinding(each))},
             {"signal", orNull(signals.placeOf(each.instance))},
             {"about", boundedText(each.instance.empty() ? each.message : each.instance, page_sizes::name)},
             {"text", boundedText(each.text, page_sizes::text)},
             {"count", each.count},
             {"moments", momentsJson(each, span)}});
    }
    return all;
}

} // namespace

DriveReport::DriveReport(Catalog& catalog, std::vector<Condition> conditions,
                         const DriveReportSettings& settings)
    : state(std::make_unique<State>(catalog, std::move(conditions), settings)) {}

DriveReport::~DriveReport() = default;

MessageSink& DriveReport::messages() {
    return state->audit;
}

void DriveReport::finish() {
    state->findings = state->audit.findings();
    state->triggers.finish();
    state->curves.finish();
}

const Audit& DriveReport::audit() const {
    return state->audit;
}

const std::vector<Finding>& DriveReport::findings() const {
    return state->findings;
}

const CurveRecorder& DriveReport::curves() const {
    return state->curves;
}

const Triggers& DriveReport::triggers() const {
    return state->triggers;
}

const FiringLog& DriveReport::firings() const {
    return state->firings;
}

/// One page in the making.
class DriveReport::Page {
  public:
    Page(const State& drive, const PageSettings& settings)
        : drive(drive), settings(settings), span(spanOf(drive.audit.survey().totals())),
          messages(drive.catalog, drive.audit, drive.findings, drive.curves),
          signals(drive.catalog, drive.curves, messages, span, settings.panels) {}

    PageData data() {
        PageJson header = headJson();
        header["messages"] = messages.json();
        header["signals"] = signals.json();
        header["gaps"] = gapsJson(drive.curves.gaps(), span);
        header["conditions"] = conditionsJson(drive.triggers, drive.firings, span);
        header["findings"] = findingsJson(drive.findings, messages, signals, span);
        header["remarks"] = remarksJson();
        PageData data;
        signals.addCurves(header["signals"], roomForCurves(header), data.curves);
        data.header = elementText(header);
        return data;
    }

  private:
    static DriveSpan spanOf(const SurveyTotals& totals) {
        return {totals.first, std::max(totals.first, totals.last)};
    }

    PageJson headJson() const {
        return {{"version", 1},
                {"program", settings.program},
                {"title", boundedText(settings.title, page_sizes::name)},
                {"traces", textsJson(settings.traces, page_sizes::name)},
                {"definitions", textsJson(settings.definitions, page_sizes::name)},
                {"start", timeText(span.from, {TimeStyle::Iso, 0})},
                {"startNs", std::to_string(span.from)},
                {"from", 0},
                {"to", span.micro(span.to)},
                {"frames", drive.audit.survey().totals().messages}};
    }

    /// Base64 writes 3 bytes as 4 characters.
    std::size_t roomForCurves(const PageJson& header) const {
        const std::size_t taken =
            elementText(header).size() + page_sizes::curveEntry * header["signals"].size();
        const std::size_t left = settings.maxBytes - std::min(taken, settings.maxBytes);
        return std::max(page_sizes::leastCurves, left / 4 * 3);
    }

    /// The given ones, then what there is no room for.
    PageJson remarksJson() const {
        std::vector<std::string> remarks = settings.remarks;
        if (remarks.size() > page_sizes::remarks) {
            remarks.resize(page_sizes::remarks);
        }
        const auto leaveOut = [&remarks](std::uint64_t number, const std::string& what) {
            if (number > 0) {
                remarks.push_back("not in this page: " + std::to_string(number) + ' ' + what);
            }
        };
        leaveOut(settings.remarks.size() - remarks.size(), "further remarks");
        leaveOut(messages.omitted(), "kinds of messages, the rarest of those without a definition first");
        leaveOut(drive.audit.survey().totals().others, "messages of still other identifiers");
        leaveOut(signals.omittedSignals(), "signals, those without values first");
        leaveOut(signals.omittedTexts(), "comments of signals and texts of values");
        leaveOut(drive.findings.size() - std::min(drive.findings.size(), page_sizes::findings),
                 "findings, the least severe");
        for (std::size_t i = 0; i < drive.triggers.size(); ++i) {
            leaveOut(drive.firings.omitted(i), "later firings of " + drive.triggers.condition(i).name());
        }
        return textsJson(remarks, page_sizes::text);
    }

    const State& drive;
    const PageSettings& settings;
    DriveSpan span;
    MessageTable messages;
    PageSignals signals;
};

PageData DriveReport::page(const PageSettings& settings) const {
    return Page(*state, settings).data();
}

} // namespace rksignal
