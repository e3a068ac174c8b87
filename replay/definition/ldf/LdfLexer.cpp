#include "definition/ldf/LdfLexer.h"

#include "text/ParseNumber.h"

#include <algorithm>
#include <utility>

namespace rksignal {
namespace {

constexpr std::string_view ldfBlanks = " \t\r\n\f\v";
constexpr std::string_view ldfSigns = "{}:;,=%";

} // namespace

bool LdfToken::isWord() const {
    return !isQuoted && !text.empty() && ldfSigns.find(text.front()) == ldfSigns.npos;
}

LdfToken LdfLexer::take() {
    LdfToken taken = token;
    advance();
    return taken;
}

bool LdfLexer::accept(char sign) {
    const bool isThere = token.is(sign);
    if (isThere) {
        advance();
    }
    return isThere;
}

void LdfLexer::skip(std::size_t size) {
    size = std::min(size, text.size());
    line += static_cast<unsigned>(
        std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size), '\n'));
    text.remove_prefix(size);
}

void LdfLexer::skipBlanks() {
    while (true) {
        skip(std::min(text.find_first_not_of(ldfBlanks), text.size()));
        if (text.starts_with("//")) {
            skip(std::min(text.find('\n'), text.size()));
        } else if (text.starts_with("/*")) {
            const std::size_t end = text.find("*/", 2);
            if (end == text.npos) {
                notes.error(line, "the comment is not closed");
            }
            skip(end == text.npos ? text.size() : end + 2);
        } else {
            return;
        }
    }
}

void LdfLexer::advance() {
    skipBlanks();
    token = {{}, false, line};
    if (text.empty()) {
        return;
    }
    if (text.front() == '"') {
        const std::size_t end = text.find('"', 1);
        if (end == text.npos) {
            notes.error(line, "the quoted text is not closed");
        }
        token.isQuoted = true;
        token.text = text.substr(1, end == text.npos ? end : end - 1);
        return skip(end == text.npos ? text.size() : end + 1);
    }
    std::size_t size = 1;
    if (ldfSigns.find(text.front()) == ldfSigns.npos) {
        size = text.find_first_of(" \t\r\n\f\v{}:;,=%\"");
        size = std::min({size, text.find("//"), text.find("/*"), text.size()});
    }
    token.text = text.substr(0, size);
    skip(size);
}

std::optional<std::uint64_t> ldfInteger(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        return parseNumber<std::uint64_t>(text.substr(2), 16);
    }
    return parseNumber<std::uint64_t>(text);
}

} // namespace rksignal
