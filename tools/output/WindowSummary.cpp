#include "output/WindowSummary.h"

#include <cstdint>
#include <ostream>

namespace rksignal {

void printWindow(std::ostream& out, const Trace& traces, const TimeFormat& times, bool onlyIfEmpty) {
    const WindowReport& report = traces.windowReport();
    std::uint64_t inside = 0;
    for (std::size_t i = 0; i < traces.count(); ++i) {
        inside += traces.report(i).messages;
    }
    if (report.outside == 0) {
        return;
    }
    if (inside == 0) {
        out << "warning: no message lies in the window of --from, --to and --for; the first one is of "
            << timeText(report.first, times) << ", the last one that was read of "
            << timeText(report.last, times) << '\n';
    } else if (!onlyIfEmpty) {
        out << "outside the window of time: " << report.outside << " messages"
            << (report.endedEarly ? "; behind it the traces were not read further" : "") << '\n';
    }
}

} // namespace rksignal
