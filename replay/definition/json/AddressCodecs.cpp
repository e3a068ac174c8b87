// The codecs of network addresses.

#include "definition/json/Codecs.h"

#include <arpa/inet.h>
#include <array>
#include <cstddef>

namespace rksignal {
namespace {

constexpr std::size_t octets = 6;
constexpr std::size_t macLength = 3 * octets - 1;
constexpr const char* hexDigits = "0123456789ABCDEFabcdef";

bool isMacAddress(const std::string& text) {
    if (text.size() != macLength) {
        return false;
    }
    for (std::size_t i = 0; i < macLength; ++i) {
        const bool fits =
            i % 3 == 2 ? text[i] == ':' : std::string_view(hexDigits).find(text[i]) != std::string_view::npos;
        if (!fits) {
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<std::uint64_t> MacAddressCodec::read(const JsonValue& value, const Place& place,
                                                   Findings& findings) const {
    if (!value.is_string() || !isMacAddress(value.get_ref<const std::string&>())) {
        findings.expected("a MAC address as \"02:00:00:00:00:01\"", value, place);
        return std::nullopt;
    }
    auto text = value.get<std::string>();
    std::erase(text, ':');
    return std::stoull(text, nullptr, 16);
}

JsonOutput MacAddressCodec::write(Value value) const {
    std::string text;
    for (std::size_t i = 0; i < octets; ++i) {
        const auto octet = value >> (8 * (octets - 1 - i)) & 0xFF;
        text += i == 0 ? "" : ":";
        text += {hexDigits[octet / 16], hexDigits[octet % 16]};
    }
    return text;
}

JsonOutput MacAddressCodec::schema() const {
    return {{"type", "string"}, {"pattern", "^([0-9A-Fa-f]{2}:){5}[0-9A-Fa-f]{2}$"}};
}

std::optional<std::uint32_t> Ipv4AddressCodec::read(const JsonValue& value, const Place& place,
                                                    Findings& findings) const {
    in_addr address{};
    if (value.is_string() && inet_pton(AF_INET, value.get_ref<const std::string&>().c_str(), &address) == 1) {
        return address.s_addr;
    }
    findings.expected("an IPv4 address as \"10.0.0.1\"", value, place);
    return std::nullopt;
}

JsonOutput Ipv4AddressCodec::write(Value value) const {
    std::array<char, INET_ADDRSTRLEN> text{};
    const in_addr address{value};
    return std::string(inet_ntop(AF_INET, &address, text.data(), text.size()));
}

JsonOutput Ipv4AddressCodec::schema() const {
    const std::string octet = "(25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])";
    return {{"type", "string"}, {"pattern", "^(" + octet + "[.]){3}" + octet + "$"}};
}

} // namespace rksignal
