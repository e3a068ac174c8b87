/// \file
/// Data types of AUTOSAR software components (TPS Software Component Template) and adaptive applications (TPS
/// Manifest Specification), as their values lie in messages of SOME/IP.
#pragma once

#include "definition/arxml/ArxmlModel.h"
#include "definition/arxml/ArxmlPdu.h"

#include <pugixml.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace rksignal {

/// How data are laid out.
struct SomeIpLayout {
    bool isBigEndian = true;
    std::uint32_t headerBytes = 0;       ///< of other transformers, before the data
    std::uint32_t arrayLengthBytes = 0;  ///< before each array
    std::uint32_t structLengthBytes = 0; ///< before each structure
    bool isTagged = false;               ///< elements have tags and lengths of their own (TLV)
};

/// References to implementation data types by the paths of the application data types that are mapped to
/// them.
using ArxmlTypeMap = std::map<std::string, pugi::xml_node>;

/// Adds signals to a PDU, one for each value of a type, up to the first of variable size.
class ArxmlDataTypes {
  public:
    ArxmlDataTypes(ArxmlModel& model, const ArxmlTypeMap& implementationTypes, const SomeIpLayout& layout,
                   ArxmlPdu& pdu)
        : model(model), implementationTypes(implementationTypes), layout(layout), pdu(pdu),
          at(layout.headerBytes) {}

    /// Adds the values of `type`, which is called `label`. \return whether what follows has a fixed place
    bool add(const std::string& label, pugi::xml_node type) { return add(label, type, {}, 0); }

  private:
    /// `meaning` are the properties of an outer type that say how values are scaled, if there are such.
    bool add(const std::string& label, pugi::xml_node type, pugi::xml_node meaning, unsigned depth);
    bool addElements(const std::string& label, pugi::xml_node elements, unsigned depth);
    bool addArray(const std::string& label, pugi::xml_node type, unsigned depth);
    bool addValue(const std::string& label, pugi::xml_node type, pugi::xml_node properties,
                  pugi::xml_node meaning);
    void scale(pugi::xml_node meaning, ArxmlSignal& signal);
    pugi::xml_node referredType(pugi::xml_node type, pugi::xml_node properties);
    bool stop(pugi::xml_node type, std::string_view reason);

    ArxmlModel& model;
    const ArxmlTypeMap& implementationTypes;
    const SomeIpLayout& layout;
    ArxmlPdu& pdu;
    std::size_t at; ///< bytes so far
};

} // namespace rksignal
