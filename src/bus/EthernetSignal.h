/// \file
/// Signals carried in Ethernet frames: in UDP and TCP over IPv4, bare or in IPDUs, SPDUs or SOME/IP messages.
#pragma once

#include "bus/EthernetFrameHash.h"
#include "bus/EthernetPosition.h"
#include "bus/EthernetTables.h"
#include "rktrace/EthernetTraceMessage.h"
#include "rktrace/MIITraceMessage.h"
#include "signal/BaseSignal.h"
#include "signal/Defined.h"

#include <array>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <vector>

/// Definition of an Ethernet signal. Of the base fields it uses `channel`, `bits` and `endian`; the start bit
/// stands in the positions, one for every kind of frame that carries the signal.
struct ethernetSignalDef_t : baseSignalDef_t {
    std::vector<ethernetPosition_t> positions;
};

/// One Ethernet signal at its first position, with a child, a mirror on the same slot, for every further one.
/// See BaseSignal for threads, errors and shared memory.
///
/// Which signals a frame carries is decided once for all frames with the same addressing fields, and
/// remembered in `positiveList` and `negativeList`. **All signals must be built before the first frame is
/// decoded**: one that is built later is not seen in frames that were decided before.
class RKSIGNAL_EXPORT EthernetSignal : public Defined<ethernetSignalDef_t>, public BaseSignal {
  public:
    // --- class-wide tables, of all storages that do not stand alone ---

    /// The channels on which a signal is defined.
    static std::array<bool, 256>& channelsInUse;
    /// Every signal, parent or child, under the address of its own `frameHash`.
    static EthernetFrameTable& ethernetFrames;
    /// The signals of the frames known to carry any, by frame key, in the order in which they are decoded.
    /// The frame key is 0x1000000000000000 plus the low 32 bits of `hashFrame`: frames for which these agree
    /// share one decision.
    static FrameTable<EthernetSignal>& positiveList;
    /// The keys of the frames known to carry none.
    static FrameKeySet& negativeList;
    /// The four tables that a storage uses: these, or its own.
    static EthernetTables& tablesOf(const SignalStorage* storage);

    /// The lists are bounded, since senders can make up addresses and ports without end: one that is full
    /// when it is to grow is emptied first. What was forgotten is decided again, with the same answer, unless
    /// signals have been built meanwhile, frames share a key, or a client has changed the list. A negative
    /// decision takes some 100 bytes, a positive one some 300 and 150 for every signal.
    static constexpr std::size_t maxPositive = 16'384;
    static constexpr std::size_t maxNegative = 65'536;

    // --- life ---

    /// Builds the signal with its children and files them. A definition that `checkSignalDefinition` refuses
    /// gives a signal with identifier all ones: it is found by name and never receives a value. An identifier
    /// that is already in use gives the same, and a message. Without positions it is filed in no
    /// frame.
    explicit EthernetSignal(const ethernetSignalDef_t& def, bool shared = false,
                            SignalStorage* storage = nullptr);

    /// Builds a child of `parent`, which must outlive it, at the only position of `def`, whose `startByte`
    /// and `numBytes` are set. Used for the further positions of a signal.
    EthernetSignal(EthernetSignal* parent, const ethernetSignalDef_t& def);

    /// Leaves all tables with the children; the decisions that name the signal forget it. When the storage
    /// has no Ethernet signal left, all tables that it uses are emptied, even if another storage has some in
    /// the class-wide ones: this is deliberate.
    ~EthernetSignal() override;

    /// Computes `startByte` and `numBytes` of the positions, up to the first that is refused.
    /// \return whether the signal is at most 64 bits wide and touches at most 8 bytes at every position
    static bool checkSignalDefinition(ethernetSignalDef_t& def);

    // --- frames ---

    /// Whether a raw trace record (rktrace/TraceRecord.h) of Ethernet kind 8 or of an MII frame carries a
    /// signal, so that others need not be made into messages. Reads type, channel, length and frame where the
    /// record has them, and the byte at offset 16 for both types, where the channel must stand too; the
    /// record must be as long as its length field says. The second argument is ignored. Decides and remembers
    /// as `decode` does.
    static bool signalsInUse(const unsigned char* record, const unsigned char* ignored,
                             SignalStorage* storage = nullptr);

    /// Decode the frame of a message. On a channel without signals, and for an Ethernet message whose kind is
    /// not 8, they return false and leave `ids` as it was.
    static bool decodeMessage(const MIITraceMessage& msg, std::vector<unsigned long>& ids,
                              SignalStorage* storage = nullptr);
    static bool decodeMessage(const EthernetTraceMessage& msg, std::vector<unsigned long>& ids,
                              SignalStorage* storage = nullptr);

    /// Decodes one received frame into every signal that it carries.
    ///
    /// `ids` is emptied, then receives the identifier of each signal written, in the order of writing. A
    /// signal whose container is absent, or whose bytes end past the frame's end (padding counts as frame),
    /// is left untouched. Containers are walked from the transport payload to the frame's end; a PDU must end
    /// before it, and an empty IPDU or SPDU ends the walk, an empty SOME/IP message does not.
    ///
    /// Never throws for what a frame holds; allocates only when `ids` grows and on the first sight of a kind
    /// of frame. One thread at a time; each slot is locked for its own write only. \return whether `ids` is
    /// non-empty
    static bool decode(unsigned char channel, const std::vector<unsigned char>& frame, unsigned long time,
                       std::vector<unsigned long>& ids, SignalStorage* storage = nullptr);

    /// The signal's own position; an empty one if it has none.
    const ethernetPosition_t& position() const;

    EthernetFrameHash frameHash;                           ///< the frames of the first position
    std::vector<std::unique_ptr<EthernetSignal>> children; ///< one for every further position

  private:
    RKSIGNAL_HIDDEN void fileAtPosition();
};

/// Writes the base definition, then `[no positions]` or the fields of each position in brackets. Leaves the
/// stream in decimal and boolalpha mode.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const ethernetSignalDef_t& definition);

/// Writes the base signal, its definition and its identifier in hexadecimal, separated by ';'. Leaves the
/// stream in decimal and boolalpha mode.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const EthernetSignal& signal);
