/// \file
/// Writes Ethernet frames as a capture that network analysers read.
#pragma once

#include "Octets.h"

#include "rktrace/MIITraceMessage.h"

#include <ostream>

namespace drive {

/// A pcapng file (draft-ietf-opsawg-pcapng) of one section and one Ethernet interface, with times in
/// nanoseconds. Errors show in the state of the stream.
class EthernetCapture {
  public:
    /// Writes the file's first blocks. `out` must be binary and outlive the capture.
    explicit EthernetCapture(std::ostream& out);

    void write(const MIITraceMessage& message);

  private:
    void writeBlock(std::uint32_t type, const Octets& body);

    std::ostream& out;
};

} // namespace drive
