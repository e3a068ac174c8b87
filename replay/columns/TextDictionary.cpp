#include "columns/TextDictionary.h"

#include "columns/ArrowExport.h"
#include "text/Error.h"

#include <limits>

namespace rksignal {

std::int32_t TextDictionary::add(std::string_view text) {
    if (const auto known = numbers.find(text); known != numbers.end()) {
        return known->second;
    }
    if (text.size() > std::numeric_limits<std::int32_t>::max() - characters.size()) {
        throw Error("the texts of a column take more than 2 GB");
    }
    const auto number = static_cast<std::int32_t>(size());
    numbers.emplace(text, number);
    characters += text;
    ends.push_back(static_cast<std::int32_t>(characters.size()));
    shared.reset();
    return number;
}

void TextDictionary::forget() {
    if (size() <= kept) {
        return;
    }
    std::erase_if(numbers,
                  [this](const auto& entry) { return static_cast<std::size_t>(entry.second) >= kept; });
    ends.resize(kept + 1);
    characters.resize(static_cast<std::size_t>(ends.back()));
    shared.reset();
}

void TextDictionary::exportTo(ArrowArray& out) {
    if (!shared) {
        shared = std::make_shared<const Content>(Content{ends, characters});
    }
    exportArray({.length = size(),
                 .buffers = {nullptr, shared->ends.data(), shared->characters.data()},
                 .owners = {shared}},
                out);
}

} // namespace rksignal
