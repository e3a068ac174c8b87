#include "info/InfoReport.h"

#include "output/SummaryText.h"
#include "output/TextTable.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <iterator>
#include <optional>
#include <utility>

namespace rksignal {
namespace {

using nlohmann::ordered_json;

/// By PassedMessage, for a reader and as members.
constexpr std::pair<const char*, const char*> passedNames[passedMessages] = {
    {"remote", "remote"},
    {"error", "error"},
    {"CAN XL", "can_xl"},
    {"not recorded in full", "truncated"},
    {"of other kinds", "other"}};

double perSecond(std::uint64_t count, std::uint64_t nanoseconds) {
    return nanoseconds == 0 ? 0 : static_cast<double>(count) * 1e9 / static_cast<double>(nanoseconds);
}

double rounded(double value, double steps) {
    return std::round(value * steps) / steps;
}

std::string tenths(double value) {
    return doubleText(rounded(value, 10));
}

std::string percent(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? "" : tenths(100 * static_cast<double>(part) / static_cast<double>(whole)) + " %";
}

/// `1700000000.000000 (2023-11-14T22:13:20.000000Z)`, or in the form that was asked for.
std::string momentText(std::uint64_t time, const TimeFormat& times) {
    const std::string iso = " (" + timeText(time, {TimeStyle::Iso, 0}) + ")";
    return timeText(time, times) + (times.style == TimeStyle::Iso ? "" : iso);
}

std::string totalsText(const InfoReport& report) {
    const SurveyTotals& totals = report.survey.totals();
    std::string text = std::to_string(totals.messages) + " message" + plural(totals.messages);
    for (std::size_t i = 0; i < passedMessages; ++i) {
        text +=
            totals.passed[i] > 0 ? ", " + std::to_string(totals.passed[i]) + ' ' + passedNames[i].first : "";
    }
    if (totals.messages > 0) {
        text += "\nfrom " + momentText(totals.first, report.times) + " to " +
                momentText(totals.last, report.times) + ", " + timeText(totals.last - totals.first) + " s";
    }
    if (totals.others > 0) {
        text += "\nof further identities, which are not told apart: " + std::to_string(totals.others) +
                " messages";
    }
    return text + '\n';
}

TextTable channelTable(const InfoReport& report) {
    const SurveyTotals& totals = report.survey.totals();
    const std::uint64_t duration = totals.last - totals.first;
    TextTable table({{"bus"},
                     {"channel", true},
                     {"messages", true},
                     {"messages/s", true},
                     {"bytes/s", true},
                     {"load", true},
                     {"with stuff bits", true}});
    for (const ChannelStatistics& each : report.survey.channels()) {
        const auto load = report.rates.loadOf(each, duration);
        table.add({std::string(kindName(each.kind)), std::to_string(each.channel), std::to_string(each.count),
                   tenths(perSecond(each.count, duration)), tenths(perSecond(each.bytes, duration)),
                   load ? tenths(100 * load->least) + " %" : "",
                   load ? tenths(100 * load->most) + " %" : ""});
    }
    return table;
}

TextTable fitTable(const InfoReport& report) {
    const CoverableFrames all = coverableFrames(report.survey);
    TextTable table({{"definitions"},
                     {"messages", true},
                     {"identifiers seen", true},
                     {"of all", true},
                     {"lengths agree", true},
                     {"frames covered", true}});
    for (const DefinitionFit& fit : report.fits) {
        table.add({fit.file, std::to_string(fit.defined), std::to_string(fit.identifiers),
                   percent(fit.identifiers, all.identifiers), std::to_string(fit.lengths),
                   percent(fit.frames, all.frames)});
    }
    return table;
}

/// A cell as JSON has it: numbers as they are, empty ones as null.
std::string jsonCell(const FrameColumn& column, const std::string& cell, bool timesAreTexts) {
    const bool isNumber =
        column.form == CellForm::Number || (column.form == CellForm::Time && !timesAreTexts);
    if (isNumber || (column.form == CellForm::Time && cell.empty())) {
        return cell.empty() ? "null" : cell;
    }
    return jsonSyntax.quote(cell);
}

std::string jsonRow(const FrameRow& row, const TimeFormat& times) {
    std::string text;
    for (const FrameColumn& column : frameColumns()) {
        text += (text.empty() ? "{\"" : ",\"") + std::string(column.name) +
                "\":" + jsonCell(column, column.cell(row, times), times.style == TimeStyle::Iso);
    }
    return text + '}';
}

ordered_json jsonTime(std::uint64_t time, const TimeFormat& times) {
    const std::string text = timeText(time, times);
    return times.style == TimeStyle::Iso ? ordered_json(text) : ordered_json::parse(text);
}

ordered_json jsonTraces(const Trace& traces) {
    ordered_json list = ordered_json::array();
    for (std::size_t i = 0; i < traces.count(); ++i) {
        list.push_back({{"name", traces.name(i)},
                        {"format", formatName(traces.format(i))},
                        {"messages", traces.report(i).messages},
                        {"lost", traces.report(i).lost}});
    }
    return list;
}

ordered_json jsonChannels(const InfoReport& report) {
    const std::uint64_t duration = report.survey.totals().last - report.survey.totals().first;
    ordered_json list = ordered_json::array();
    for (const ChannelStatistics& each : report.survey.channels()) {
        const auto load = report.rates.loadOf(each, duration);
        list.push_back(
            {{"bus", kindName(each.kind)},
             {"channel", each.channel},
             {"messages", each.count},
             {"messages_per_s", rounded(perSecond(each.count, duration), 1000)},
             {"bytes_per_s", rounded(perSecond(each.bytes, duration), 1000)},
             {"load", load ? ordered_json(rounded(load->least, 1e5)) : ordered_json()},
             {"load_with_stuff_bits", load ? ordered_json(rounded(load->most, 1e5)) : ordered_json()}});
    }
    return list;
}

ordered_json jsonFits(const InfoReport& report) {
    ordered_json list = ordered_json::array();
    for (const DefinitionFit& fit : report.fits) {
        list.push_back({{"file", fit.file},
                        {"messages", fit.defined},
                        {"identifiers", fit.identifiers},
                        {"lengths_agree", fit.lengths},
                        {"frames", fit.frames}});
    }
    return list;
}

} // namespace

void InfoReport::writeOverview(OutputBuffer& out) const {
    for (std::size_t i = 0; i < traces.count(); ++i) {
        const std::uint64_t messages = traces.report(i).messages;
        out.append(traces.name(i) + ": " + formatName(traces.format(i)) + ", " + std::to_string(messages) +
                   " message" + plural(messages) + '\n');
    }
    out.append(totalsText(*this) + '\n');
    if (const TextTable channels = channelTable(*this); channels.size() > 0) {
        channels.write(out);
        out.append("\n");
    }
    if (!fits.empty()) {
        fitTable(*this).write(out);
        out.append("\n");
    }
}

void InfoReport::writeTable(OutputBuffer& out) const {
    std::vector<TextTable::Column> columns;
    for (const FrameColumn& column : frameColumns()) {
        columns.push_back({std::string(column.name), column.form != CellForm::Text});
    }
    TextTable table(columns);
    for (const FrameRow& row : rows) {
        std::vector<std::string> cells;
        for (const FrameColumn& column : frameColumns()) {
            cells.push_back(column.cell(row, times));
        }
        table.add(std::move(cells));
    }
    table.write(out);
}

void InfoReport::writeRows(OutputBuffer& out, const RowSyntax& syntax) const {
    std::string header;
    for (const FrameColumn& column : frameColumns()) {
        header += (header.empty() ? "" : ",") + std::string(column.name);
    }
    out.append(syntax.json ? "" : header + '\n');
    for (const FrameRow& row : rows) {
        std::string text;
        for (const FrameColumn& column : frameColumns()) {
            text += (&column == &frameColumns().front() ? "" : ",") + syntax.quote(column.cell(row, times));
        }
        out.append((syntax.json ? jsonRow(row, times) : text) + '\n');
        out.endRow();
    }
}

void InfoReport::writeJson(OutputBuffer& out) const {
    const SurveyTotals& totals = survey.totals();
    ordered_json all{{"traces", jsonTraces(traces)}, {"messages", totals.messages}};
    for (std::size_t i = 0; i < passedMessages; ++i) {
        all["passed"][passedNames[i].second] = totals.passed[i];
    }
    all["further_identities"] = totals.others;
    all["first"] = totals.messages > 0 ? jsonTime(totals.first, times) : ordered_json();
    all["last"] = totals.messages > 0 ? jsonTime(totals.last, times) : ordered_json();
    all["duration"] = ordered_json::parse(timeText(totals.last - totals.first));
    all["channels"] = jsonChannels(*this);
    all["definitions"] = jsonFits(*this);
    std::string text = all.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    text.pop_back(); // the rows, whose numbers keep all their digits
    out.append(text + ",\"frames\":[");
    for (const FrameRow& row : rows) {
        out.append((&row == &rows.front() ? "\n" : ",\n") + jsonRow(row, times));
    }
    out.append("\n]}\n");
}

} // namespace rksignal
