#include "definition/ldf/LdfFile.h"

#include "definition/ldf/LdfParser.h"
#include "definition/ldf/LdfResolver.h"
#include "text/TextEncoding.h"

#include <utility>

namespace rksignal {

DefinitionFile parseLdf(std::string text, std::string path, std::optional<std::uint8_t> channel) {
    DefinitionFile file;
    DefinitionNotes notes(path);
    const std::string utf8 = utf8Text(std::move(text), notes);
    const LdfStatements statements = LdfParser(withoutByteOrderMark(utf8), notes).read();
    file.messages = LdfResolver(statements, notes).resolve(channel);
    file.path = std::move(path);
    file.remarks = notes.take();
    return file;
}

} // namespace rksignal
