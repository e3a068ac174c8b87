/// \file
/// The fixture of the CAN tests, and short ways to write definitions and frames.
#pragma once

#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <memory>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// Where a signal lies and how it reads.
struct Field {
    std::uint16_t startbit = 0;
    std::uint8_t bits = 8;
    bool bigEndian = false;
    bool isSigned = false;
};

/// A signal of the classic standard frame 0x123 of channel 0; a `multiplexer` other than 0 makes it one.
inline canSignalDef_t classicSignal(const std::string& instance, const Field& field = {},
                                    std::uint8_t multiplexer = 0) {
    auto def = byteDefinition<canSignalDef_t>(instance);
    def.msgId = 0x123;
    def.startbit = field.startbit;
    def.bits = field.bits;
    def.multiplexer = multiplexer;
    def.endian = field.bigEndian;
    def.type = field.isSigned ? signalValue_t::Signed : signalValue_t::Unsigned;
    return def;
}

/// A signal of the CAN FD standard frame 0x123 of channel 0, in a PDU if one is named.
inline canSignalDef_t fdSignal(const std::string& instance, const Field& field = {},
                               std::optional<std::uint32_t> pduId = {}) {
    canSignalDef_t def = classicSignal(instance, field);
    def.canFD = true;
    def.pduId = pduId;
    return def;
}

/// Frame 0x123 of channel 0 that carries `bytes`, received 18 nanoseconds after the epoch. It lies on the
/// heap by itself, so that an address sanitizer sees every access past its 64 payload bytes.
inline std::unique_ptr<CANExtTraceMessage> frame(const std::vector<std::uint8_t>& bytes,
                                                 std::uint32_t format = CANExtTraceMessage::Standard) {
    auto message = std::make_unique<CANExtTraceMessage>();
    message->timestamp = 18;
    message->frameFormat = format;
    message->length = static_cast<std::uint8_t>(bytes.size());
    message->canId = 0x123;
    std::copy(bytes.begin(), bytes.end(), message->payload.begin());
    return message;
}

class CANTest : public SignalTest {
  protected:
    using Ids = std::vector<unsigned long>;

    static Ids decode(const CANExtTraceMessage& message, std::uint8_t tslId = 0,
                      SignalStorage* storage = nullptr) {
        return decodedIds<CANSignal>(message, tslId, storage);
    }

    static constexpr std::uint64_t frameKey = 0x8000000000000123;
    CapturedOutput output;
};
