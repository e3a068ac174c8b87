#include "publish/BrokerArguments.h"

#include "command/UsageError.h"
#include "text/Error.h"
#include "text/ParseNumber.h"
#include "text/PrintableText.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <unistd.h>

namespace rksignal {
namespace {

/// Takes `HOST[:PORT]` apart; an address of IPv6 with a port is in brackets.
void setAddress(const std::string& text, BrokerSettings& settings) {
    const std::size_t bracket = text.starts_with('[') ? text.find(']') : std::string::npos;
    const bool isBare = bracket == text.npos && std::count(text.begin(), text.end(), ':') != 1;
    const std::size_t colon = isBare ? text.npos : text.find(':', bracket == text.npos ? 0 : bracket);
    settings.host = bracket == text.npos ? text.substr(0, colon) : text.substr(1, bracket - 1);
    if (colon != text.npos) {
        const std::string port = text.substr(colon + 1);
        const auto number = parseNumber<std::uint16_t>(port);
        if (!number || *number == 0) {
            throw UsageError("--broker " + text + ": " + port + " is no port");
        }
        settings.port = *number;
    }
    if (settings.host.empty()) {
        throw UsageError("--broker " + text + ": there is no host");
    }
}

/// The first line of a file, so that the password stands in no list of processes.
std::string passwordIn(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    if (!std::getline(file, line)) {
        throw UsageError("--password-file " + path + ": cannot read a line from it");
    }
    return line;
}

void expectReadable(const std::string& option, const std::string& path) {
    if (!path.empty() && access(path.c_str(), R_OK) != 0) {
        throw Error(option + " " + printable(path), errno);
    }
}

} // namespace

void addBrokerArguments(CLI::App& command, BrokerArguments& arguments) {
    BrokerSettings& connection = arguments.settings;
    command
        .add_option("--broker", arguments.broker, "The MQTT broker, by default on port 1883, 8883 with TLS")
        ->type_name("HOST[:PORT]")
        ->required();
    command.add_option("--client-id", connection.clientId, "Name of this client at the broker")
        ->type_name("NAME");
    CLI::Option* const user =
        command.add_option("--user", connection.user, "User at the broker")->type_name("NAME");
    command
        .add_option("--password-file", arguments.passwordFile, "File whose first line is the user's password")
        ->type_name("FILE")
        ->needs(user);
    CLI::Option* const authorities =
        command
            .add_option("--ca-file", connection.caFile, "Encrypt (TLS), and trust these authorities (PEM)")
            ->type_name("FILE");
    CLI::Option* const certificate =
        command.add_option("--cert", connection.certificate, "Certificate of this client (PEM)")
            ->type_name("FILE")
            ->needs(authorities);
    CLI::Option* const key =
        command.add_option("--key", connection.key, "Private key of the certificate (PEM), not encrypted")
            ->type_name("FILE")
            ->needs(certificate);
    certificate->needs(key);
    command.add_option("--qos", connection.qos, "Quality of service: 0, 1 or 2")
        ->type_name("LEVEL")
        ->check(CLI::IsMember({0, 1, 2}));
}

BrokerSettings brokerSettings(const BrokerArguments& arguments, const std::string& prefix) {
    BrokerSettings settings = arguments.settings;
    setAddress(arguments.broker, settings);
    settings.statusTopic = prefix + "/status";
    if (!arguments.passwordFile.empty()) {
        settings.password = passwordIn(arguments.passwordFile);
    }
    expectReadable("--ca-file", settings.caFile);
    expectReadable("--cert", settings.certificate);
    expectReadable("--key", settings.key);
    return settings;
}

} // namespace rksignal
