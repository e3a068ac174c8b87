/// \file
/// An XML document (W3C XML 1.0) in memory, whose elements know their lines.
///
/// Parsed by pugixml without document types: no entity but the five predefined ones and characters by number
/// is replaced, and nothing outside the document is ever loaded. Nothing here recurses, whatever the depth.
#pragma once

#include "text/Remark.h"

#include <pugixml.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// Text of elements has no blanks around it. An element has its first piece of text as its own, which
/// pugi::xml_node::child_value() without an argument gives; further pieces are nodes, as usual.
class XmlDocument {
  public:
    static constexpr std::size_t maxSize = std::size_t{1} << 30; ///< bytes

    /// Text that is not UTF-8 throughout is taken as Windows-1252, and of a document that is not well-formed,
    /// what stands before the fault is kept: `remarks` get both. Takes time in proportion to the text, and
    /// about three times its size. \throws Error if it is longer than maxSize
    XmlDocument(std::string text, std::string path, RemarkList& remarks);

    /// The outermost element; a null node if there is none.
    pugi::xml_node root() const { return tree.document_element(); }
    bool holds(pugi::xml_node node) const { return node.root() == tree; }
    const std::string& path() const { return name; }

    /// The line of the start tag, from 1. REQUIRES: holds(element)
    std::size_t lineOf(pugi::xml_node element) const;
    /// `FILE:LINE`
    std::string placeOf(pugi::xml_node element) const;

  private:
    std::size_t lineAt(std::ptrdiff_t offset) const;

    std::string text; ///< the tree points into it
    std::string name;
    std::vector<std::size_t> lineEnds; ///< offsets
    pugi::xml_document tree;
};

} // namespace rksignal
