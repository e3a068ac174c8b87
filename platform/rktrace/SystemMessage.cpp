#include "rktrace/SystemMessage.h"

#include <utility>

SystemMessage::SystemMessage(std::uint64_t time, std::uint32_t messageCode, std::string messageText)
    : timestamp(time), code(messageCode), text(std::move(messageText)) {}

SystemMessage::~SystemMessage() = default;

SystemUsageMessage::SystemUsageMessage() : SystemUsageMessage(0, 0, 0, 0) {}

SystemUsageMessage::SystemUsageMessage(std::uint64_t time, std::uint8_t internal, std::uint8_t external,
                                       std::uint8_t external2)
    : SystemMessage(time, MemoryUsage, {}), internalUsage(internal), externalUsage(external),
      externalUsage2(external2) {}
