/// \file
/// Who may see the page of `rksignal serve`: whatever a request says, only one that holds the token gets in.
#include "serve/Access.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t first = text.find('\n');
    const std::size_t second = first == text.npos ? first : text.find('\n', first + 1);
    rksignal::Visit visit;
    visit.path = "/api/values";
    visit.cookies = text.substr(0, first);
    visit.authorization = first == text.npos ? "" : text.substr(first + 1, second - first - 1);
    visit.host = second == text.npos ? "" : text.substr(second + 1);
    const std::string token = "0123456789abcdef";
    const rksignal::Verdict verdict = rksignal::Access(token, "kept").judge(visit);
    if (verdict != rksignal::Verdict::NoToken && text.find(token) == text.npos) {
        std::abort();
    }
    const rksignal::Verdict open = rksignal::Access().judge(visit);
    const std::string_view host = visit.host;
    const bool mayBeLoopback =
        host.starts_with("127.") || host.starts_with("localhost") || host.starts_with('[');
    if (open != rksignal::Verdict::WrongHost && !mayBeLoopback) {
        std::abort();
    }
    return 0;
}
