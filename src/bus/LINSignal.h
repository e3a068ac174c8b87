/// \file
/// Signals carried in LIN frames (ISO 17987).
#pragma once

#include "rktrace/LINTraceMessage.h"
#include "signal/BaseSignal.h"
#include "signal/Defined.h"
#include "signal/FrameTable.h"
#include "signal/StorageTables.h"

#include <cstdint>
#include <iosfwd>
#include <vector>

/// Definition of a LIN signal. Of the base fields it uses `channel`, `tslId`, `startbit`, `bits` and
/// `endian`. The signal lies in the first 8 data bytes; this is not checked.
struct linSignalDef_t : baseSignalDef_t {
    std::uint32_t msgId = 0; ///< frame identifier, 0 to 63; higher bits do not count
};

/// One LIN signal. See BaseSignal for threads, errors and shared memory.
class RKSIGNAL_EXPORT LINSignal : public Defined<linSignalDef_t>, public BaseSignal {
  public:
    /// The signals of every frame in use, by frame key, of all storages that do not stand alone; each list in
    /// construction order.
    static FrameTable<LINSignal> linContainer;
    /// The table that a storage uses: `linContainer`, or its own.
    static FrameTable<LINSignal>& containerOf(const SignalStorage* storage) {
        return tableOf(storage, &StorageTables::lin, linContainer);
    }

    /// Builds the signal and files it under the key of its frame. An identifier already in use is reported
    /// and gives a signal with identifier all ones that is found by name and never receives a value.
    explicit LINSignal(const linSignalDef_t& def, bool shm = false, SignalStorage* storage = nullptr);

    /// Leaves all tables: the list of its frame, and those that clients can have changed.
    ~LINSignal() override;

    /// Whether a raw LIN trace record belongs to a frame in use. Reads the channel at byte 14 and the
    /// identifier at byte 26; the record must have these. The second argument is ignored.
    static bool signalsInUse(const unsigned char* record, const unsigned char* ignored, unsigned char tslId,
                             SignalStorage* storage = nullptr);

    /// Decodes one received frame into every signal filed under its key. `ids` is emptied, then receives the
    /// identifier of each signal, in construction order. Missing data bytes count as zero; a frame without
    /// any is passed over. The number of data bytes is taken modulo 256.
    ///
    /// Never throws for what a frame holds; allocates only when `ids` grows and on a frame's first decoding.
    /// One thread at a time; each slot is locked for its own write only. \return whether `ids` is non-empty
    static bool decodeMessage(const LINTraceMessage& ltm, std::vector<unsigned long>& ids,
                              unsigned char tslId = 0, SignalStorage* storage = nullptr);

  private:
    std::uint64_t frameKey = 0; ///< under which the library has filed it
};

/// Writes the base definition, then `,msgId=` and the identifier.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const linSignalDef_t& definition);

/// Writes the signal, its definition and its identifier, joined by `;`. Leaves the stream in hexadecimal
/// mode.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const LINSignal& signal);
