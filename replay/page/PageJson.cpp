#include "page/PageJson.h"

#include <cmath>
#include <cstdint>
#include <utility>

namespace rksignal {
namespace {

/// What is escaped, with its form in a string of JSON: RFC 8259, 7. None of it stands outside of strings.
constexpr std::pair<std::string_view, std::string_view> escapes[] = {
    {"<", "\\u003c"},
    {">", "\\u003e"},
    {"&", "\\u0026"},
    {"\xE2\x80\xA8", "\\u2028"},
    {"\xE2\x80\xA9", "\\u2029"},
};

} // namespace

std::string elementText(const PageJson& document) {
    const std::string json = document.dump(-1, ' ', false, PageJson::error_handler_t::replace);
    std::string text;
    text.reserve(json.size());
    std::string_view rest = json;
    while (!rest.empty()) {
        const std::size_t plain = std::min(rest.find_first_of("<>&\xE2"), rest.size());
        text += rest.substr(0, plain);
        rest.remove_prefix(plain);
        std::size_t taken = rest.empty() ? 0 : 1;
        std::string_view form = rest.substr(0, taken);
        for (const auto& [character, escaped] : escapes) {
            if (rest.starts_with(character)) {
                taken = character.size();
                form = escaped;
            }
        }
        text += form;
        rest.remove_prefix(taken);
    }
    return text;
}

PageJson pageNumber(double value) {
    constexpr double exact = 9007199254740992.0; // 2^53
    if (!std::isfinite(value)) {
        return nullptr;
    }
    if (std::fabs(value) <= exact && std::trunc(value) == value) {
        return static_cast<std::int64_t>(value);
    }
    return value;
}

std::string boundedText(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) {
        return std::string(text);
    }
    const auto continuesCharacter = [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
    };
    std::size_t end = limit;
    while (end > 0 && limit - end < 4 && continuesCharacter(text[end])) {
        --end;
    }
    return std::string(text.substr(0, end)) + "...";
}

PageJson textOrNull(const std::string& text) {
    return text.empty() ? PageJson() : PageJson(text);
}

} // namespace rksignal
