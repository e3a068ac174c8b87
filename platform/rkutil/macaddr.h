/// \file
/// Text form of IEEE 802 MAC addresses.
#pragma once

#include "rkutil/Export.h"

#include <cstdint>
#include <iosfwd>

/// A MAC address held in the low 48 bits of a word, the first octet on the wire most significant.
class RK_EXPORT macaddr_t {
  public:
    explicit macaddr_t(std::uint64_t address) : address(address) {}

    /// Writes six lower-case octets joined by ':'; bits 48 to 63 are not shown. The stream's number settings
    /// neither matter nor change.
    void print(std::ostream& out) const;

  private:
    std::uint64_t address;
};
