#include "file/ContentKind.h"

#include "file/Packing.h"
#include "text/DbcWords.h"
#include "text/TextEncoding.h"

#include <algorithm>
#include <optional>

namespace rksignal {
namespace {

using namespace std::string_view_literals;

struct ContentName {
    std::string_view begin;
    std::string_view name;
};

constexpr ContentName binaryKinds[] = {
    {"\x89PNG\r\n", "a PNG picture"},
    {"\xFF\xD8\xFF", "a JPEG picture"},
    {"GIF8", "a GIF picture"},
    {"%PDF-", "a PDF document"},
    {"\x7F"
     "ELF",
     "an ELF program or library"},
    {"SQLite format 3\0"sv, "an SQLite database"},
    {"PAR1", "a Parquet file"},
    {"\x89HDF\r\n", "an HDF5 file"},
    {"MATLAB ", "a MATLAB file"},
    {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", officeDocument},
    {"{\\rtf", "an RTF document"},
    {"7z\xBC\xAF\x27\x1C", "a 7z archive"},
    {"Rar!\x1A\x07", "a RAR archive"},
    {"LOGG", "a BLF file"},
    {"MDF     ", "an MDF file"},
    {"UnFinMF ", "an unfinished MDF file"},
    {"RKTRACE", "a record file"},
    {"\xA1\xB2\xC3\xD4", "a capture"},
    {"\xD4\xC3\xB2\xA1", "a capture"},
    {"\xA1\xB2\x3C\x4D", "a capture"},
    {"\x4D\x3C\xB2\xA1", "a capture"},
    {"\x0A\x0D\x0D\x0A", "a capture"},
    {"\xFF\xFE", "UTF-16 text"},
    {"\xFE\xFF", "UTF-16 text"},
};

/// Elements that tell what an XML file is for; found in its head, behind comments.
constexpr ContentName documentKinds[] = {
    {"<AUTOSAR", "an ARXML file"}, {"<NetworkDefinition", "a KCD file"}, {"FIBEX", "a FIBEX file"},
    {"<ODX", "an ODX file"},       {"<mdf", "an MDF comment in XML"},    {"<!DOCTYPE html", "an HTML page"},
    {"<html", "an HTML page"},
};

/// What a text begins with.
constexpr ContentName textKinds[] = {
    {"FormatVersion=", "a SYM file"}, {"{", "a JSON file"}, {"[{", "a JSON file"}};

/// Words that tell what a text is for; found in its head, behind comments.
constexpr ContentName languageKinds[] = {{"LIN_description_file", "an LDF file"},
                                         {"ASAP2_VERSION", "an A2L file"}};

constexpr std::string_view packingNames[] = {"",
                                             "a gzip file",
                                             "a zstd file",
                                             "an xz file",
                                             "a bzip2 file",
                                             "an lz4 file",
                                             "a tar archive",
                                             "a ZIP archive"};

template <class Matches>
std::optional<std::string_view> nameOf(const auto& kinds, Matches&& matches) {
    const auto* const kind = std::find_if(std::begin(kinds), std::end(kinds), matches);
    return kind != std::end(kinds) ? std::optional(kind->name) : std::nullopt;
}

std::optional<std::string_view> containing(const auto& kinds, std::string_view text) {
    constexpr std::size_t headSize = 4096;
    return nameOf(kinds, [=](const ContentName& kind) {
        return text.substr(0, headSize).find(kind.begin) != text.npos;
    });
}

std::optional<std::string_view> beginning(const auto& kinds, std::string_view text) {
    return nameOf(kinds, [=](const ContentName& kind) { return text.starts_with(kind.begin); });
}

bool isOfficeDocument(std::string_view head) {
    return head.find("[Content_Types].xml") != head.npos ||
           head.find("mimetypeapplication/vnd.oasis") != head.npos;
}

/// Latin letters without a byte order mark: every other byte is zero.
bool isUtf16(std::string_view head) {
    constexpr std::size_t sample = 16;
    if (head.size() < sample) {
        return false;
    }
    std::size_t zeros[2] = {};
    for (std::size_t i = 0; i < sample; ++i) {
        zeros[i % 2] += head[i] == '\0' ? 1U : 0U;
    }
    return zeros[0] + zeros[1] == sample / 2 && (zeros[0] == 0 || zeros[1] == 0);
}

/// Of one byte a character, or UTF-8.
bool isPlainText(std::string_view head) {
    const auto isControl = [](unsigned char byte) {
        return byte < ' ' && byte != '\t' && byte != '\n' && byte != '\r' && byte != '\f' && byte != 0x1A;
    };
    return std::none_of(head.begin(), head.end(), isControl);
}

std::optional<std::string_view> textKind(std::string_view head) {
    std::string_view text = withoutByteOrderMark(head);
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    if (isDbcStatement(text.substr(0, text.find_first_of("\r\n")))) {
        return "a DBC file";
    }
    if (text.starts_with('<')) {
        return containing(documentKinds, text).value_or("an XML file");
    }
    const auto kind = beginning(textKinds, text);
    return kind ? kind : containing(languageKinds, text);
}

} // namespace

std::string_view contentKind(std::string_view head) {
    if (head.find_first_not_of(" \t\r\n") == head.npos) {
        return "an empty file";
    }
    if (const auto kind = beginning(binaryKinds, head)) {
        return *kind;
    }
    if (const Packing packing = packingOf(head); packing != Packing::None) {
        return packing == Packing::Zip && isOfficeDocument(head) ? officeDocument
                                                                 : packingNames[static_cast<int>(packing)];
    }
    if (!isPlainText(head)) {
        return isUtf16(head) ? "UTF-16 text" : unknownData;
    }
    return textKind(head).value_or(plainText);
}

bool isDbcStatement(std::string_view line) {
    const std::size_t first = line.find_first_not_of(" \t");
    if (first == line.npos) {
        return false;
    }
    const std::size_t wordEnd = std::min(line.find_first_of(" \t:\"", first), line.size());
    const std::size_t next = line.find_first_not_of(" \t\r", wordEnd);
    return isDbcKeyword(line.substr(first, wordEnd - first)) &&
           (next == line.npos || line[next] == '"' || line[next] == ':' || isDigit(line[next]));
}

bool holdsDbcStatement(std::string_view text) {
    constexpr std::size_t headSize = 65536;
    constexpr const char* blanks = " \t\r\n";
    const std::string_view head = withoutByteOrderMark(text).substr(0, headSize);
    std::size_t at = head.find_first_not_of(blanks);
    while (at < head.size()) {
        if (isDbcKeyword(head.substr(at, head.find_first_of(" \t\r\n:\"", at) - at))) {
            return true;
        }
        at = head.find_first_not_of(blanks, std::min(head.find('\n', at), head.size()));
    }
    return false;
}

} // namespace rksignal
