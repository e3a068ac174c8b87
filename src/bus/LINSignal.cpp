#include "bus/LINSignal.h"

#include "bus/LINKey.h"
#include "rktrace/TraceRecord.h"
#include "signal/FrameDecoder.h"
#include "signal/SignalFiling.h"

#include <optional>
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
    return !filing::storageOrDefault(storage).linSignals.empty() &&
           containerOf(storage).contains(
               lin::frameKey(tslId, record[recordAt::linChannel], record[recordAt::linIdentifier]));
}

namespace {

constexpr LogSite site{"LINSignal", "decodeMessage"};

class LINDecoder : public FrameDecoder<LINDecoder, LINSignal> {
  public:
    static constexpr LogSite site = ::site;

    LINDecoder(Table& table, const ReceivedFrame& frame, std::vector<unsigned long>& ids, std::uint64_t key)
        : FrameDecoder(table, frame, ids), key(key) {}

    static FieldPlace placeOf(const LINSignal& /*signal*/) { return {.wholeFrame = true}; }

    /// No place is conditional.
    static std::optional<std::size_t> originOf(const FieldWriter& /*writer*/) { return std::nullopt; }
    /// In a frame without data.
    static void traceAbsent(const FieldWriter& /*writer*/) {}

    void traceSignal(const BaseSignal& signal) const {
        logDebug(site, "Signal = ", signal.def.instance, ", id = 0x", std::hex, key, std::dec);
    }

  private:
    const std::uint64_t key;
};

ReceivedFrame viewOf(const LINTraceMessage& message) {
    const auto length = static_cast<std::uint8_t>(message.data.size()); // 8 bits on purpose
    const std::span<const std::uint8_t> data(message.data.data(), length);
    const std::optional<std::size_t> origin = length != 0 ? std::optional<std::size_t>(0) : std::nullopt;
    return {data, length, message.timestamp, wordAt(data, 0), origin};
}

/// Any frame.
[[gnu::noinline]] bool decodeOther(FrameTable<LINSignal>& container, FrameTable<LINSignal>::Frame& frame,
                                   const LINTraceMessage& message, std::vector<unsigned long>& ids,
                                   std::uint64_t key) {
    LINDecoder::decode(container, frame, viewOf(message), ids, key);
    return !ids.empty();
}

[[gnu::noinline]] void traceUnknown(const LINTraceMessage& message) {
    if (BaseSignal::debug >= 2) {
        // The text and the number are those that readers of such lines have always seen.
        logDebug(site, "LIN message not in canMessageContainer: ", message, ", id = 0");
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
        traceUnknown(ltm);
        return false;
    }
    const ReceivedFrame view = viewOf(ltm);
    return (view.length != 0 && debug == 0 &&
            LINDecoder::storedAtOnce(container, *frame, view.firstWord, view.length, view.timestamp, ids)) ||
           decodeOther(container, *frame, ltm, ids, key);
}

std::ostream& operator<<(std::ostream& out, const linSignalDef_t& definition) {
    return out << static_cast<const baseSignalDef_t&>(definition) << ",msgId=" << std::dec
               << definition.msgId;
}

std::ostream& operator<<(std::ostream& out, const LINSignal& signal) {
    return filing::print(out, signal);
}
