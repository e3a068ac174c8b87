/// \file
/// Reading DBC files from text and from disk.
#include "definition/dbc/DbcFile.h"

#include "definition/dbc/DbcParser.h"
#include "definition/dbc/DbcResolver.h"
#include "text/Error.h"
#include "text/TextEncoding.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>

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

DbcFile parseDbc(std::string text, std::string path) {
    DbcFile file;
    file.path = path;
    DbcNotes notes(std::move(path));
    const std::string utf8 = toUtf8(std::move(text), notes);
    DbcStatements statements = DbcParser(withoutByteOrderMark(utf8), notes).read();
    file.messages = DbcResolver(statements, notes).resolve();
    file.notes = notes.take();
    return file;
}

DbcFile readDbc(const std::filesystem::path& path) {
    const auto fail = [&] { throw Error("cannot read " + path.string(), errno); };
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file)
        fail();
    std::string text;
    std::array<char, 65536> block;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get()))
        text.append(block.data(), count);
    if (std::ferror(file.get()) != 0)
        fail();
    return parseDbc(std::move(text), path.string());
}

} // namespace rksignal
