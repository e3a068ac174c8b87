/// \file
/// The options that say how an MQTT broker is reached.
#pragma once

#include "publish/Broker.h"

#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

/// As given.
struct BrokerArguments {
    std::string broker; ///< `HOST[:PORT]`
    std::string passwordFile;
    BrokerSettings settings; ///< all but host, port, password and the topic of the status
};

/// Adds `--broker`, which is required, and who one is there: `--client-id`, `--user`, `--password-file`,
/// `--ca-file`, `--cert`, `--key`; and `--qos`. `arguments` must outlive `command`.
void addBrokerArguments(CLI::App& command, BrokerArguments& arguments);

/// The settings in full; the status is told on `PREFIX/status`. \throws UsageError, Error
BrokerSettings brokerSettings(const BrokerArguments& arguments, const std::string& prefix);

} // namespace rksignal
