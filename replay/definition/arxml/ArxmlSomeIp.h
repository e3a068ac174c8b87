/// \file
/// Data that AUTOSAR serializes as SOME/IP (PRS_SOMEIPProtocol): structures whose elements lie one behind the
/// other.
#pragma once

#include "definition/arxml/ArxmlDataType.h"
#include "definition/arxml/ArxmlModel.h"
#include "definition/arxml/ArxmlPdu.h"

#include <pugixml.hpp>

#include <map>
#include <optional>
#include <string>

namespace rksignal {

/// By the properties of a serialized I-SIGNAL or of an element of a service interface.
SomeIpLayout readSomeIpLayout(pugi::xml_node properties);

/// Finds out what the data types of the model become in messages.
class ArxmlSomeIp {
  public:
    explicit ArxmlSomeIp(ArxmlModel& model);

    /// The PDU with the elements of its serialized signal as signals, whose start bits count from the end of
    /// the header of SOME/IP. Those of structures are named `STRUCTURE_ELEMENT`, those of arrays `ARRAY_0`
    /// and so on. \return nothing if it is no such PDU
    std::optional<ArxmlPdu> read(pugi::xml_node pdu);

    /// Adds a signal for each value of the type of `prototype`, up to the first of variable size, which is
    /// remarked.
    void addElements(pugi::xml_node prototype, const SomeIpLayout& layout, ArxmlPdu& pdu);

  private:
    std::optional<SomeIpLayout> layoutOf(pugi::xml_node iSignal);

    ArxmlModel& model;
    std::map<std::string, pugi::xml_node> dataElements; ///< by the path of the system signal
    std::map<std::string, pugi::xml_node>
        implementationTypes; ///< references, by the path of the application type
};

} // namespace rksignal
