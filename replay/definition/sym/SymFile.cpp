#include "definition/sym/SymFile.h"

#include "definition/sym/SymLexer.h"
#include "definition/sym/SymReader.h"
#include "text/TextEncoding.h"

#include <utility>

namespace rksignal {

DefinitionFile parseSym(std::string text, std::string path, std::optional<std::uint8_t> channel) {
    DefinitionFile file;
    DefinitionNotes notes(path);
    const std::string utf8 = utf8Text(std::move(text), notes);
    const std::vector<SymStatement> statements = readSymStatements(withoutByteOrderMark(utf8), notes);
    file.messages = SymReader(notes).read(statements, channel);
    file.path = std::move(path);
    file.remarks = notes.take();
    return file;
}

} // namespace rksignal
