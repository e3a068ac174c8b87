#include "trigger/FiringRows.h"

#include <cmath>

namespace rksignal {
namespace {

/// A number, or what JSON has for those that are none.
std::string jsonNumber(double value) {
    return std::isfinite(value) ? doubleText(value) : "null";
}

/// A signal at the time of a firing.
struct Reading {
    Reading(BaseSignal& signal, const Firing& firing) {
        unsigned long timestamp = 0;
        known = signal.read(value, timestamp);
        // Frames may stand out of order: the difference can be negative.
        age = static_cast<double>(static_cast<std::int64_t>(firing.timestamp - timestamp)) / 1e9;
    }

    double value = 0;
    double age = 0; ///< seconds
    bool known;
};

} // namespace

FiringRows::FiringRows(const RowSyntax& syntax, OutputBuffer& out, const TimeFormat& times, bool withHeader)
    : syntax(syntax), out(out), time(times) {
    if (withHeader && !syntax.json) {
        out.append("time,channel,bus,condition,signals\n");
    }
}

void FiringRows::fired(const Firing& firing) {
    std::string row(syntax.open);
    appendTime(row, syntax, time, firing.timestamp);
    appendOrigin(row, syntax, firing.origin);
    row += syntax.json ? ",\"condition\":" : ",";
    row += syntax.quote(firing.condition.name());
    row += syntax.json ? ",\"signals\":" : ",";
    row += syntax.json ? jsonSignals(firing) : syntax.quote(csvSignals(firing));
    row += syntax.close;
    out.append(row);
    out.endRow();
}

std::string FiringRows::csvSignals(const Firing& firing) {
    std::string text;
    for (BaseSignal* const signal : firing.condition.signals()) {
        const Reading reading(*signal, firing);
        text += (text.empty() ? "" : "; ") + signal->def.instance + '=';
        if (!reading.known) {
            text += "unknown";
            continue;
        }
        text += doubleText(reading.value);
        text += signal->def.unit.empty() ? "" : ' ' + signal->def.unit;
        text += " (" + doubleText(reading.age) + ')';
    }
    return text;
}

std::string FiringRows::jsonSignals(const Firing& firing) const {
    std::string text;
    for (BaseSignal* const signal : firing.condition.signals()) {
        const Reading reading(*signal, firing);
        text += (text.empty() ? "[{\"instance\":" : ",{\"instance\":") + syntax.quote(signal->def.instance);
        text += ",\"value\":" + (reading.known ? jsonNumber(reading.value) : "null");
        text += ",\"unit\":" + syntax.quote(signal->def.unit);
        text += ",\"age\":" + (reading.known ? jsonNumber(reading.age) : "null") + '}';
    }
    return text + ']';
}

} // namespace rksignal
