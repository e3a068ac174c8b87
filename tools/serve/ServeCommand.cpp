#include "serve/ServeCommand.h"

#include "command/SecondsArgument.h"
#include "command/StopRequest.h"
#include "command/UsageError.h"
#include "output/OutputBuffer.h"
#include "serve/WebServer.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>
#include <thread>

namespace rksignal {
namespace {

WebSettings webSettings(const ServeOptions& options) {
    WebSettings settings;
    if (!options.listen.empty()) {
        settings.address = parseListenAddress(options.listen);
    }
    if (!options.tokenFile.empty()) {
        settings.token = readToken(options.tokenFile);
    } else if (!settings.address.isLoopback()) {
        settings.token = randomToken();
    }
    settings.clients = options.clients;
    return settings;
}

LiveSettings liveSettings(const ServeOptions& options) {
    LiveSettings settings;
    if (!options.timeout.empty()) {
        settings.timeout = parseSeconds("--timeout", options.timeout);
    }
    settings.staleAfter = parseSeconds("--stale", options.stale);
    settings.history = parseSeconds("--history", options.history);
    return settings;
}

std::chrono::nanoseconds pollInterval(const ServeOptions& options) {
    constexpr std::uint64_t least = 1'000'000;
    constexpr std::uint64_t most = 10'000'000'000;
    const std::uint64_t interval = parseSeconds("--interval", options.interval);
    if (interval < least || interval > most) {
        throw UsageError("--interval " + options.interval + ": not from 0.001 to 10 seconds");
    }
    return std::chrono::nanoseconds(interval);
}

/// Polls at its interval until the program is to end. A poll that was late is not made up for.
void pollUntilEnd(LiveState& state, std::chrono::nanoseconds interval) {
    auto next = std::chrono::steady_clock::now();
    while (!StopRequest::isMade()) {
        state.poll();
        next = std::max(next + interval, std::chrono::steady_clock::now());
        std::this_thread::sleep_until(next);
    }
}

/// The token is told only if the program has made it: whoever gave one knows it.
void tellAddress(const WebServer& server, const WebSettings& settings, const ServeOptions& options,
                 const Console& console) {
    const bool isOwnToken = !settings.token.empty() && options.tokenFile.empty();
    OutputBuffer out(console.output);
    out.append(server.url() + (isOwnToken ? "?token=" + settings.token : "") + "\n");
    out.finish();
}

} // namespace

ExitStatus serve(const ServeOptions& options, const Console& console) {
    const WebSettings web = webSettings(options);
    const LiveSettings settings = liveSettings(options);
    const std::chrono::nanoseconds interval = pollInterval(options);
    Catalog catalog;
    ChannelMap channels;
    InputSet inputs;
    loadDefinitions(options, channels, catalog, inputs);
    for (const Remark& remark : catalog.remarks()) {
        if (!options.quiet || remark.severity == Severity::Error) {
            console.messages << remark << '\n';
        }
    }
    if (catalog.signals().empty()) {
        throw UsageError("there are no signals to show; --definitions FILE names them");
    }
    ConditionArguments conditions = options.conditions;
    conditions.options.edgeTrigger = true;
    LiveState state(catalog, loadConditions(conditions, catalog, inputs, console, options.quiet), settings);
    WebServer server(web, state);
    const StopRequest signals;
    state.poll();
    server.start();
    tellAddress(server, web, options, console);
    pollUntilEnd(state, interval);
    state.close();
    server.stop();
    return Clean;
}

void addServeCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<ServeOptions>();
    CLI::App& command = *program.add_subcommand("serve", "Show the values in shared memory in a browser");
    addDefinitionArguments(command, *options);
    addConditionArguments(command, options->conditions);
    command
        .add_option("--timeout", options->timeout, "A signal not written for longer is unknown to conditions")
        ->type_name("SECONDS");
    command.add_option("--stale", options->stale, "A value that is older is shown dim; 3 if not given")
        ->type_name("SECONDS");
    command
        .add_option("--history", options->history, "Keep the curves of the last so many; 600 if not given")
        ->type_name("SECONDS");
    command.add_option("--interval", options->interval, "Look at the values so often; 0.01 if not given")
        ->type_name("SECONDS");
    command
        .add_option("--listen", options->listen,
                    "Where to listen; 127.0.0.1:8765 if not given, port 0 is one that is free")
        ->type_name("ADDRESS[:PORT]");
    command
        .add_option("--token-file", options->tokenFile,
                    "Holds the token that is asked for; one is made if the address is no loopback address")
        ->type_name("FILE");
    command
        .add_option("--clients", options->clients, "The most pages that are open at a time; 16 if not given")
        ->type_name("NUMBER")
        ->check(CLI::Range(1, 256));
    command.add_flag("-q,--quiet", options->quiet, "No remarks, only errors");
    command.footer("Example:\n  rksignal serve --dbc drive.dbc --when 'fast = Vehicle.Speed > 100'\n"
                   "  rksignal serve --dbc drive.dbc --listen 0.0.0.0:8765 --token-file /etc/rksignal/token");
    command.callback([options, &console, &status] { status = serve(*options, console); });
}

} // namespace rksignal
