/// \file
/// Signals carried in FlexRay frames (ISO 17458).
#pragma once

#include "bus/FlexRayKey.h"
#include "rktrace/FlexRayExtTraceMessage.h"
#include "signal/BaseSignal.h"
#include "signal/Defined.h"
#include "signal/FrameTable.h"
#include "signal/StorageTables.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <vector>

/// One place of a signal: the frame, its cycles, and where the field lies in it.
struct flexRayPosition_t {
    std::uint16_t startBit = 0;  ///< of the field, counted from the start of the payload or of the PDU's data
    bool type = false;           ///< true: static segment, false: dynamic segment
    std::uint16_t slot = 0;      ///< slot identifier, 11 bits
    std::uint8_t baseCycle = 0;  ///< first cycle, 0 to 63
    std::uint8_t repetition = 1; ///< every how many cycles from there; 0 is corrected to 1
    std::optional<std::uint16_t> updateBit{};      ///< payload bit that is 1 when the field has been updated
    std::optional<std::uint32_t> pduId{};          ///< the PDU that holds the field, 24 bits
    std::uint8_t startByte = 0;                    ///< derived: first byte of the field
    std::uint8_t numBytes = 0;                     ///< derived: number of bytes it touches
    std::array<bool, flexray::cycleCount> cycle{}; ///< derived: whether it occurs in the cycle
};

/// Definition of a FlexRay signal. Of the base fields it uses `channel`, `tslId`, `bits` and `endian`; each
/// position has a start bit of its own instead of `startbit`. At each position the field must not touch more
/// than 8 bytes. Positions differ by their cycles and their place in the frame; slot and segment are those of
/// the first one for all.
struct flexRaySignalDef_t : baseSignalDef_t {
    std::vector<flexRayPosition_t> positions;
};

/// One FlexRay signal: the object of its first position, which owns one child for each further position.
/// Children are mirrors: they share its slot and its identifier. See BaseSignal for threads, errors and
/// shared memory.
class RKSIGNAL_EXPORT FlexRaySignal : public Defined<flexRaySignalDef_t>, public BaseSignal {
  public:
    /// The signals and children of every frame in use, by frame key, of all storages that do not stand alone;
    /// each list in the order of construction. A frame has one entry a cycle in which it occurs, and a signal
    /// stands in each of them.
    static FrameTable<FlexRaySignal> flexrayFrames;
    /// The table that a storage uses: `flexrayFrames`, or its own.
    static FrameTable<FlexRaySignal>& framesOf(const SignalStorage* storage) {
        return tableOf(storage, &StorageTables::flexRay, flexrayFrames);
    }

    /// Builds the signal and its children and files them under the keys of their frames. A definition that
    /// `checkSignalDefinition` refuses gives a signal with identifier all ones: it is found by name and never
    /// receives a value. An identifier that is already in use gives the same, and a message. A
    /// definition without positions is accepted and filed under no key.
    explicit FlexRaySignal(const flexRaySignalDef_t& def, bool shm = false, SignalStorage* storage = nullptr);

    /// Builds the child of `parent` for the first position of `def`, whose derived fields are in place, and
    /// files it in the frame of the parent's first position. For the constructor above only.
    FlexRaySignal(FlexRaySignal* parent, const flexRaySignalDef_t& def);

    /// Leaves all tables, the lists of its frames and those that clients can have changed, and destroys the
    /// children.
    ~FlexRaySignal() override;

    /// Computes `startByte` and `numBytes` of the positions and corrects repetitions of 0, up to the first
    /// position that is refused. \return whether the signal is at most 64 bits wide and touches at most 8
    /// bytes at each position
    static bool checkSignalDefinition(flexRaySignalDef_t& def);

    /// Whether a raw FlexRay trace record belongs to a frame in use, so that other frames need not be made
    /// into messages. Reads the frame kind at byte 14, the channel at byte 15, the big-endian slot at bytes
    /// 19 and 20 and the cycle at byte 24; a record that ends before them is not in use.
    static bool signalsInUse(const unsigned char* record, const unsigned char* recordEnd, unsigned char tslId,
                             SignalStorage* storage = nullptr);

    /// Decodes one received frame into every signal filed under its key.
    ///
    /// `ids` is emptied, then receives the identifier of each signal written, in construction order; a signal
    /// with two positions in one frame stands there twice. A signal is left untouched when its update bit is
    /// 0 or past the payload, when its PDU is absent, or when its byte range ends past the payload or past
    /// the even length of the data buffer. The update bit of a position inside a PDU does not count. `tslId`
    /// selects the signals whose definition carries it.
    ///
    /// Never throws for what a frame holds; allocates only when `ids` grows and on a frame's first decoding.
    /// One thread at a time; each slot is locked for its own write only. \return whether `ids` is non-empty
    static bool decodeMessage(const FlexRayExtTraceMessage& frm, std::vector<unsigned long>& ids,
                              unsigned char tslId = 0, SignalStorage* storage = nullptr);

    std::vector<std::unique_ptr<FlexRaySignal>> children; ///< one for each position after the first
    std::uint64_t frameKeyBase = 0; ///< key of the first position's frame without its cycle

  private:
    std::uint64_t filedKeyBase = 0;                    ///< of the frames in which the library has filed it
    std::bitset<flexray::cycleCount> filedCycles = {}; ///< their cycles

    /// Files the signal in the frames of its first position, if it has one, and points the codec at the byte
    /// range there.
    RKSIGNAL_HIDDEN void takePlace();
    RKSIGNAL_HIDDEN void leaveFrames();
};

/// Writes the base definition, then each position as `[name=value,...]`, its cycles as the numbers of those
/// that occur between 63 commas; `[no positions]` if there are none.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const flexRaySignalDef_t& definition);

/// Writes the signal, its definition and its identifier, joined by `;`. Leaves the stream in hexadecimal
/// mode.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const FlexRaySignal& signal);
