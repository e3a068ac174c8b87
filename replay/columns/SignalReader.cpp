#include "columns/SignalReader.h"

#include "input/GPSSignal.h"

#include <algorithm>

namespace rksignal {

SignalReader::SignalReader(BaseSignal& signal, std::shared_ptr<TextDictionary> texts)
    : signal(&signal), scale(signal.def.scale), offset(signal.def.offset), type(signal.def.type),
      computesTexts(dynamic_cast<const GPSSignal*>(&signal) != nullptr), texts(std::move(texts)) {
    constexpr std::uint64_t directEnd = 256;
    for (const auto& [raw, text] : signal.def.valueDescriptions) {
        if (text.empty() || computesTexts) {
            continue;
        }
        const std::int32_t number = this->texts->add(text);
        if (raw < directEnd) {
            direct.resize(raw + 1, noText);
            direct[raw] = number;
        } else {
            others.emplace_back(raw, number);
        }
    }
    hasMore = computesTexts || !others.empty();
}

std::int32_t SignalReader::otherText(std::uint64_t raw) {
    if (computesTexts) {
        const std::string text = signal->getValueDescription(raw);
        return text.empty() ? noText : texts->add(text);
    }
    const auto entry =
        std::ranges::lower_bound(others, raw, {}, [](const auto& other) { return other.first; });
    return entry != others.end() && entry->first == raw ? entry->second : noText;
}

} // namespace rksignal
