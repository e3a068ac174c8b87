#include "publish/PublishCommand.h"

#include "command/StopRequest.h"
#include "command/UsageError.h"
#include "decode/SignalSelection.h"
#include "live/SlotReplay.h"
#include "publish/TopicName.h"
#include "text/Moment.h"
#include "text/PrintableText.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <memory>
#include <ostream>
#include <sstream>

namespace rksignal {
namespace {

constexpr std::uint64_t oneSecond = 1'000'000'000;
constexpr std::uint64_t usualInterval = oneSecond / 20;
constexpr std::uint64_t statisticsInterval = 10 * oneSecond;
/// How long the command takes at most to send what waits when it ends.
constexpr std::uint64_t farewell = 2 * oneSecond;

std::uint64_t steadyClock() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

std::uint64_t durationOf(const std::string& option, const std::string& text, std::uint64_t absent) {
    if (text.empty()) {
        return absent;
    }
    const std::optional<std::uint64_t> duration = parseDuration(text);
    if (!duration || *duration == 0 || *duration > 86'400 * oneSecond) {
        throw UsageError(option + " " + text + ": not a duration up to a day, as 0.5 or 50ms");
    }
    return *duration;
}

PublisherSettings formOf(const PublishOptions& options) {
    PublisherSettings form = options.form;
    if (!isTopicPrefix(form.prefix)) {
        throw UsageError("--prefix " + printable(form.prefix) + ": topics cannot begin so");
    }
    form.batch = durationOf("--batch", options.batch, 0);
    form.interval =
        options.rate > 0 ? static_cast<std::uint64_t>(static_cast<double>(oneSecond) / options.rate) : 0;
    return form;
}

/// One run of the command.
class PublishRun {
  public:
    PublishRun(const PublishOptions& options, const Console& console)
        : options(options), form(formOf(options)),
          interval(durationOf("--interval", options.interval, usualInterval)), silence(nullptr),
          messages(options.quiet ? silence : console.messages), queue(options.queue),
          statisticsTopic(form.prefix + "/statistics") {
        loadCatalog();
    }

    ExitStatus run() {
        const std::vector<bool> selected = selectSignals(catalog, options.patterns);
        const StopRequest stop;
        Broker broker(brokerSettings(options.connection, form.prefix), messages);
        ValuePublisher publisher(catalog, form, queue);
        SlotReplay slots(catalog, publisher, selected);
        std::uint64_t nextPoll = steadyClock();
        std::uint64_t nextStatistics = nextPoll + statisticsInterval;
        std::uint64_t connections = 1; // what there is at the first one is published as it is found
        while (!StopRequest::isMade()) {
            const std::uint64_t now = steadyClock();
            if (now >= nextPoll) {
                slots.poll();
                publisher.flush(now);
                nextPoll = std::max(nextPoll + interval, now);
            }
            if (broker.connections() > connections) { // it may have forgotten what it was to retain
                connections = broker.connections();
                repeat(publisher);
            }
            send(broker);
            if (now >= nextStatistics && broker.hasRoom()) {
                broker.publish(statisticsTopic, statisticsText(publisher, broker, slots), false);
                nextStatistics = now + statisticsInterval;
            }
            broker.wait(nextPoll - std::min(nextPoll, steadyClock()));
        }
        conclude(broker, publisher);
        return Clean;
    }

  private:
    void loadCatalog() {
        ChannelMap channels;
        InputSet inputs; // nothing is written
        loadDefinitions(options, channels, catalog, inputs);
        if (catalog.signals().empty()) {
            throw UsageError("there are no signals to publish: give --definitions");
        }
        for (const std::string& pattern : options.patterns) {
            catalog.addSources(pattern);
        }
        for (const Remark& remark : catalog.remarks()) {
            if (remark.severity == Severity::Error) {
                messages << remark << '\n';
            }
        }
    }

    void repeat(ValuePublisher& publisher) const {
        if (form.retained) {
            publisher.repeatAll();
        }
    }

    void send(Broker& broker) {
        while (!queue.empty() && broker.hasRoom()) {
            const PublishedMessage& message = queue.front();
            if (!broker.publish(*message.topic, message.payload, message.retained)) {
                return;
            }
            sent += message.values;
            queue.pop();
        }
    }

    std::string statisticsText(const ValuePublisher& publisher, const Broker& broker,
                               const SlotReplay& slots) const {
        std::ostringstream text;
        text << "{\"changes\":" << publisher.published() << ",\"published\":" << sent
             << ",\"waiting\":" << queue.size() << ",\"dropped\":" << queue.dropped()
             << ",\"lost\":" << broker.lost() << ",\"connections\":" << broker.connections()
             << ",\"live\":" << slots.statistics().count(SlotReplay::Connection::Live) << '}';
        return text.str();
    }

    void conclude(Broker& broker, ValuePublisher& publisher) {
        const std::uint64_t deadline = steadyClock() + farewell;
        publisher.end();
        while (!queue.empty() && broker.isUp() && steadyClock() < deadline) {
            send(broker);
            broker.wait(oneSecond / 100);
        }
        broker.leave(deadline - std::min(deadline, steadyClock()));
        messages << sent << " values published";
        if (queue.dropped() + queue.size() > 0) {
            messages << ", " << queue.dropped() + queue.size() << " dropped";
        }
        if (broker.lost() > 0) {
            messages << ", " << broker.lost() << " messages lost with a connection";
        }
        messages << '\n';
    }

    const PublishOptions& options;
    PublisherSettings form;
    std::uint64_t interval;
    std::ostream silence;
    std::ostream& messages;
    Catalog catalog;
    PublishQueue queue;
    std::string statisticsTopic;
    std::uint64_t sent = 0; ///< values
};

void addMessageArguments(CLI::App& command, const std::shared_ptr<PublishOptions>& options) {
    PublisherSettings& form = options->form;
    form.prefix = "rksignal";
    command.add_option("--prefix", form.prefix, "What all topics begin with; rksignal unless given")
        ->type_name("TOPIC");
    const auto setForm = [&form, options](const std::string& name) {
        form.form = name == "json" ? PayloadForm::Json : PayloadForm::Value;
    };
    CLI::Option* const payload =
        command.add_option_function<std::string>("--payload", setForm, "Form of messages; json unless given")
            ->type_name("FORM")
            ->check(CLI::IsMember({"json", "value"}));
    command
        .add_option("--batch", options->batch, "Put all changes of so long into one message on TOPIC/values")
        ->type_name("DURATION")
        ->excludes(payload);
    command.add_flag("--retain", form.retained, "Have the broker keep the last message of each topic");
    command.add_option("--rate", options->rate, "At most so many messages a second of each signal")
        ->type_name("NUMBER")
        ->check(CLI::Range(0.001, 1e6));
    command
        .add_option("--queue", options->queue,
                    "Values that wait for the broker at most; further ones drop the oldest")
        ->type_name("NUMBER")
        ->check(CLI::Range(std::size_t{1}, std::size_t{10'000'000}));
    command.add_option("--interval", options->interval, "Between two looks at the slots; 50ms unless given")
        ->type_name("DURATION");
}

} // namespace

ExitStatus publish(const PublishOptions& options, const Console& console) {
    return PublishRun(options, console).run();
}

void addPublishCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<PublishOptions>();
    CLI::App& command =
        *program.add_subcommand("publish", "Publish values in shared memory by MQTT as they change");
    addDefinitionArguments(command, *options);
    command.add_option("--only", options->patterns, "Only signals whose name matches, e.g. 'Engine.*'")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    addBrokerArguments(command, options->connection);
    addMessageArguments(command, options);
    command.add_flag("-q,--quiet", options->quiet, "No messages about the connection, no summary");
    command.footer(
        "Examples:\n  rksignal publish --dbc drive.dbc --broker localhost --retain\n"
        "  rksignal publish --dbc drive.dbc --broker broker.example.org --ca-file ca.pem \\\n"
        "      --user logger --password-file secret --prefix fleet/car7 --only 'Vehicle.*' --rate 2\n"
        "  mosquitto_sub -t 'rksignal/Engine/+' -v");
    command.callback([options, &console, &status] { status = publish(*options, console); });
}

} // namespace rksignal
