#include "serve/RecentFirings.h"

#include <algorithm>

namespace rksignal {
namespace {

/// No character of UTF-8 is cut apart.
void shorten(std::string& text, std::size_t limit) {
    constexpr unsigned continuationMask = 0xC0;
    constexpr unsigned continuation = 0x80;
    if (text.size() > limit) {
        std::size_t end = limit;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & continuationMask) == continuation) {
            --end;
        }
        text.replace(end, text.npos, "...");
    }
}

} // namespace

RecentFirings::RecentFirings(const Triggers& triggers)
    : triggers(triggers),
      mostKept(std::clamp<std::size_t>(mostBytes / longestText / std::max<std::size_t>(triggers.size(), 1), 1,
                                       mostOfCondition)),
      kept(triggers.size()) {}

void RecentFirings::fired(const Firing& firing) {
    std::deque<KeptFiring>& all = kept[firing.trigger];
    if (all.size() == mostKept) {
        all.pop_front();
    }
    all.push_back({firing.timestamp, {}, triggers.explain(firing.condition)});
    shorten(all.back().why, longestText);
}

void RecentFirings::ended(std::size_t trigger, std::uint64_t timestamp) {
    std::deque<KeptFiring>& all = kept[trigger];
    if (!all.empty() && !all.back().end) {
        all.back().end = std::max(timestamp, all.back().time);
    }
}

} // namespace rksignal
