#include "serve/ListenAddress.h"

#include "command/UsageError.h"
#include "text/ParseNumber.h"

#include <arpa/inet.h>
#include <array>
#include <climits>
#include <netinet/in.h>
#include <unistd.h>

namespace rksignal {

bool isLoopbackHost(const std::string& host) {
    constexpr std::uint32_t firstByte = 24;
    in_addr four{};
    in6_addr six{};
    if (inet_pton(AF_INET, host.c_str(), &four) == 1) {
        return ntohl(four.s_addr) >> firstByte == IN_LOOPBACKNET;
    }
    return inet_pton(AF_INET6, host.c_str(), &six) == 1 ? IN6_IS_ADDR_LOOPBACK(&six) != 0
                                                        : host == "localhost";
}

bool ListenAddress::isLoopback() const {
    return isLoopbackHost(host);
}

std::string ListenAddress::url(int actualPort) const {
    std::string shown = host.find(':') == host.npos ? host : "[" + host + "]";
    std::array<char, HOST_NAME_MAX + 1> name{};
    if ((host == "0.0.0.0" || host == "::") && gethostname(name.data(), name.size() - 1) == 0) {
        shown = name.data();
    }
    return "http://" + shown + ":" + std::to_string(actualPort) + "/";
}

ListenAddress parseListenAddress(const std::string& argument) {
    const auto wrong = [&argument] {
        return UsageError("--listen " + argument + ": not of the form ADDRESS, ADDRESS:PORT or :PORT");
    };
    ListenAddress address;
    const std::size_t bracket = argument.starts_with('[') ? argument.find(']') : 0;
    const std::size_t colon = argument.find(':', bracket);
    const bool isBareIpv6 =
        bracket == 0 && colon != argument.npos && argument.find(':', colon + 1) != argument.npos;
    if (bracket == argument.npos || argument.empty()) {
        throw wrong();
    }
    const std::size_t end = isBareIpv6 || colon == argument.npos ? argument.size() : colon;
    std::string host = argument.substr(0, end);
    if (bracket > 0) {
        if (bracket + 1 != end) {
            throw wrong();
        }
        host = host.substr(1, bracket - 1);
    }
    if (end < argument.size()) {
        const auto port = parseNumber<std::uint16_t>(std::string_view(argument).substr(end + 1));
        if (!port) {
            throw UsageError("--listen " + argument + ": the port is not a number from 0 to 65535");
        }
        address.port = *port;
    }
    if (!host.empty()) {
        address.host = host;
    } else if (bracket > 0) {
        throw wrong();
    }
    return address;
}

} // namespace rksignal
