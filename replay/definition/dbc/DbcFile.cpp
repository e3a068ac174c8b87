/// \file
/// Reading DBC files from text and from disk.
#include "definition/dbc/DbcFile.h"

#include "definition/dbc/DbcParser.h"
#include "definition/dbc/DbcResolver.h"
#include "file/ContentKind.h"
#include "file/Unpack.h"
#include "text/DbcWords.h"

#include <algorithm>
#include <utility>

namespace rksignal {

namespace {

/// \throws Error if no line of the text's head begins with a word of a DBC file
void expectDbc(std::string_view text, const std::string& path) {
    if (!holdsDbcStatement(text)) {
        throw Error(path + " is " + std::string(contentKind(text)) + ", not a DBC file");
    }
}

} // namespace

DefinitionFile parseDbc(std::string text, std::string path, std::optional<std::uint8_t> channel) {
    DefinitionNotes notes(path);
    const std::string utf8 = utf8Text(std::move(text), notes);
    DbcStatements statements = DbcParser(withoutByteOrderMark(utf8), notes).read();
    std::vector<MessageDefinition> messages = DbcResolver(statements, notes).resolve(channel);
    return {std::move(path), std::move(messages), notes.take(), /*choosesInstances=*/false};
}

DefinitionFile readDbc(const std::string& path, std::optional<std::uint8_t> channel) {
    std::string text = uncompressed(std::make_unique<InputFile>(path))->readAll();
    expectDbc(text, path);
    return parseDbc(std::move(text), path, channel);
}

} // namespace rksignal
