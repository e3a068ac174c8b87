/// \file
/// The fixture of the CAN tests, and short ways to write definitions and frames.
#pragma once

#include "bus/CANSignal.h"
#include "support/SignalTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

/// What can be seen of a signal after a frame.
struct SignalState {
    std::uint64_t raw = signalSlot_t::unwrittenRaw;
    std::uint64_t timestamp = signalSlot_t::unwrittenTimestamp;
    bool valid = false;
    bool modified = false;

    static SignalState of(const BaseSignal& signal) {
        return {signal.slot->raw, signal.slot->timestamp, signal.slot->valid != 0, signal.isModified()};
    }
    bool operator==(const SignalState&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const SignalState& state) {
        return out << std::hex << "raw=0x" << state.raw << ",timestamp=0x" << state.timestamp
                   << std::boolalpha << ",valid=" << state.valid << ",modified=" << state.modified;
    }
};

/// Where a signal lies and how it reads.
struct Field {
    std::uint16_t startbit = 0;
    std::uint8_t bits = 8;
    bool bigEndian = false;
    bool isSigned = false;
};

/// A signal of the classic standard frame 0x123 of channel 0.
inline canSignalDef_t classicSignal(const std::string& instance, const Field& field = {}) {
    canSignalDef_t def;
    def.instance = instance;
    def.signal = instance;
    def.msgId = 0x123;
    def.startbit = field.startbit;
    def.bits = field.bits;
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

inline canSignalDef_t multiplexer(canSignalDef_t def) {
    def.multiplexer = 1;
    return def;
}

/// A frame of channel 0 that carries `bytes`. It lies on the heap by itself, so that an address sanitizer
/// sees every access past its 64 payload bytes.
inline std::unique_ptr<CANExtTraceMessage> frame(const std::vector<std::uint8_t>& bytes,
                                                 std::uint32_t format = CANExtTraceMessage::Standard,
                                                 std::uint32_t canId = 0x123, std::uint64_t timestamp = 1) {
    auto message = std::make_unique<CANExtTraceMessage>();
    message->timestamp = timestamp;
    message->frameFormat = format;
    message->length = static_cast<std::uint8_t>(bytes.size());
    message->canId = canId;
    std::copy(bytes.begin(), bytes.end(), message->payload.begin());
    return message;
}

inline std::unique_ptr<CANExtTraceMessage> fdFrame(const std::vector<std::uint8_t>& bytes) {
    return frame(bytes, CANExtTraceMessage::FdStandard);
}

/// The bytes first, first + 1, ... so that each tells where it lies.
inline std::vector<std::uint8_t> counting(std::size_t count, std::uint8_t first = 0) {
    std::vector<std::uint8_t> bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>(first + i);
    }
    return bytes;
}

/// Also looks that no frame is left in use.
class CANTest : public SignalTest {
  protected:
    using Ids = std::vector<unsigned long>;

    void TearDown() override {
        SignalTest::TearDown();
        EXPECT_TRUE(CANSignal::canContainer.empty());
        CANSignal::canContainer.clear();
    }

    /// Takes a signal out of the list under one key and places it under another one.
    static void move(CANSignal& signal, std::uint64_t from, std::uint64_t to) {
        std::erase(CANSignal::canContainer.at(from), &signal);
        CANSignal::canContainer[to].push_back(&signal);
    }

    /// The identifiers that decoding the frame reports, added to none of those that were there before.
    static Ids decode(const CANExtTraceMessage& message, std::uint8_t tslId = 0,
                      SignalStorage* storage = nullptr) {
        Ids ids{1, 2, 3};
        const bool reported = CANSignal::decodeMessage(message, ids, tslId, storage);
        EXPECT_EQ(reported, !ids.empty());
        return ids;
    }

    static constexpr std::uint64_t firstId = 0x8000000000000000;
    static constexpr std::uint64_t rejectedId = 0xFFFFFFFFFFFFFFFF;
    static constexpr std::uint64_t unwritten = signalSlot_t::unwrittenRaw;
    static constexpr std::uint64_t frameKey = 0x8000000000000123;
    static constexpr std::uint64_t fdFrameKey = 0x8000000040000123;
    static constexpr std::uint64_t multiplexerStep = 0x10000000000;
};
