#include "info/FrameTableColumns.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <tuple>

namespace rksignal {
namespace {

/// `standard`, `extended`, and whether CAN FD frames came.
std::string frameForm(const FrameStatistics& frames) {
    if (frames.identity.kind != SignalKind::Can) {
        return "";
    }
    return std::string(frames.isFd ? "fd " : "") + (frames.identity.extended ? "extended" : "standard");
}

std::string percentileText(const FrameStatistics& frames, unsigned percent) {
    return frames.cycle.count() == 0 ? "" : millisecondsText(frames.cycle.percentile(percent));
}

template <unsigned percent>
double percentileSize(const FrameStatistics& frames) {
    return static_cast<double>(frames.cycle.percentile(percent));
}

template <auto member>
double sizeOf(const FrameStatistics& frames) {
    return static_cast<double>(frames.*member);
}

template <auto member>
std::string numberOf(const FrameRow& row, const TimeFormat& /*times*/) {
    return std::to_string(row.frames->*member);
}

constexpr FrameColumn columns[] = {
    {"bus", CellForm::Text,
     [](const FrameRow& row, const TimeFormat&) { return std::string(kindName(row.frames->identity.kind)); },
     nullptr},
    {"channel", CellForm::Number,
     [](const FrameRow& row, const TimeFormat&) {
         const auto& channel = row.frames->identity.channel;
         return channel ? std::to_string(*channel) : "";
     },
     nullptr},
    {"id", CellForm::Text,
     [](const FrameRow& row, const TimeFormat&) { return identityText(row.frames->identity); }, nullptr},
    {"form", CellForm::Text, [](const FrameRow& row, const TimeFormat&) { return frameForm(*row.frames); },
     nullptr},
    {"count", CellForm::Number, numberOf<&FrameStatistics::count>, sizeOf<&FrameStatistics::count>},
    {"first", CellForm::Time,
     [](const FrameRow& row, const TimeFormat& times) { return timeText(row.frames->first, times); },
     [](const FrameStatistics& frames) { return -static_cast<double>(frames.first); }},
    {"last", CellForm::Time,
     [](const FrameRow& row, const TimeFormat& times) { return timeText(row.frames->last, times); },
     [](const FrameStatistics& frames) { return -static_cast<double>(frames.last); }},
    {"cycle_ms", CellForm::Number,
     [](const FrameRow& row, const TimeFormat&) { return percentileText(*row.frames, 50); },
     percentileSize<50>},
    {"cycle_p1_ms", CellForm::Number,
     [](const FrameRow& row, const TimeFormat&) { return percentileText(*row.frames, 1); },
     percentileSize<1>},
    {"cycle_p99_ms", CellForm::Number,
     [](const FrameRow& row, const TimeFormat&) { return percentileText(*row.frames, 99); },
     percentileSize<99>},
    {"gap_ms", CellForm::Number,
     [](const FrameRow& row, const TimeFormat&) {
         return row.frames->cycle.count() == 0 ? "" : millisecondsText(row.frames->longestGap);
     },
     sizeOf<&FrameStatistics::longestGap>},
    {"gap_at", CellForm::Time,
     [](const FrameRow& row, const TimeFormat& times) {
         return row.frames->cycle.count() == 0 ? "" : timeText(row.frames->longestGapBegin, times);
     },
     [](const FrameStatistics& frames) { return -static_cast<double>(frames.longestGapBegin); }},
    {"shortest", CellForm::Number, numberOf<&FrameStatistics::shortest>, sizeOf<&FrameStatistics::shortest>},
    {"longest", CellForm::Number, numberOf<&FrameStatistics::longest>, sizeOf<&FrameStatistics::longest>},
    {"changes", CellForm::Text,
     [](const FrameRow& row, const TimeFormat&) { return changedBytesText(row.frames->changes); },
     [](const FrameStatistics& frames) { return static_cast<double>(frames.changes.bytes().count()); }},
    {"names", CellForm::Text, [](const FrameRow& row, const TimeFormat&) { return row.names; }, nullptr},
};

auto placeOf(const FrameStatistics& frames) {
    const FrameIdentity& identity = frames.identity;
    return std::tuple(identity.kind, identity.channel.value_or(0), identity.extended, identity.id);
}

} // namespace

std::span<const FrameColumn> frameColumns() {
    return columns;
}

std::string changedBytesText(const ByteChanges& changes) {
    const auto& changed = changes.bytes();
    std::string text;
    for (std::size_t begin = 0; begin < changed.size(); ++begin) {
        std::size_t end = begin;
        while (end < changed.size() && changed[end]) {
            ++end;
        }
        if (end > begin) {
            text += (text.empty() ? "" : ",") + std::to_string(begin) +
                    (end > begin + 1 ? '-' + std::to_string(end - 1) : "");
            begin = end;
        }
    }
    return text;
}

std::string millisecondsText(std::uint64_t nanoseconds) {
    const std::uint64_t microseconds = (nanoseconds + 500) / 1000;
    return doubleText(static_cast<double>(microseconds) / 1000);
}

void sortRows(std::vector<FrameRow>& rows, std::string_view column) {
    std::stable_sort(rows.begin(), rows.end(), [](const FrameRow& left, const FrameRow& right) {
        return placeOf(*left.frames) < placeOf(*right.frames);
    });
    const auto* const found = std::find_if(std::begin(columns), std::end(columns),
                                           [column](const FrameColumn& each) { return each.name == column; });
    if (found == std::end(columns)) {
        return;
    }
    std::stable_sort(rows.begin(), rows.end(), [found](const FrameRow& left, const FrameRow& right) {
        return found->size != nullptr ? found->size(*left.frames) > found->size(*right.frames)
                                      : found->cell(left, {}) < found->cell(right, {});
    });
}

} // namespace rksignal
