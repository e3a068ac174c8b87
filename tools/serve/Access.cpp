#include "serve/Access.h"

#include "serve/ListenAddress.h"
#include "text/Error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <sys/random.h>
#include <system_error>

namespace rksignal {
namespace {

constexpr std::size_t shortestToken = 16;
constexpr std::size_t longestToken = 128;

bool isTokenCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

std::string_view withoutSpaces(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t\r");
    return begin == text.npos ? std::string_view()
                              : text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

} // namespace

Verdict Access::judge(const Visit& visit) const {
    if (token.empty()) {
        if (!isLoopbackHost(std::string(hostOf(visit.host)))) {
            return Verdict::WrongHost;
        }
    } else {
        constexpr std::string_view scheme = "Bearer ";
        const std::string_view given = visit.authorization;
        const bool isBearer = given.starts_with(scheme) &&
                              equalInConstantTime(withoutSpaces(given.substr(scheme.size())), token);
        const auto kept = cookieValue(visit.cookies, cookie);
        const bool isKept = kept && equalInConstantTime(*kept, token);
        const bool isInAddress = equalInConstantTime(visit.token, token);
        if (!isBearer && !isKept && !isInAddress) {
            return Verdict::NoToken;
        }
        if (!isBearer && !isKept) {
            return Verdict::WelcomeWithCookie;
        }
    }
    const bool isForeign =
        !visit.fetchSite.empty() && visit.fetchSite != "same-origin" && visit.fetchSite != "none";
    return isForeign && visit.path != "/" ? Verdict::ForeignPage : Verdict::Welcome;
}

std::string randomToken() {
    std::array<unsigned char, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw std::system_error(errno, std::generic_category(), "no random numbers for a token");
    }
    std::string text;
    for (const unsigned char byte : bytes) {
        constexpr std::string_view digits = "0123456789abcdef";
        constexpr unsigned char low = 0xF;
        text += digits[byte >> 4];
        text += digits[byte & low];
    }
    return text;
}

std::string readToken(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::array<char, longestToken + 4> start{}; // room for a line end, and to see that there is more
    file.read(start.data(), start.size());
    if (file.bad() || (file.gcount() == 0 && !file.eof()) || !file.is_open()) {
        throw Error(path, errno);
    }
    const std::string_view all(start.data(), static_cast<std::size_t>(file.gcount()));
    const std::string_view line = withoutSpaces(all.substr(0, all.find('\n')));
    if (line.size() < shortestToken || line.size() > longestToken ||
        !std::ranges::all_of(line, isTokenCharacter)) {
        throw Error(path + ": the first line is no token of 16 to 128 letters, digits and -._~");
    }
    return std::string(line);
}

bool equalInConstantTime(std::string_view left, std::string_view right) {
    if (left.size() != right.size()) {
        return false;
    }
    volatile unsigned char difference = 0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        difference = static_cast<unsigned char>(difference | (left[i] ^ right[i]));
    }
    return difference == 0;
}

std::optional<std::string_view> cookieValue(std::string_view header, std::string_view name) {
    while (!header.empty()) {
        const std::size_t end = std::min(header.find(';'), header.size());
        const std::string_view pair = withoutSpaces(header.substr(0, end));
        if (pair.starts_with(name) && pair.substr(name.size()).starts_with('=')) {
            return pair.substr(name.size() + 1);
        }
        header.remove_prefix(std::min(end + 1, header.size()));
    }
    return std::nullopt;
}

std::string_view hostOf(std::string_view header) {
    if (header.starts_with('[')) {
        const std::size_t end = header.find(']');
        return end == header.npos ? std::string_view() : header.substr(1, end - 1);
    }
    return header.substr(0, header.find(':'));
}

} // namespace rksignal
