/// \file
/// `rksignal publish`: the values of running writers, by MQTT.
#pragma once

#include "Console.h"
#include "command/DefinitionArguments.h"
#include "publish/BrokerArguments.h"
#include "publish/ValuePublisher.h"

#include <cstddef>
#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace rksignal {

struct PublishOptions : DefinitionOptions {
    std::vector<std::string> patterns; ///< of instance names; empty: all signals
    BrokerArguments connection;
    PublisherSettings form;
    std::string batch;    ///< duration; empty: no batches
    double rate = 0;      ///< messages a second of a signal; 0: no limit
    std::string interval; ///< duration between two looks at the slots
    std::size_t queue = 10'000;
    bool quiet = false; ///< no remarks, no messages about the connection, no summary
};

/// Publishes what changes in the slots of the defined signals, until SIGINT or SIGTERM.
/// \throws UsageError, Error, std::system_error
ExitStatus publish(const PublishOptions& options, const Console& console);

/// Adds the command to the program. When it has been called, `status` is set to its result.
void addPublishCommand(CLI::App& program, const Console& console, int& status);

} // namespace rksignal
