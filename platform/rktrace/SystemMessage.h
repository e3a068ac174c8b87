/// \file
/// Messages of the logger about itself.
#pragma once

#include "rkutil/Export.h"

#include <cstdint>
#include <iosfwd>
#include <string>

/// A message of the logger: a code, and a text that depends on it.
struct RK_EXPORT SystemMessage {
    /// Values of `code` that carry signals. The text of all but `MemoryUsage` is a decimal number.
    enum Code : std::uint32_t {
        MemoryUsage = 2, ///< a SystemUsageMessage
        Status = 16,     ///< 0 ok, 1 error, 2 no synchronisation, 3 warning, 4 update, 5 memory, 6 ring
        Start = 30,
        Timer = 31, ///< seconds
    };

    SystemMessage() = default;
    SystemMessage(std::uint64_t timestamp, std::uint32_t code, std::string text);
    SystemMessage(const SystemMessage&) = default;
    SystemMessage& operator=(const SystemMessage&) = default;
    virtual ~SystemMessage();

    std::uint64_t timestamp = 0; ///< nanoseconds since 1970-01-01 00:00 UTC
    std::uint32_t code = 0;
    std::string text;
};

/// How full the logger's memories are, in percent; 255: there is none.
struct RK_EXPORT SystemUsageMessage : SystemMessage {
    SystemUsageMessage();
    SystemUsageMessage(std::uint64_t timestamp, std::uint8_t internalUsage, std::uint8_t externalUsage,
                       std::uint8_t externalUsage2);

    std::uint8_t internalUsage = 0;
    std::uint8_t externalUsage = 0;
    std::uint8_t externalUsage2 = 0; ///< of the second external memory
};

/// Writes the message on one line without line end, e.g.
/// `timestamp=1970-01-01 00:00:00.000000001,code=16,text=3`; a SystemUsageMessage also with
/// `,internalUsage=40,externalUsage=255,externalUsage2=70`. Leaves the stream in decimal mode.
RK_EXPORT std::ostream& operator<<(std::ostream& out, const SystemMessage& message);
