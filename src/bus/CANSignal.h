/// \file
/// Signals carried in CAN and CAN FD frames (ISO 11898-1).
#pragma once

#include "rktrace/CANExtTraceMessage.h"
#include "signal/BaseSignal.h"
#include "signal/Defined.h"
#include "signal/FrameTable.h"
#include "signal/StorageTables.h"

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

/// Definition of a CAN signal. Of the base fields it uses `channel`, `tslId`, `startbit`, `bits`, `endian`,
/// `multiplexer`, `multiplexed` and `mux`; the last two only to be printed.
///
/// In a classic frame the start bit counts from the start of the payload, and the signal lies in its first 8
/// bytes; this is not checked. In a CAN FD frame it counts from the start of the payload, or of the PDU's
/// data when there is a `pduId`, and the signal may lie anywhere but must not touch more than 8 bytes.
struct canSignalDef_t : baseSignalDef_t {
    std::uint32_t msgId = 0;            ///< 11-bit or 29-bit identifier; bits 29 to 31 are zero
    bool extended = false;              ///< 29-bit identifier
    bool canFD = false;                 ///< CAN FD frame
    std::string message;                ///< name of the frame
    std::string sender;                 ///< name of the sending node
    std::optional<std::uint32_t> pduId; ///< the PDU that holds the signal, 24 bits; CAN FD only
    std::uint8_t startByte = 0;         ///< derived for CAN FD: first byte of the signal
    std::uint8_t numBytes = 0;          ///< derived for CAN FD: number of bytes it touches
};

/// One CAN signal. See BaseSignal for threads, errors and shared memory.
class RKSIGNAL_EXPORT CANSignal : public Defined<canSignalDef_t>, public BaseSignal {
  public:
    /// The signals of every frame in use, by frame key, of all storages that do not stand alone; each list in
    /// construction order. A client may place signals under the key of a frame plus `(raw + 1) << 40`: they
    /// are decoded when the frame's multiplexer carries the value `raw`. `fileUnderMultiplexer` does so.
    static FrameTable<CANSignal> canContainer;
    /// The table that a storage uses: `canContainer`, or its own.
    static FrameTable<CANSignal>& containerOf(const SignalStorage* storage) {
        return tableOf(storage, &StorageTables::can, canContainer);
    }

    /// Builds the signal and files it under the key of its frame. A CAN FD definition that
    /// `checkSignalDefinition` refuses gives a signal with identifier all ones: it is found by name and never
    /// receives a value. An identifier that is already in use gives the same, and a message.
    explicit CANSignal(const canSignalDef_t& def, bool shm = false, SignalStorage* storage = nullptr);

    /// Leaves all tables: the list of its frame, and those that clients can have changed.
    ~CANSignal() override;

    /// Makes a multiplexed signal one that is decoded only while the multiplexer of its frame carries
    /// `definition.mux`: moves it from the key of its frame to the key of that value. The frame must have one
    /// multiplexer. Again is without effect. For classic CAN: a CAN FD signal filed so is written without
    /// regard to its PDU and to the received length, and not reported (see `decodeMessage`).
    void fileUnderMultiplexer();

    /// Computes `startByte` and `numBytes` of a CAN FD definition.
    /// \return whether the signal is at most 64 bits wide and touches at most 8 bytes
    static bool checkSignalDefinition(canSignalDef_t& def);

    /// Whether a raw CAN trace record belongs to a frame in use, so that other frames need not be made into
    /// messages. Reads the channel at byte 14 and the big-endian identifier word at bytes 18 to 21, which
    /// carries the extended flag in bit 31 and the CAN FD flag in bit 30; the record must have these. The
    /// second argument is ignored.
    static bool signalsInUse(const unsigned char* record, const unsigned char* ignored, unsigned char tslId,
                             SignalStorage* storage = nullptr);

    /// Decodes one received frame into every signal filed under its key, then, for a multiplexer among them,
    /// into the signals filed under the key of its value.
    ///
    /// `ids` is emptied, then receives the identifier of each signal written, in the order of writing, except
    /// that of a CAN FD signal reached through a multiplexer, which is written unreported. A classic signal
    /// sees the first 8 payload bytes, zero where the frame is shorter. A CAN FD signal whose byte range ends
    /// past the received length, or whose PDU is absent, is left untouched; one reached through a multiplexer
    /// is written all the same, bytes past the 64-byte payload counting as zero. `tslId` selects the signals
    /// whose definition carries it.
    ///
    /// Never throws for what a frame holds; allocates only when `ids` grows and on a frame's first decoding.
    /// One thread at a time; each slot is locked for its own write only.
    /// \return whether `ids` is non-empty
    static bool decodeMessage(const CANExtTraceMessage& ctm, std::vector<unsigned long>& ids,
                              unsigned char tslId = 0, SignalStorage* storage = nullptr);

  private:
    std::uint64_t frameKey = 0; ///< under which the library has filed it
};

/// Writes the base definition, then the fields of the CAN definition as `,name=value` items.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const canSignalDef_t& definition);

/// Writes the signal, its definition and its identifier, joined by `;`. Leaves the stream in hexadecimal
/// mode.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const CANSignal& signal);
