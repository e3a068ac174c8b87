#include "bus/CANModel.h"

#include <span>

namespace {

using Signal = CANModel::Signal;

constexpr std::uint64_t bit(int number) {
    return std::uint64_t{1} << number;
}

std::uint64_t keyOf(std::uint8_t tslId, std::uint8_t channel, bool extended, bool canFd, std::uint32_t id) {
    return bit(63) + tslId * bit(56) + channel * bit(32) + (extended ? bit(31) : 0) + (canFd ? bit(30) : 0) +
           id;
}

int receivedBytes(const CANExtTraceMessage& message) {
    return std::min<int>(message.length, 64);
}

/// A field of no bits counts as one here.
int lastByte(const canSignalDef_t& def) {
    const std::vector<int> bits = fieldBits(def.startbit, def.bits, def.endian);
    return (def.endian ? bits.front() : bits.back()) / 8;
}

/// The value of the bits, each `moved` bytes from where `field` says. Bits outside `bytes` are zero, and so
/// are those more than 64 bits above the lowest bit of the field's last byte.
std::uint64_t collect(std::span<const std::uint8_t> bytes, const std::vector<int>& field, int moved,
                      bool isSigned) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < field.size() && static_cast<std::size_t>(field[0] % 8) + i < 64; ++i) {
        const int number = field[i] + 8 * moved;
        if (number >= 0 && number / 8 < static_cast<int>(bytes.size()) &&
            (bytes[static_cast<std::size_t>(number / 8)] >> (number % 8)) % 2 == 1) {
            value += std::uint64_t{1} << i;
        }
    }
    const std::size_t width = field.size();
    const bool negative = isSigned && width > 0 && width < 64 && (value >> (width - 1)) % 2 == 1;
    return negative ? value - bit(static_cast<int>(width)) : value;
}

void store(Signal& signal, const CANExtTraceMessage& message, int seen, int moved) {
    const canSignalDef_t& def = signal.def;
    const std::uint64_t raw =
        collect(std::span(message.payload).first(static_cast<std::size_t>(seen)),
                fieldBits(def.startbit, def.bits, def.endian), moved, def.type == signalValue_t::Signed);
    signal.state = {raw, message.timestamp, true, raw != signal.state.raw};
}

/// A classic signal sees 8 bytes. The bit number of its least significant bit is kept in 8 bits.
void writeClassic(Signal& signal, const CANExtTraceMessage& message) {
    const canSignalDef_t& def = signal.def;
    const int lsb = def.bits == 0 ? 0 : fieldBits(def.startbit, def.bits, def.endian).front();
    store(signal, message, std::min(receivedBytes(message), 8), -(lsb / 256 * 32));
}

/// An FD signal's start byte is kept in 8 bits.
int startByteWrap(const canSignalDef_t& def) {
    return -(def.startbit / 2048 * 256);
}

std::optional<int> findPdu(const CANExtTraceMessage& message, std::uint32_t pduId) {
    for (int header = 0; header < receivedBytes(message) && header + 4 <= 64;) {
        const std::uint8_t* const bytes = message.payload.data() + header;
        if (bytes[0] * 0x10000U + bytes[1] * 0x100U + bytes[2] == pduId) {
            return header + 4;
        }
        header += 4 + bytes[3];
    }
    return std::nullopt;
}

bool writeReceivedRange(Signal& signal, const CANExtTraceMessage& message) {
    const std::optional<int> offset = signal.def.pduId ? findPdu(message, *signal.def.pduId) : 0;
    if (!offset) {
        return false;
    }
    const int moved = *offset + startByteWrap(signal.def);
    if (moved + lastByte(signal.def) >= receivedBytes(message)) {
        return false;
    }
    store(signal, message, 64, moved);
    return true;
}

} // namespace

std::vector<int> fieldBits(int startbit, int bits, bool bigEndian) {
    std::vector<int> numbers;
    for (int number = startbit; bits > 0; --bits) {
        numbers.push_back(number);
        number += !bigEndian ? 1 : number % 8 == 0 ? 15 : -1;
    }
    if (bigEndian) {
        std::reverse(numbers.begin(), numbers.end());
    }
    return numbers;
}

std::uint64_t CANModel::keyOf(const canSignalDef_t& def) {
    return ::keyOf(def.tslId, def.channel, def.extended, def.canFD, def.msgId);
}

void CANModel::build(Signal& signal) {
    const canSignalDef_t& def = signal.def;
    if (!def.canFD || (def.bits <= 64 && lastByte(def) - def.startbit / 8 < 8)) {
        signal.id = bit(63) + nextNumber++;
        registered.insert(&signal);
        list(keyOf(def)).push_back(&signal);
    }
}

void CANModel::destroy(Signal& signal) {
    registered.erase(&signal);
    for (auto& [key, signals] : frames) {
        std::erase(signals, &signal);
    }
    std::erase_if(frames, [](const auto& entry) { return entry.second.empty(); });
}

bool CANModel::decode(const CANExtTraceMessage& message, std::uint8_t tslId) {
    ids.clear();
    const std::uint32_t format = message.frameFormat;
    std::uint64_t key = ::keyOf(tslId, message.channel, format == 1 || format == 3,
                                format == 2 || format == 3, message.canId);
    if (registered.empty() || !frames.contains(key)) {
        return false;
    }
    for (Signal* const signal : frames.at(key)) {
        if (!signal->def.canFD) {
            writeClassic(*signal, message);
        } else if (!writeReceivedRange(*signal, message)) {
            continue;
        }
        ids.push_back(signal->id);
        if (signal->def.multiplexer == 0) {
            continue;
        }
        key += (signal->state.raw + 1) * bit(40);
        for (Signal* const second : frames.contains(key) ? frames.at(key) : std::vector<Signal*>{}) {
            if (second->def.canFD) {
                store(*second, message, 64, startByteWrap(second->def));
            } else {
                writeClassic(*second, message);
                ids.push_back(second->id);
            }
        }
    }
    return !ids.empty();
}
