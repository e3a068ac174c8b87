#include "audit/AuditReport.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>

namespace rksignal {
namespace {

using FindingJson = nlohmann::ordered_json;

/// Texts of definitions may hold anything; a finding is one line.
std::string lineOf(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char byte) { return byte < ' ' || byte == 0x7F; }, ' ');
    return text;
}

/// `Engine.Counter, can 0 0C9`
std::string placeOf(const Finding& finding) {
    std::string place = finding.instance.empty() ? finding.message : finding.instance;
    place += (place.empty() ? "" : ", ") + std::string(kindName(finding.kind));
    place += finding.channel ? ' ' + std::to_string(*finding.channel) : "";
    return place + (finding.identifier.empty() ? "" : ' ' + finding.identifier);
}

/// A time as it is shown; a number, but for dates.
FindingJson jsonMoment(std::uint64_t time, const TimeFormat& times) {
    const std::string text = timeText(time, times);
    return times.style == TimeStyle::Iso ? FindingJson(text) : FindingJson::parse(text);
}

FindingJson jsonOf(const Finding& finding, const TimeFormat& times) {
    const auto textOrNull = [](const std::string& text) {
        return text.empty() ? FindingJson() : FindingJson(text);
    };
    FindingJson object{{"rule", infoOf(finding.rule).name},
                       {"severity", findingSeverityName(finding.severity)},
                       {"bus", kindName(finding.kind)},
                       {"channel", finding.channel ? FindingJson(*finding.channel) : FindingJson()},
                       {"id", textOrNull(finding.identifier)},
                       {"message", textOrNull(finding.message)},
                       {"instance", textOrNull(finding.instance)},
                       {"text", finding.text},
                       {"count", finding.count},
                       {"first", finding.count > 0 ? jsonMoment(finding.first, times) : FindingJson()},
                       {"last", finding.count > 0 ? jsonMoment(finding.last, times) : FindingJson()},
                       {"occurrences", FindingJson::array()}};
    for (const Occurrence& each : finding.occurrences) {
        object["occurrences"].push_back({{"time", jsonMoment(each.time, times)}, {"text", each.text}});
    }
    return object;
}

} // namespace

void AuditReport::writeText(OutputBuffer& out) const {
    for (const Finding& finding : findings) {
        out.append(lineOf(std::string(findingSeverityName(finding.severity)) + ' ' +
                          std::string(infoOf(finding.rule).name) + ": " + placeOf(finding) + ": " +
                          finding.text) +
                   '\n');
        for (const Occurrence& each : finding.occurrences) {
            out.append("  " + timeText(each.time, times) + ' ' + lineOf(each.text) + '\n');
        }
        if (!finding.occurrences.empty() && finding.count > finding.occurrences.size()) {
            out.append("  " + std::to_string(finding.count) + " in all, from " +
                       timeText(finding.first, times) + " to " + timeText(finding.last, times) + '\n');
        }
        out.endRow();
    }
}

void AuditReport::writeJson(OutputBuffer& out) const {
    const auto number = counts();
    const FindingJson head{{"errors", number[2]}, {"warnings", number[1]}, {"notes", number[0]}};
    std::string text = head.dump();
    text.pop_back();
    out.append(text + ",\"findings\":[");
    for (const Finding& finding : findings) {
        out.append((&finding == &findings.front() ? "\n" : ",\n") +
                   jsonOf(finding, times).dump(-1, ' ', false, FindingJson::error_handler_t::replace));
    }
    out.append("\n]}\n");
}

std::array<std::size_t, 3> AuditReport::counts() const {
    std::array<std::size_t, 3> number{};
    for (const Finding& finding : findings) {
        ++number[static_cast<std::size_t>(finding.severity)];
    }
    return number;
}

} // namespace rksignal
