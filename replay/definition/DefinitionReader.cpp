#include "definition/DefinitionReader.h"

#include "definition/arxml/ArxmlFile.h"
#include "definition/dbc/DbcFile.h"
#include "definition/json/JsonDefinitions.h"
#include "definition/kcd/KcdFile.h"
#include "definition/ldf/LdfFile.h"
#include "definition/sym/SymFile.h"
#include "file/ContentKind.h"
#include "file/Unpack.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <string_view>
#include <utility>

namespace rksignal {
namespace {

/// Texts of one format and channel that are read together; of all formats but ARXML one.
struct Input {
    struct Text {
        std::string path;
        std::string text;
    };
    DefinitionFormat format;
    std::optional<std::uint8_t> channel;
    std::vector<Text> texts;

    Text& single() { return texts.front(); }
};

DefinitionFile readJson(Input& input, const std::vector<ClusterChoice>& /*clusters*/) {
    DefinitionFile file = parseJsonDefinitions(input.single().text, input.single().path);
    if (!input.channel) {
        return file;
    }
    for (MessageDefinition& message : file.messages) {
        if (message.channel) {
            throw Error(message.place + ": names its channel itself, so that " + file.path +
                        " cannot be bound to channel " + std::to_string(*input.channel));
        }
        const bool isOfBus = message.kind <= SignalKind::Ethernet;
        message.channel = isOfBus ? input.channel : std::nullopt;
        for (SignalDefinition& signal : message.signals) {
            signal.common().channel = isOfBus ? *input.channel : signal.common().channel;
        }
    }
    return file;
}

DefinitionFile readArxmlInput(Input& input, const std::vector<ClusterChoice>& clusters) {
    std::vector<ArxmlText> texts;
    for (Input::Text& each : input.texts) {
        texts.push_back({std::move(each.text), each.path});
    }
    return parseArxml(std::move(texts), input.channel, clusters);
}

/// How a format is read, and what ContentKind.h calls it.
struct FormatReader {
    DefinitionFormat format;
    std::string_view name;
    DefinitionFile (*read)(Input& input, const std::vector<ClusterChoice>& clusters);
};

constexpr FormatReader readers[] = {
    {DefinitionFormat::Dbc, "a DBC file",
     [](Input& input, const std::vector<ClusterChoice>& /*clusters*/) {
         return parseDbc(std::move(input.single().text), input.single().path, input.channel);
     }},
    {DefinitionFormat::Json, "a JSON file", readJson},
    {DefinitionFormat::Ldf, "an LDF file",
     [](Input& input, const std::vector<ClusterChoice>& /*clusters*/) {
         return parseLdf(std::move(input.single().text), input.single().path, input.channel);
     }},
    {DefinitionFormat::Kcd, "a KCD file",
     [](Input& input, const std::vector<ClusterChoice>& clusters) {
         return parseKcd(std::move(input.single().text), input.single().path, input.channel, clusters);
     }},
    {DefinitionFormat::Sym, "a SYM file",
     [](Input& input, const std::vector<ClusterChoice>& /*clusters*/) {
         return parseSym(std::move(input.single().text), input.single().path, input.channel);
     }},
    {DefinitionFormat::Arxml, "an ARXML file", readArxmlInput},
};

const FormatReader& readerOf(DefinitionFormat format) {
    return *std::find_if(std::begin(readers), std::end(readers),
                         [format](const FormatReader& each) { return each.format == format; });
}

constexpr std::size_t headSize = 65536;

/// By the head of the text.
std::optional<DefinitionFormat> formatOf(std::string_view text) {
    const std::string_view name = contentKind(text.substr(0, headSize));
    const auto* const reader = std::find_if(std::begin(readers), std::end(readers),
                                            [name](const FormatReader& each) { return each.name == name; });
    return reader != std::end(readers) ? std::optional(reader->format) : std::nullopt;
}

/// Of a file that somebody gave as one of definitions: DBC files may begin with damage, and the reader of
/// JSON says where a text stops being JSON.
DefinitionFormat expectedFormat(const Input::Text& input) {
    if (const auto format = formatOf(input.text)) {
        return *format;
    }
    if (input.path.ends_with(".json")) {
        return DefinitionFormat::Json;
    }
    if (holdsDbcStatement(input.text)) {
        return DefinitionFormat::Dbc;
    }
    throw Error(input.path + " is " +
                std::string(contentKind(std::string_view(input.text).substr(0, headSize))) +
                ", not a file of definitions");
}

/// Adds the file to those that are read together with it, or as another input.
void addInput(const DefinitionSource& source, std::vector<Input>& inputs) {
    Input::Text text{source.path, uncompressed(std::make_unique<InputFile>(source.path))->readAll()};
    const DefinitionFormat format = expectedFormat(text);
    const auto others = std::find_if(inputs.begin(), inputs.end(), [&](const Input& input) {
        return format == DefinitionFormat::Arxml && input.format == format && input.channel == source.channel;
    });
    Input& input = others != inputs.end() ? *others : inputs.emplace_back(Input{format, source.channel, {}});
    input.texts.push_back(std::move(text));
}

/// Calls `read`. \throws Error if the memory does not suffice
template <class Read>
auto namingFile(const std::string& path, Read&& read) {
    try {
        return read();
    } catch (const std::bad_alloc&) {
        throw Error(path + ": too large for the memory");
    }
}

std::string listOf(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

/// \throws Error if no file has a cluster that is chosen
void checkClusters(std::vector<DefinitionFile>& files, const std::vector<ClusterChoice>& choices) {
    std::vector<std::string> all;
    for (const DefinitionFile& file : files) {
        all.insert(all.end(), file.clusters.begin(), file.clusters.end());
    }
    for (const ClusterChoice& choice : choices) {
        if (std::find(all.begin(), all.end(), choice.name) == all.end()) {
            throw Error("no file of definitions has a cluster " + choice.name +
                        (all.empty() ? ", nor any other" : "; there are " + listOf(all)));
        }
    }
    for (DefinitionFile& file : files) {
        const bool isPassedOver =
            !choices.empty() && !file.clusters.empty() &&
            std::none_of(file.clusters.begin(), file.clusters.end(),
                         [&](const std::string& name) { return choiceOf(choices, name) != nullptr; });
        if (isPassedOver) {
            file.remarks.add(
                {file.path, Severity::Warning,
                 "nothing of it is used: none of its clusters is chosen, " + listOf(file.clusters)});
        }
    }
}

} // namespace

std::string_view formatName(DefinitionFormat format) {
    return readerOf(format).name;
}

std::optional<DefinitionFormat> detectDefinitions(const std::string& path) {
    const auto file = uncompressed(std::make_unique<InputFile>(path));
    while (file->peeked().size() < headSize && file->peekFurther()) {
    }
    return formatOf(file->peeked());
}

std::vector<DefinitionFile> readDefinitions(std::span<const DefinitionSource> sources,
                                            const DefinitionSettings& settings) {
    std::vector<Input> inputs;
    for (const DefinitionSource& source : sources) {
        namingFile(source.path, [&] { addInput(source, inputs); });
    }
    std::vector<DefinitionFile> files;
    for (Input& input : inputs) {
        files.push_back(namingFile(input.single().path,
                                   [&] { return readerOf(input.format).read(input, settings.clusters); }));
        input.texts.clear();
    }
    checkClusters(files, settings.clusters);
    return files;
}

} // namespace rksignal
