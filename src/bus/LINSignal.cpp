#include "bus/LINSignal.h"

#include "bus/LINKey.h"
#include "signal/ByteOrder.h"
#include "signal/Diagnostics.h"
#include "signal/FrameProgram.h"
#include "signal/SignalFiling.h"

#include <ostream>
#include <span>

FrameTable<LINSignal> LINSignal::linContainer;

LINSignal::LINSignal(const linSignalDef_t& def, bool shm, SignalStorage* storage)
    : Defined{def}, BaseSignal(definition, DefUse::Refer, shm, storage) {
    constexpr LogSite site{"LINSignal", "LINSignal"};
    if (!filing::enter(*this, lin::kindBit, this->storage->linSignals, site)) {
        return;
    }
    frameKey = lin::frameKey(definition.tslId, definition.channel, definition.msgId);
    containerOf(this->storage).file(frameKey, this);
    if (debug) {
        logDebug(site, definition.instance, " created ", shm ? "(shared memory)" : "", *this, std::dec);
    }
}

LINSignal::~LINSignal() {
    filing::leave(*this, storage->linSignals, {"LINSignal", "~LINSignal"}, "");
    FrameTable<LINSignal>& container = containerOf(storage);
    container.unfile(frameKey, this);
    container.unfileByHand(this);
}

bool LINSignal::signalsInUse(const unsigned char* record, const unsigned char* /*ignored*/,
                             unsigned char tslId, SignalStorage* storage) {
    constexpr std::size_t channelOffset = 14;
    constexpr std::size_t identifierOffset = 26;
    return !filing::storageOrDefault(storage).linSignals.empty() &&
           containerOf(storage).contains(
               lin::frameKey(tslId, record[channelOffset], record[identifierOffset]));
}

namespace {

constexpr LogSite site{"LINSignal", "decodeMessage"};

FieldWriter compile(LINSignal& signal) {
    return {signal, isExactly(signal), {}};
}

/// Writes the data bytes to the signals of a frame.
void writeAll(const LINTraceMessage& message, std::uint64_t key, const FrameProgram& program,
              std::vector<unsigned long>& ids) {
    const auto length = static_cast<std::uint8_t>(message.data.size()); // 8 bits on purpose
    const std::uint64_t firstWord = wordAt(std::span(message.data).first(length), 0);
    for (const FieldWriter& writer : program.fields()) {
        if (BaseSignal::debug) {
            logDebug(site, "Signal = ", writer.signal->def.instance, ", id = 0x", std::hex, key, std::dec);
        }
        if (length == 0) {
            continue;
        }
        if (writer.isDirect() && BaseSignal::debug == 0) {
            writer.store(firstWord, message.timestamp);
        } else {
            writer.signal->write(message.data.data(), length, message.timestamp);
        }
        ids.push_back(writer.id);
    }
}

} // namespace

bool LINSignal::decodeMessage(const LINTraceMessage& ltm, std::vector<unsigned long>& ids,
                              unsigned char tslId, SignalStorage* storage) {
    ids.clear();
    if (filing::storageOrDefault(storage).linSignals.empty()) {
        return false;
    }
    const std::uint64_t key = lin::frameKey(tslId, ltm.channel, ltm.protectedId);
    FrameTable<LINSignal>& container = containerOf(storage);
    auto* const frame = container.lookup(key);
    if (frame == nullptr) {
        if (debug >= 2) {
            // The text and the number are those that readers of such lines have always seen.
            logDebug(site, "LIN message not in canMessageContainer: ", ltm, ", id = 0");
        }
        return false;
    }
    writeAll(ltm, key, FrameProgram::of(*frame, container, compile), ids);
    return !ids.empty();
}

std::ostream& operator<<(std::ostream& out, const linSignalDef_t& definition) {
    return out << static_cast<const baseSignalDef_t&>(definition) << ",msgId=" << std::dec
               << definition.msgId;
}

std::ostream& operator<<(std::ostream& out, const LINSignal& signal) {
    return out << static_cast<const BaseSignal&>(signal) << ";" << signal.definition << ";index=" << std::hex
               << signal.id;
}
