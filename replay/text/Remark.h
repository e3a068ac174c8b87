/// \file
/// What there is to say about definitions, conditions and traces: the one type of all diagnostics.
#pragma once

#include "text/Error.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace rksignal {

enum class Severity : std::uint8_t {
    Note,    ///< something was assumed, or may well be meant so; it is used
    Warning, ///< it can be used, but a part of it is left out or is hardly as it was meant
    Error,   ///< it could not be understood, and is not used
};

/// `remark`, `warning` or `error`
RKREPLAY_EXPORT const char* severityName(Severity severity);

struct Remark {
    std::string place; ///< `FILE:LINE`, `FILE:LINE:COLUMN`, `FILE#/can/3` (a JSON pointer, RFC 6901), `FILE`
    Severity severity = Severity::Error;
    std::string text;            ///< without line end
    std::string suggestion = {}; ///< what may have been meant: `close are A, B`; empty if there is nothing
    std::uint64_t line = 0;      ///< in the file, from 1; 0 if the place is not a line

    /// `TEXT; SUGGESTION`
    std::string message() const { return suggestion.empty() ? text : text + "; " + suggestion; }
};

/// Writes `PLACE: MESSAGE`, without a line end; control characters as `\x1B`.
RKREPLAY_EXPORT std::ostream& operator<<(std::ostream& out, const Remark& remark);

/// Remarks in the order in which they are added. Of each severity only the first are kept, so that damaged
/// input of any size takes little memory; all are counted.
class RKREPLAY_EXPORT RemarkList {
  public:
    static constexpr std::size_t defaultLimit = 1000;

    /// \param limit of the remarks of one severity that are kept
    explicit RemarkList(std::size_t limit = defaultLimit) : limit(limit) {}

    void add(Remark remark);
    /// Adds what `other` keeps whatever the limit, and a note at `place` that says how many it does not keep.
    void append(RemarkList&& other, const std::string& place);
    /// Sorts what is kept by line; those of one line keep their order.
    void sortByLine();

    const std::vector<Remark>& kept() const { return remarks; }
    std::vector<Remark>::const_iterator begin() const { return remarks.begin(); }
    std::vector<Remark>::const_iterator end() const { return remarks.end(); }
    bool empty() const { return remarks.empty(); }
    /// How many of this severity were added, kept or not.
    std::size_t count(Severity severity) const { return counts[static_cast<std::size_t>(severity)]; }
    /// How many were added here and are not kept.
    std::size_t omitted() const { return left; }

  private:
    std::vector<Remark> remarks;
    std::array<std::size_t, 3> counts{}; ///< by Severity
    std::size_t left = 0;
    std::size_t limit;
};

/// A file, or another input, that cannot be used at all. what() is the remarks, a line each.
class RKREPLAY_EXPORT RemarkError : public Error {
  public:
    explicit RemarkError(RemarkList remarks);
    const RemarkList& remarks() const { return list; }

  private:
    RemarkList list;
};

} // namespace rksignal
