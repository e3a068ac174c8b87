#include "text/Remark.h"

#include "text/PrintableText.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <sstream>
#include <utility>

namespace rksignal {
namespace {

std::string joined(const RemarkList& remarks) {
    std::ostringstream text;
    for (const Remark& remark : remarks) {
        text << (&remark == remarks.kept().data() ? "" : "\n") << remark;
    }
    return text.str();
}

} // namespace

const char* severityName(Severity severity) {
    switch (severity) {
    case Severity::Note:
        return "remark";
    case Severity::Warning:
        return "warning";
    case Severity::Error:
        break;
    }
    return "error";
}

std::ostream& operator<<(std::ostream& out, const Remark& remark) {
    return out << printable(remark.place) << ": " << printable(remark.message());
}

void RemarkList::add(Remark remark) {
    if (counts[static_cast<std::size_t>(remark.severity)]++ < limit) {
        remarks.push_back(std::move(remark));
    } else {
        ++left;
    }
}

void RemarkList::append(RemarkList&& other, const std::string& place) {
    for (std::size_t i = 0; i < counts.size(); ++i) {
        counts[i] += other.counts[i];
    }
    std::move(other.remarks.begin(), other.remarks.end(), std::back_inserter(remarks));
    if (other.left > 0) {
        const bool areErrors = other.count(Severity::Note) + other.count(Severity::Warning) == 0;
        remarks.push_back({place, areErrors ? Severity::Error : Severity::Note,
                           std::to_string(other.left) + (areErrors ? " more errors" : " more remarks")});
    }
}

void RemarkList::sortByLine() {
    std::stable_sort(remarks.begin(), remarks.end(),
                     [](const Remark& left, const Remark& right) { return left.line < right.line; });
}

RemarkError::RemarkError(RemarkList remarks) : Error(joined(remarks)), list(std::move(remarks)) {}

} // namespace rksignal
