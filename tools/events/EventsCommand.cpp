#include "events/EventsCommand.h"

#include "command/UsageError.h"
#include "event/EventParser.h"
#include "output/OutputBuffer.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

/// What the text uses of one source.
struct Source {
    struct Signal {
        std::string name;
        std::optional<int> number = {}; ///< of an input
    };

    std::string name;
    unsigned count; ///< of mentions
    std::vector<Signal> signals;
};

std::vector<Source::Signal> listNames(const std::set<std::string>& names, std::string_view prefix = "") {
    std::vector<Source::Signal> signals;
    for (const std::string& name : names) {
        if (name.starts_with(prefix)) {
            signals.push_back({name});
        }
    }
    return signals;
}

std::vector<Source::Signal> listInputs(const std::map<int, std::string>& inputs) {
    std::vector<Source::Signal> signals;
    for (const auto& [number, name] : inputs) {
        signals.push_back({name, number});
    }
    return signals;
}

/// All sources that the text uses.
std::vector<Source> listSources(const std::string& text) {
    const EventParser parser(text);
    const eventFlexer& found = parser.scanner;
    std::vector<Source> sources = {
        {"CAN", found.canCount, listNames(found.allSignals, "CAN.")},
        {"LIN", found.linCount, listNames(found.allSignals, "LIN.")},
        {"FlexRay", found.flexRayCount, listNames(found.allSignals, "FLEXRAY.")},
        {"Ethernet", found.miiCount, listNames(found.allSignals, "MII.")},
        {"remote control", found.rcCount, listNames(found.rcKeys)},
        {"digital inputs", found.digitalCount, listInputs(found.digitalInputs)},
        {"analog inputs", found.analogCount, listInputs(found.analogInputs)},
        {"logger", found.loggerCount, listNames(found.loggerSignals)},
        {"logger timer", found.timerCount, listNames(found.loggerSignals, "Logger.Timer")},
        {"GPS", found.gpsCount, listNames(found.gpsSignals)},
    };
    std::erase_if(sources, [](const Source& source) { return source.signals.empty(); });
    return sources;
}

std::string table(const std::vector<Source>& sources) {
    std::ostringstream text;
    const auto writeRow = [&text](const auto& source, const auto& count, const auto& number,
                                  const std::string& name) {
        text << std::left << std::setw(14) << source << std::right << std::setw(7) << count << std::setw(12)
             << number << "  " << name << '\n';
    };
    writeRow("source", "count", "number", "signal");
    for (const Source& source : sources) {
        bool isFirst = true;
        for (const Source::Signal& signal : source.signals) {
            writeRow(isFirst ? source.name : "", isFirst ? std::to_string(source.count) : "",
                     signal.number ? std::to_string(*signal.number) : "", signal.name);
            isFirst = false;
        }
    }
    return text.str();
}

std::string jsonText(const std::vector<Source>& sources) {
    auto list = nlohmann::ordered_json::array();
    for (const Source& source : sources) {
        auto signals = nlohmann::ordered_json::array();
        for (const Source::Signal& signal : source.signals) {
            signals.push_back({{"name", signal.name}});
            if (signal.number) {
                signals.back()["number"] = *signal.number;
            }
        }
        list.push_back({{"source", source.name}, {"count", source.count}, {"signals", signals}});
    }
    return list.dump(2) + '\n';
}

std::string readAll(const std::string& path) {
    std::ifstream file(path == "-" ? "/dev/stdin" : path, std::ios::binary);
    std::ostringstream text;
    if (!file || std::filesystem::is_directory(path)) {
        throw UsageError("cannot open " + path + ": " +
                         std::generic_category().message(file ? EISDIR : errno));
    }
    text << file.rdbuf();
    return text.str();
}

} // namespace

ExitStatus listEvents(const EventsOptions& options, const Console& console) {
    const std::vector<Source> sources = listSources(readAll(options.file));
    OutputBuffer out(console.output);
    out.append(options.json ? jsonText(sources) : table(sources));
    out.finish();
    return Clean;
}

void addEventsCommand(CLI::App& program, const Console& console, int& status) {
    const auto options = std::make_shared<EventsOptions>();
    CLI::App& command = *program.add_subcommand("events", "List the signals that an event description uses");
    command.add_option("FILE", options->file, "Event description; - is standard input")->required();
    command.add_flag("--json", options->json, "As a JSON array instead of a table");
    command.footer("Example:\n  rksignal events trigger.txt");
    command.callback([options, &console, &status] { status = listEvents(*options, console); });
}

} // namespace rksignal
