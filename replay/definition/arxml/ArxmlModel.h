/// \file
/// The elements of AUTOSAR XML files that are read together, found by their paths (AUTOSAR TPS ARXML
/// Serialization Rules), and what there is to say about them.
#pragma once

#include "definition/arxml/ArxmlFile.h"
#include "definition/xml/XmlDocument.h"
#include "text/Remark.h"

#include <pugixml.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace rksignal {

/// All files as one tree of SHORT-NAMEs. The index takes 16 bytes an element that has one. Elements, which
/// are pugi::xml_node, are valid as long as the model; a null node, given as a parent, gives null nodes.
class ArxmlModel {
  public:
    /// Parses and indexes the texts. \throws Error as XmlDocument
    explicit ArxmlModel(std::vector<ArxmlText> texts);
    ArxmlModel(const ArxmlModel&) = delete;
    ArxmlModel& operator=(const ArxmlModel&) = delete;

    /// Whether one of the files is AUTOSAR XML.
    bool isAutosar() const { return hasRoot; }
    /// The elements of one of these names that have a SHORT-NAME, in the order of the files.
    std::vector<pugi::xml_node> elementsOf(std::initializer_list<std::string_view> tags) const;

    /// The element of an absolute path. Of several, the first with the tag `destination`, else the first.
    pugi::xml_node find(std::string_view path, std::string_view destination = {}) const;
    /// Whether no file before has an element of this path and tag.
    bool isFirst(pugi::xml_node element) const;
    /// What a reference (an element with a path as its text) names, by the attributes DEST and BASE. A
    /// relative path is completed by the REFERENCE-BASES of the packages around it. A path that leads nowhere
    /// is remarked once. \return null for that, and for a null node
    pugi::xml_node follow(pugi::xml_node reference);
    /// The same of the first child of `parent` of one of these names; null if it has none.
    pugi::xml_node target(pugi::xml_node parent, std::initializer_list<const char*> tags);
    /// The path of a reference, completed; the text itself if its base is not known.
    std::string referencePath(pugi::xml_node reference) const;

    /// That of an element, or of the one around it that has one.
    std::string pathOf(pugi::xml_node element) const;
    std::string placeOf(pugi::xml_node element) const;

    /// Remarks `PATH: text` at the line of the element. The same of the same element is said once.
    void note(pugi::xml_node element, std::string_view text) { remark(element, Severity::Note, text); }
    void leftOut(pugi::xml_node element, std::string_view text) { remark(element, Severity::Warning, text); }
    /// Counts what the files repeat, so that small ones cannot fill the memory: elements of data types,
    /// places of PDUs, signals in them. \return false if there was too much already; then nothing more is to
    /// be made of `element`, and the first time that is remarked
    bool takeRepeated(pugi::xml_node element, std::size_t count);

    /// What concerns all files.
    void note(std::string text);
    RemarkList takeRemarks() { return std::move(remarks); }

  private:
    struct Entry {
        std::uint64_t hash; ///< of the path
        pugi::xml_node element;
    };

    void index(const XmlDocument& document);
    std::size_t documentOf(pugi::xml_node element) const;
    bool hasPath(pugi::xml_node element, std::string_view path) const;
    std::string basePath(pugi::xml_node from, std::string_view label, unsigned depth) const;
    void remark(pugi::xml_node element, Severity severity, std::string_view text);

    std::deque<XmlDocument> documents;
    std::vector<Entry> entries; ///< by hash; those of the same hash in the order of the files
    bool hasRoot = false;
    RemarkList remarks;
    std::unordered_set<std::uint64_t> said; ///< hashes of remarks
    std::size_t repetitionsLeft = 8'000'000;
};

/// The SHORT-NAME of an element, its first child; empty if it has none.
std::string_view arxmlName(pugi::xml_node element);
/// The text of the first child of one of these names; empty if there is none.
std::string_view arxmlText(pugi::xml_node parent, std::initializer_list<const char*> tags);
/// The first child of one of these names, or null.
pugi::xml_node arxmlChild(pugi::xml_node parent, std::initializer_list<const char*> tags);
/// Descends by one child for each name; null if one is missing.
pugi::xml_node arxmlAt(pugi::xml_node parent, std::initializer_list<const char*> path);
/// The content of an element that can have variants: its first `X-CONDITIONAL` in `X-VARIANTS`, if its tag is
/// X, else itself.
pugi::xml_node arxmlVariant(pugi::xml_node element);
/// DESC as text, else LONG-NAME unless it says the same as SHORT-NAME. Of several languages English is taken,
/// else what is for all languages, else the first.
std::string arxmlComment(pugi::xml_node element);

/// A number of AUTOSAR: decimal, also with fraction and exponent; 0x, 0b, octal with a leading 0; true,
/// false; INF, -INF, NaN. \return nothing if the text is no number
std::optional<double> arxmlNumber(std::string_view text);
/// The same, of 0 or more and whole; exact for 64 bits.
std::optional<std::uint64_t> arxmlUnsigned(std::string_view text);
/// That of the first child of one of these names, at most 2^32 - 1; 0 if there is none.
std::uint32_t arxmlCount(pugi::xml_node parent, std::initializer_list<const char*> tags);

} // namespace rksignal
