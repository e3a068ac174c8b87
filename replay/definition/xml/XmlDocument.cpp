#include "definition/xml/XmlDocument.h"

#include "text/Error.h"
#include "text/TextEncoding.h"

#include <algorithm>
#include <utility>

namespace rksignal {

XmlDocument::XmlDocument(std::string content, std::string path, RemarkList& remarks)
    : text(std::move(content)), name(std::move(path)) {
    if (text.size() > maxSize) {
        throw Error(name + ": more than " + std::to_string(maxSize >> 20) + " MB of XML");
    }
    if (findInvalidUtf8(text)) {
        text = windows1252ToUtf8(text);
        remarks.add({name, Severity::Note, "text is not UTF-8; the file is taken as Windows-1252"});
    }
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', end + 1)) {
        lineEnds.push_back(end);
    }
    constexpr unsigned options = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_wconv_attribute |
                                 pugi::parse_eol | pugi::parse_trim_pcdata | pugi::parse_embed_pcdata;
    const pugi::xml_parse_result result =
        tree.load_buffer_inplace(text.data(), text.size(), options, pugi::encoding_utf8);
    if (!result) {
        const std::size_t line = lineAt(result.offset);
        remarks.add({name + ":" + std::to_string(line),
                     Severity::Error,
                     std::string("not well-formed XML, and not read further: ") + result.description(),
                     {},
                     line});
    }
}

std::size_t XmlDocument::lineAt(std::ptrdiff_t offset) const {
    const auto at = static_cast<std::size_t>(std::max<std::ptrdiff_t>(offset, 0));
    return 1 + static_cast<std::size_t>(std::lower_bound(lineEnds.begin(), lineEnds.end(), at) -
                                        lineEnds.begin());
}

std::size_t XmlDocument::lineOf(pugi::xml_node element) const {
    return lineAt(element.offset_debug());
}

std::string XmlDocument::placeOf(pugi::xml_node element) const {
    return name + ":" + std::to_string(lineOf(element));
}

} // namespace rksignal
