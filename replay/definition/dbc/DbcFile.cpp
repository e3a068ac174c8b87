/// \file
/// Reading DBC files from text and from disk.
#include "definition/dbc/DbcFile.h"

#include "definition/dbc/DbcParser.h"
#include "definition/dbc/DbcResolver.h"
#include "file/InputFile.h"
#include "text/TextEncoding.h"

#include <algorithm>
#include <utility>

namespace rksignal {

namespace {

std::string toUtf8(std::string text, DbcNotes& notes) {
    const std::optional<std::size_t> invalid = findInvalidUtf8(text);
    if (!invalid)
        return text;
    const auto line =
        1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(*invalid), '\n');
    notes.guess(static_cast<unsigned>(line), "text is not UTF-8; the file is taken as Windows-1252");
    return windows1252ToUtf8(text);
}

} // namespace

DefinitionFile parseDbc(std::string text, std::string path, std::optional<std::uint8_t> channel) {
    DbcNotes notes(path);
    const std::string utf8 = toUtf8(std::move(text), notes);
    DbcStatements statements = DbcParser(withoutByteOrderMark(utf8), notes).read();
    std::vector<MessageDefinition> messages = DbcResolver(statements, notes).resolve(channel);
    return {std::move(path), std::move(messages), notes.take(), /*choosesInstances=*/false};
}

DefinitionFile readDbc(const std::string& path, std::optional<std::uint8_t> channel) {
    return parseDbc(InputFile(path).readAll(), path, channel);
}

} // namespace rksignal
