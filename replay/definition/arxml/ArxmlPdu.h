/// \file
/// PDUs of AUTOSAR as lists of signals, whatever the bus: plain, multiplexed, secured, in containers.
#pragma once

#include "definition/Definition.h"
#include "definition/arxml/ArxmlModel.h"
#include "definition/arxml/ArxmlSignal.h"

#include <pugixml.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rksignal {

struct ArxmlPdu {
    pugi::xml_node element;
    std::string name;
    std::string comment;
    std::uint32_t length = 0;        ///< bytes; 0: not known
    std::optional<double> cycleTime; ///< milliseconds
    std::vector<ArxmlSignal> signals;
    std::vector<pugi::xml_node> parts; ///< the PDUs that this one is made of, itself first
};

/// A PDU somewhere in a frame or datagram.
struct ArxmlPlacedPdu {
    ArxmlPdu pdu;
    std::uint32_t offset = 0; ///< bytes from the start of the payload; with `headerId`: of the container
    std::optional<std::uint32_t> headerId; ///< none: at this very place. Else its header in the container
    PduHeader header = PduHeader::Short;   ///< of that
};

class ArxmlPduReader {
  public:
    explicit ArxmlPduReader(ArxmlModel& model);

    /// The PDUs of one frame or socket, called `owner`, that `pdu` brings there at `offset` bytes: itself, or
    /// those that it contains. What cannot be read is remarked.
    void place(pugi::xml_node pdu, std::uint32_t offset, const std::string& owner,
               std::vector<ArxmlPlacedPdu>& placed);

  private:
    class Frame;

    ArxmlModel& model;
    bool hasBigEndianHeaders = true; ///< those of containers
    std::size_t signalsAndTexts = 0; ///< that were read
};

} // namespace rksignal
