#include "output/TextWidth.h"

#include <algorithm>
#include <clocale>
#include <cwchar>

namespace rksignal {
namespace {

/// Makes the C library read UTF-8 in this thread, as it does without regard to the user's locale.
class Utf8Locale {
  public:
    Utf8Locale() : former(locale() != locale_t{} ? uselocale(locale()) : locale_t{}) {}
    ~Utf8Locale() {
        if (former != locale_t{}) {
            uselocale(former);
        }
    }
    Utf8Locale(const Utf8Locale&) = delete;
    Utf8Locale& operator=(const Utf8Locale&) = delete;

  private:
    static locale_t locale() {
        static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
        return utf8;
    }

    locale_t former;
};

struct Extent {
    std::size_t bytes;
    std::size_t cells;
};

/// Of the first character of `text`, which is not empty.
Extent firstCharacter(std::string_view text) {
    wchar_t character = 0;
    std::mbstate_t state{};
    const std::size_t bytes = std::mbrtowc(&character, text.data(), text.size(), &state);
    if (bytes == 0 || bytes > text.size()) { // a zero, or not valid
        return {1, 1};
    }
    const int cells = wcwidth(character);
    return {bytes, cells < 0 ? 1 : static_cast<std::size_t>(cells)};
}

/// The longest start of the text that takes at most so many cells.
Extent fitting(std::string_view text, std::size_t cells) {
    const Utf8Locale locale;
    Extent taken{0, 0};
    while (taken.bytes < text.size()) {
        const Extent next = firstCharacter(text.substr(taken.bytes));
        if (next.cells > cells - taken.cells) {
            break;
        }
        taken.bytes += next.bytes;
        taken.cells += next.cells;
    }
    return taken;
}

} // namespace

std::size_t textWidth(std::string_view text) {
    const auto isPlain = [](char byte) { return static_cast<unsigned char>(byte) < 0x80; };
    return std::all_of(text.begin(), text.end(), isPlain) ? text.size() : fitting(text, text.npos).cells;
}

std::string shortened(std::string_view text, std::size_t cells) {
    if (fitting(text, cells).bytes == text.size()) {
        return std::string(text);
    }
    return cells == 0 ? "" : std::string(text.substr(0, fitting(text, cells - 1).bytes)) + "…";
}

} // namespace rksignal
