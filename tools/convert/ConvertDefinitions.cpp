#include "convert/ConvertDefinitions.h"

#include "catalog/Catalog.h"
#include "command/DefinitionArguments.h"
#include "command/FileEnding.h"
#include "definition/DefinitionReader.h"
#include "definition/dbc/DbcText.h"
#include "definition/json/DefinitionText.h"
#include "output/OutputBuffer.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <ostream>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

/// What is written, and what became of the input.
struct Converted {
    std::string text;
    std::size_t signals = 0;
    Counts lost;    ///< values that are not decoded
    Counts notHeld; ///< what the output has no place for
    RemarkList remarks;
};

std::size_t countSignals(const std::vector<MessageDefinition>& messages) {
    return std::accumulate(messages.begin(), messages.end(), std::size_t{0},
                           [](std::size_t sum, const auto& message) { return sum + message.signals.size(); });
}

/// Signals that can be decoded, each under a name of its own.
Converted toJson(std::vector<DefinitionFile>&& files) {
    Catalog catalog;
    std::size_t defined = 0;
    for (DefinitionFile& file : files) {
        defined += countSignals(file.messages);
        catalog.add(std::move(file));
    }
    const std::vector<MessageDefinition> messages = catalog.decodedMessages();
    return {definitionText(messages),
            catalog.signals().size(),
            {{"signals not converted", defined - catalog.signals().size()}},
            {{"messages of the same name and identifier, put together", messagesPutTogether(messages)}},
            catalog.remarks()};
}

Converted toDbc(std::vector<DefinitionFile>&& files) {
    std::vector<MessageDefinition> messages;
    RemarkList remarks;
    for (DefinitionFile& file : files) {
        std::move(file.messages.begin(), file.messages.end(), std::back_inserter(messages));
        remarks.append(std::move(file.remarks), file.path);
    }
    DbcText dbc = dbcText(messages);
    return {std::move(dbc.text), dbc.signals, {}, std::move(dbc.lost), std::move(remarks)};
}

std::uint64_t total(const Counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const auto& count) { return sum + count.second; });
}

/// Says what was converted, or, if quiet, only what was not understood.
void report(const Converted& converted, bool quiet, std::ostream& messages) {
    for (const Remark& remark : converted.remarks) {
        if (!quiet || remark.severity == Severity::Error) {
            messages << remark << '\n';
        }
    }
    if (!quiet) {
        messages << "signals converted: " << converted.signals << '\n';
        printCounts(messages, "values lost", converted.lost);
    }
    printCounts(messages, "not held by the output", converted.notHeld);
}

} // namespace

void writeText(const std::string& text, OutputFile& file) {
    OutputBuffer out(file);
    out.append(text);
    out.finish();
    file.complete();
}

void reportNothing(const ConvertOptions& options, const OutputFile& file, std::ostream& messages) {
    messages << "rksignal: nothing in " << options.inputs.front() << " can be converted; " << options.output
             << " is " << (file.replacesFile() ? "left as it was" : "not written") << '\n';
}

ExitStatus convertDefinitions(const ConvertOptions& options, ChannelMap& channels, const Console& console) {
    InputSet inputs;
    DefinitionOptions arguments;
    arguments.definitions = options.inputs;
    arguments.clusters = options.clusters;
    std::vector<DefinitionFile> files = readDefinitions(arguments, channels, inputs);
    OutputFile file(options.output, -1, inputs);
    const Converted converted =
        hasEnding(options.output, ".dbc") ? toDbc(std::move(files)) : toJson(std::move(files));
    report(converted, options.quiet, console.messages);
    const bool isWhole = total(converted.lost) == 0 && converted.remarks.count(Severity::Error) == 0;
    if (converted.signals == 0 && (!isWhole || file.replacesFile())) {
        reportNothing(options, file, console.messages);
        return Damaged;
    }
    writeText(converted.text, file);
    return isWhole ? Clean : Damaged;
}

} // namespace rksignal
