#include "signal/FieldRun.h"

#include "signal/FieldWriter.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace {

/// What signals of one run have in common. Update bits are in no order.
auto dependence(const FieldPlace& place) {
    return std::tuple(place.conditional, place.search, place.sought);
}
auto sortedBy(const FieldPlace& place) {
    return std::tuple(place.conditional, place.search,
                      place.search == FieldPlace::updateBit ? 0 : place.sought);
}

} // namespace

StoringOrder::StoringOrder(std::span<const FieldWriter> writers, bool wordsOfRuns) : places(writers.size()) {
    std::iota(places.begin(), places.end(), 0U);
    std::stable_sort(places.begin(), places.end(), [&writers](std::uint32_t left, std::uint32_t right) {
        return sortedBy(writers[left].place) < sortedBy(writers[right].place);
    });
    constexpr std::uint32_t word = 8;
    std::uint32_t rangesEnd = 0; // of the run, as the next
    std::uint32_t wordsEnd = 0;
    const FieldPlace* before = nullptr;
    for (std::uint32_t stored = 0; stored < places.size(); ++stored) {
        const FieldPlace& place = writers[places[stored]].place;
        if (before == nullptr || dependence(*before) != dependence(place)) {
            runs.push_back({place.sought, 0, stored, place.search, place.conditional});
            rangesEnd = wordsEnd = 0;
        }
        rangesEnd = std::max(rangesEnd, place.end());
        wordsEnd = std::max(wordsEnd, place.startByte + word);
        runs.back().reach = wordsOfRuns && rangesEnd <= word ? word : wordsEnd;
        before = &place;
    }
    runs.push_back({0, 0, static_cast<std::uint32_t>(places.size()), 0, false});
}
