/// \file
/// The signals of a page, with their curves.
#pragma once

#include "catalog/Catalog.h"
#include "curve/CurveRecorder.h"
#include "page/MessageTable.h"
#include "page/PageJson.h"
#include "page/PageSizes.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace rksignal {

/// From the first message to the last, nanoseconds since 1970-01-01 UTC.
struct DriveSpan {
    std::uint64_t from = 0;
    std::uint64_t to = 0;

    /// Of a time in microseconds since `from`.
    std::uint64_t micro(std::uint64_t time) const { return time > from ? (time - from) / 1000 : 0; }
};

/// Chooses the signals of a page and packs their curves.
class PageSignals {
  public:
    /// `panels` as in PageSettings. What is referred to must outlive the object.
    PageSignals(const Catalog& catalog, const CurveRecorder& curves, const MessageTable& messages,
                DriveSpan span, std::span<const std::vector<std::size_t>> panels);

    /// The signals in their order, without the places of their curves. Call it once.
    PageJson json();
    /// Gives `signals`, which json() has made, the places of their curves, and `bytes` the points: about
    /// `total` bytes at most.
    void addCurves(PageJson& signals, std::size_t total, std::string& bytes) const;

    /// The place of a signal in json().
    std::optional<std::size_t> placeOf(const std::string& instance) const;

    std::size_t omittedSignals() const { return curves.signals().size() - chosen.size(); }
    /// Comments and texts of values for which there is no room.
    std::size_t omittedTexts() const { return leftTexts; }

  private:
    void choose();
    std::string takeText(const std::string& text, std::size_t limit);
    PageJson jsonOf(std::size_t signal);
    PageJson textsOf(const Curve& curve);
    PageJson sparkOf(const Curve& curve) const;
    std::vector<std::size_t> shares(std::size_t total) const;
    PageJson packed(const Curve& curve, std::size_t share, std::string& bytes, PageJson& signal) const;

    const Catalog& catalog;
    const CurveRecorder& curves;
    const MessageTable& messages;
    DriveSpan span;
    std::vector<std::optional<std::size_t>> panelOf; ///< by index in Catalog::signals()
    std::vector<std::size_t> chosen;                 ///< the same indices, ascending
    std::unordered_map<std::string_view, std::size_t> places;
    std::size_t room = page_sizes::signalTexts;
    std::size_t leftTexts = 0;
};

} // namespace rksignal
