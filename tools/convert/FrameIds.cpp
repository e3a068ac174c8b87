#include "convert/FrameIds.h"

#include "command/UsageError.h"
#include "text/ParseNumber.h"

#include <algorithm>
#include <optional>

namespace rksignal {
namespace {

constexpr std::uint32_t greatestId = ~std::uint32_t{0};

std::optional<SignalKind> kindOf(std::string_view name) {
    for (std::size_t i = 0; i < signalKinds; ++i) {
        if (kindName(static_cast<SignalKind>(i)) == name) {
            return static_cast<SignalKind>(i);
        }
    }
    return std::nullopt;
}

struct Identifier {
    std::uint32_t number;
    bool extended;
};

std::optional<Identifier> parseIdentifier(SignalKind kind, std::string_view text) {
    constexpr std::size_t longestStandard = 3;
    constexpr std::uint32_t greatestOfWidth[] = {0x7FF, 0x1FFFFFFF};
    const bool isHex = kind == SignalKind::Can || kind == SignalKind::Lin;
    const auto number = parseNumber<std::uint32_t>(text, isHex ? 16 : 10);
    const bool extended = kind == SignalKind::Can && text.size() > longestStandard;
    const bool fits = number && (kind != SignalKind::Can || *number <= greatestOfWidth[extended ? 1 : 0]);
    return fits ? std::optional(Identifier{*number, extended}) : std::nullopt;
}

} // namespace

FrameIds::FrameIds(const std::vector<std::string>& arguments) {
    for (const std::string_view argument : arguments) {
        for (std::size_t begin = 0; begin <= argument.size();) {
            const std::size_t end = std::min(argument.find(',', begin), argument.size());
            add(argument.substr(begin, end - begin));
            begin = end + 1;
        }
    }
}

void FrameIds::add(std::string_view item) {
    const std::size_t colon = item.find(':');
    if (const auto all = kindOf(item)) {
        for (const bool extended : {false, true}) {
            ranges.push_back({*all, extended, 0, greatestId});
        }
        return;
    }
    const auto kind = colon != item.npos ? kindOf(item.substr(0, colon)) : SignalKind::Can;
    const std::string_view numbers = item.substr(colon + 1); // npos + 1 is 0
    const std::size_t dash = std::min(numbers.find('-'), numbers.size());
    const auto first = kind ? parseIdentifier(*kind, numbers.substr(0, dash)) : std::nullopt;
    const auto last =
        kind && dash < numbers.size() ? parseIdentifier(*kind, numbers.substr(dash + 1)) : first;
    if (!first || !last || first->extended != last->extended || first->number > last->number) {
        throw UsageError("--ids " + std::string(item) +
                         ": not an identifier or a range, such as 1A0, 18FEF100, 100-1FF, lin:3C, "
                         "flexray:41 or ethernet");
    }
    ranges.push_back({*kind, first->extended, first->number, last->number});
}

bool FrameIds::contains(SignalKind kind, std::uint32_t id, bool extended) const {
    return std::any_of(ranges.begin(), ranges.end(), [&](const Range& range) {
        return range.kind == kind && range.extended == extended && range.first <= id && id <= range.last;
    });
}

} // namespace rksignal
