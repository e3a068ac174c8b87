#include "live/LiveSources.h"

#include "command/UsageError.h"
#include "live/CannelloniSource.h"
#include "live/CaptureSource.h"
#include "live/LogPipeSource.h"
#include "live/OpenCan.h"
#include "live/PacedTrace.h"
#include "live/ReceiveFilters.h"
#include "live/SocketCanSource.h"
#include "output/SummaryText.h"
#include "text/NumberText.h"
#include "text/ParseNumber.h"

#include <algorithm>
#include <cmath>
#include <ostream>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace rksignal {
namespace {

/// `NAME[=CHANNEL]`
struct Interface {
    std::string name;
    std::optional<std::uint8_t> channel;
};

Interface parseInterface(const std::string& option, const std::string& argument) {
    const std::size_t equals = argument.rfind('=');
    Interface interface { argument.substr(0, equals), std::nullopt };
    if (equals != argument.npos) {
        interface.channel = parseNumber<std::uint8_t>(std::string_view(argument).substr(equals + 1));
        if (!interface.channel) {
            throw UsageError(option + " " + argument + ": the channel is not a number from 0 to 255");
        }
    }
    if (interface.name.empty()) {
        throw UsageError(option + " " + argument + ": not of the form INTERFACE[=CHANNEL]");
    }
    return interface;
}

struct InterfaceOption {
    const char* name;
    const std::vector<std::string>& arguments;
};

std::vector<InterfaceOption> interfaceOptions(const LiveOptions& options) {
    return {{"--can", options.can}, {"--cannelloni", options.cannelloni}, {"--ethernet", options.ethernet}};
}

std::uint8_t channelFor(const Interface& interface, ChannelMap& channels) {
    const auto channel = interface.channel ? interface.channel : channels.channelOf(interface.name);
    if (!channel) {
        throw UsageError(interface.name + ": too many different interface names");
    }
    return *channel;
}

/// A pipe, or whatever else cannot be read again and has no end that one could wait for.
bool isPipe(const std::string& path) {
    struct stat file {};
    return path == "-" ||
           (stat(path.c_str(), &file) == 0 && !S_ISREG(file.st_mode) && !S_ISDIR(file.st_mode));
}

/// Without an address, only this machine is heard: whoever reaches the port can send frames.
std::string listeningAddress(const std::string& argument) {
    return argument.find(':') == argument.npos ? "127.0.0.1:" + argument : argument;
}

LiveCounts sum(const LiveCounts& left, const LiveCounts& right) {
    return {left.messages + right.messages, left.lost + right.lost, left.damaged + right.damaged,
            left.interruptions + right.interruptions};
}

} // namespace

void LiveSources::assignChannels(const LiveOptions& options, ChannelMap& channels) {
    for (const InterfaceOption& option : interfaceOptions(options)) {
        for (const std::string& argument : option.arguments) {
            const Interface interface = parseInterface(option.name, argument);
            if (interface.channel && channels.knows(interface.name)) {
                throw UsageError(std::string(option.name) + " " + argument + ": it has a channel already");
            }
            if (interface.channel) {
                channels.assign(interface.name, *interface.channel);
            }
        }
    }
}

void LiveSources::open(const Catalog& catalog, const ChannelMap& known) {
    definitions = &catalog;
    channels = known;
    addInterfaces();
    addTraces();
    if (entries.empty()) {
        throw UsageError(
            "there is nothing to read: --can, --cannelloni and --ethernet give sources, or TRACE");
    }
    for (Entry& entry : entries) {
        auto source = entry.open();
        entry.source = source.get();
        loop.add(std::move(source));
    }
}

void LiveSources::addInterfaces() {
    for (const std::string& argument : options.can) {
        const Interface interface = parseInterface("--can", argument);
        const std::uint8_t channel = channelFor(interface, channels);
        entries.push_back({interface.name,
                           [this, name = interface.name, channel] {
                               const auto filters = filtersFor(channel);
                               return std::make_unique<SocketCanSource>(name, openCan(name, filters),
                                                                        channel);
                           },
                           channel, /*isCan=*/true, /*reopens=*/true});
    }
    for (const std::string& argument : options.cannelloni) {
        const Interface interface = parseInterface("--cannelloni", argument);
        const std::uint8_t channel = channelFor(interface, channels);
        entries.push_back({"udp " + interface.name, [name = listeningAddress(interface.name), channel] {
                               return std::make_unique<CannelloniSource>(name, channel);
                           }});
    }
    for (const std::string& argument : options.ethernet) {
        const Interface interface = parseInterface("--ethernet", argument);
        const std::uint8_t channel = channelFor(interface, channels);
        entries.push_back(
            {interface.name,
             [name = interface.name, channel] { return std::make_unique<CaptureSource>(name, channel); },
             channel,
             /*isCan=*/false, /*reopens=*/true});
    }
}

/// Files are read together, in the order of their times; each pipe is a source of its own.
void LiveSources::addTraces() {
    std::vector<std::string> files;
    for (const std::string& path : options.traces) {
        if (!isPipe(path)) {
            files.push_back(path);
            continue;
        }
        entries.push_back({path == "-" ? "standard input" : path,
                           [this, path] { return std::make_unique<LogPipeSource>(path, channels); }});
    }
    if (files.empty()) {
        return;
    }
    const auto openFiles = [this, files] {
        Trace trace;
        trace.channels() = channels;
        for (const std::string& path : files) {
            trace.addFile(path);
        }
        return trace;
    };
    const std::string name = files.size() == 1 ? files.front() : files.front() + " and others";
    entries.push_back(
        {name, [this, name, openFiles] {
             return std::make_unique<PacedTrace>(name, openFiles, Pace{options.speed, options.loop});
         }});
}

/// Everything is wanted of what is recorded, or written into windows.
std::vector<can_filter> LiveSources::filtersFor(std::uint8_t channel) const {
    const bool wantsAll = !options.record.empty() || !options.windows.frames.empty();
    return wantsAll ? std::vector<can_filter>() : receiveFilters(*definitions, channel);
}

void LiveSources::refilter(const Catalog& catalog) {
    definitions = &catalog;
    for (const Entry& entry : entries) {
        if (entry.isCan && entry.source != nullptr) {
            setReceiveFilters(entry.source->descriptor(), filtersFor(entry.channel));
        }
    }
}

void LiveSources::noteBroken(const LiveSource& source, const SourceError& error) {
    const auto entry = std::find_if(entries.begin(), entries.end(),
                                    [&source](const Entry& each) { return each.source == &source; });
    entry->before = entry->counts();
    entry->source = nullptr;
    entry->isBroken = true;
    log.say(std::string(error.what()) + (entry->reopens ? "; it is tried again" : ""));
}

void LiveSources::check() {
    for (Entry& entry : entries) {
        if (entry.source == nullptr && entry.reopens) {
            reopen(entry);
        }
        const LiveCounts now = entry.counts();
        if (now.interruptions != entry.seen.interruptions) {
            entry.isDown = true;
            log.say(entry.name + " is down; it goes on when it is up again");
        } else if (entry.isDown && now.messages != entry.seen.messages) {
            entry.isDown = false;
            log.say(entry.name + " is up again");
        }
        if (now.lost != entry.seen.lost) {
            log.say(entry.name + " has lost messages: " + std::to_string(now.lost - entry.seen.lost));
        }
        entry.seen = now;
    }
}

/// As long as that fails nothing is said: that it broke has been.
void LiveSources::reopen(Entry& entry) {
    try {
        auto source = entry.open();
        entry.source = source.get();
        loop.add(std::move(source));
        entry.isBroken = false;
        log.say(entry.name + " is open again");
    } catch (const Error&) { // NOLINT(bugprone-empty-catch)
    }
}

LiveCounts LiveSources::Entry::counts() const {
    return source != nullptr ? sum(before, source->counts()) : before;
}

LiveCounts LiveSources::counts() const {
    LiveCounts all;
    for (const Entry& entry : entries) {
        all = sum(all, entry.counts());
    }
    return all;
}

bool LiveSources::reopensSome() const {
    return std::any_of(entries.begin(), entries.end(), [](const Entry& entry) { return entry.reopens; });
}

bool LiveSources::areSound() const {
    return counts().damaged == 0 &&
           std::none_of(entries.begin(), entries.end(), [](const Entry& entry) { return entry.isBroken; });
}

std::string LiveSources::rates(double seconds) {
    std::string text;
    for (Entry& entry : entries) {
        const std::uint64_t messages = entry.counts().messages;
        const auto rate = static_cast<double>(messages - std::exchange(entry.rated, messages)) / seconds;
        text += (text.empty() ? "" : ", ") + entry.name + ' ' + doubleText(std::round(rate)) + "/s";
    }
    return text;
}

void LiveSources::summarise(std::ostream& out) const {
    for (const Entry& entry : entries) {
        const LiveCounts counts = entry.counts();
        out << entry.name << ": messages " << counts.messages << ", lost " << counts.lost << ", damaged "
            << counts.damaged;
        if (counts.interruptions > 0) {
            out << ", down " << counts.interruptions << " time" << plural(counts.interruptions);
        }
        out << '\n';
        if (entry.source != nullptr) {
            for (const Remark& remark : entry.source->remarks()) {
                out << remark << '\n';
            }
        }
    }
}

} // namespace rksignal
