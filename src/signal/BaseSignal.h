/// \file
/// A signal: its definition, its value slot, and the reading and writing of its value.
///
/// Every signal of the logger is a `BaseSignal`, or an object of a class that derives from it and knows one
/// bus or input. The latest value lies in a slot, either a private one or one in a System V shared-memory
/// segment keyed by the instance name, where every process that builds a signal of that name sees it.
///
/// For example:
///
///     canSignalDef_t speed;
///     speed.instance = "Vehicle.Speed";
///     speed.msgId = 0x123;
///     speed.bits = 16;
///     speed.scale = 0.01;
///     CANSignal signal(speed);
///
///     std::vector<unsigned long> ids;
///     CANSignal::decodeMessage(message, ids); // true if the frame carries signals; their identifiers in ids
///     double value = 0;
///     unsigned long timestamp = 0;
///     if (signal.read(value, timestamp)) // km/h, as of `timestamp`
///
/// Words used here:
///
///     instance       a signal object, by its unique name; several may carry the same signal
///     slot           where the latest value lies: raw value, time stamp, validity, lock
///     raw value      the field as cut out of the payload; physical = raw * scale + offset
///     trace source   the device that delivers messages, by its number `tslId`
///     kind bit       the bit of a signal's identifier, and of a frame's key, that says which bus or input
///     frame key      the number under which a bus finds the signals of a frame: kind bit, source, channel...
///     storage        a registry of signals; it *stands alone* if it has frame tables of its own
///     mirror, child  a second object on the slot of another: one for each further position of a signal
///     multiplexer    a signal whose value says which other signals are in the frame
///     rejected       a signal with identifier all ones: found by name, and never given a value
#pragma once

#include "signal/Export.h"
#include "signal/SegmentAccess.h"
#include "signal/SignalDefinition.h"
#include "signal/SignalSlot.h"
#include "signal/SignalStorage.h"
#include "signal/SlotMutex.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <sys/types.h>
#include <vector>

/// One signal.
///
/// Failures are reported as message lines, never thrown; a signal that cannot have shared memory works on its
/// private slot.
///
/// Threads: signals are built and destroyed while nothing else uses their storage, or, unless it stands
/// alone, any other storage that does not (signal/SignalStorage.h). `read`, `write`,
/// `writeRaw` and `writeTS` of a shared signal take the slot's lock, by trying and yielding without limit,
/// for the duration of the call, and so may run in several threads and processes at once; a private signal is
/// used by one thread at a time, so all expressions that read it count as one user, and so does the decoder
/// that writes it. Everything else is unlocked. No operation on a value allocates while `debug`
/// is 0.
///
/// Identifiers are a kind bit plus a running number: unique within one process, not stable across processes.
class RKSIGNAL_EXPORT BaseSignal {
  public:
    // --- class-wide switches and registry ---

    static int debug;                      ///< 0 quiet; non-zero debug lines; 2 and above also table dumps
    static bool detachOnly;                ///< destructors detach from shared memory instead of removing it
    static SegmentAccess segmentAccess;    ///< of shared memory that signals create from now on
    static std::uint64_t instanceCounter;  ///< running number of the identifiers
    static SignalStorage defSignalStorage; ///< used whenever a storage argument is null

    /// The signal with this instance name in `storage`, or null.
    static BaseSignal* getInstance(const std::string& instance, SignalStorage* storage = nullptr);
    /// The signal with this identifier in `storage`, or null.
    static BaseSignal* getInstance(unsigned long id, SignalStorage* storage = nullptr);
    /// All signals of `defSignalStorage` by instance name.
    static std::map<std::string, BaseSignal*>& getAllInstances();
    /// Calls `clear()` on every signal of `storage`, in name order.
    static void clearAll(SignalStorage* storage = nullptr);
    /// Calls `clear()` on every signal of `storage` whose identifier is listed: in list order, and in name
    /// order among the signals that share an identifier.
    static void clear(const std::vector<unsigned long>& ids, SignalStorage* storage = nullptr);
    /// Lists in `ids`, which is emptied first, the valid signals of `storage`, in name order, whose time
    /// stamp is before `limit` (the current time less the time-out, nanoseconds since 1970-01-01 UTC).
    /// \return false in every case; the result is the list
    static bool checkTimeout(unsigned long limit, std::vector<unsigned long>& ids,
                             SignalStorage* storage = nullptr);

    // --- life ---

    /// Builds a signal, enters it by name in `storage` and gives it its slot: in shared memory when `shmem`,
    /// else, or when that fails, its private one. A name already taken is reported; the earlier signal
    /// keeps it. The storage must outlive the signal.
    explicit BaseSignal(const baseSignalDef_t& def, bool shmem = false, SignalStorage* storage = nullptr);

    /// Builds a mirror: a second signal object on the slot of `parent`, with its identifier, but in no
    /// registry. It reads, and writes raw values; it must not `write` a payload unless `cInit` has been run
    /// on a definition of its own. It must not outlive its parent. Destroying it removes the parent's
    /// registry entries: deliberate, so destroy mirrors after the last look-up.
    explicit BaseSignal(BaseSignal* parent);

    /// Leaves the registry, and detaches from the shared segment; removes the segment too unless
    /// `detachOnly`. The key file in /tmp stays.
    virtual ~BaseSignal();

    BaseSignal(const BaseSignal&) = delete;
    BaseSignal& operator=(const BaseSignal&) = delete;

    // --- the virtual interface, in slot order after the destructor ---

    virtual std::string getUnit() const;
    virtual double getScaleFactor() const;
    virtual double getOffset() const;
    virtual std::uint8_t getBits() const;
    virtual signalValue_t getType() const;

    /// Reads the physical value and its time stamp. \return whether the value is valid. If it is not, both
    /// arguments are set all the same, to what the slot holds: never written, the physical value of raw
    /// `signalSlot_t::unwrittenRaw`, and `unwrittenTimestamp`; cleared, that of raw 0, and 0.
    virtual bool read(double& value, unsigned long& timestamp);
    /// Reads the raw value and its time stamp; without a value, as above.
    virtual bool read(unsigned long& raw, unsigned long& timestamp);
    /// Sets the time stamp alone; value, validity and `isModified` stay. \return true
    virtual bool writeTS(unsigned long timestamp);
    /// Cuts the field out of a payload of 8 bytes (byte 0 least significant), stores it with its time stamp
    /// and marks the slot valid. \return true
    virtual bool write(unsigned long payload, unsigned long timestamp);
    /// The same from at most the first 8 of `length` bytes; missing ones count as zero. \return true
    virtual bool write(const unsigned char* data, unsigned long length, unsigned long timestamp);
    /// Stores a raw value that the caller extracted. \return true
    virtual bool writeRaw(unsigned long raw, unsigned long timestamp);
    /// Whether the last write changed the raw value, or the signal was cleared since.
    virtual bool isModified() const;
    /// Marks the slot as holding no value and zeroes it. Takes no lock: who reads a shared slot meanwhile
    /// gets the old value or none, but who writes it meanwhile may leave a value that is zero, or whose time
    /// stamp is, until the next write. `invalidate` does not.
    virtual void clear();
    /// The text of a raw value, or an empty string.
    virtual std::string getValueDescription(unsigned long raw) const;

    /// `clear` under the slot's lock, as `write` takes it: for slots that others write or read meanwhile.
    void invalidate();

    // --- steps of the above, without lock ---

    /// Computes the derived `d_` fields from the definition. Call it again after changing the definition.
    void cInit();
    /// Cuts the field out of `payload` (byte 0 least significant) into the slot's raw value, alone. Bytes
    /// past the payload, on either side, count as zero. \return the raw value
    unsigned long decode(unsigned long payload);
    /// Computes `value` from the slot's raw value; an unknown type leaves it. \return `value`
    double physical();
    /// Finds or creates the signal's segment and attaches its slot. Called by the constructor.
    /// \return whether the slot now lies in shared memory
    bool createSharedMemory();

    // --- state ---

    bool initSmData = true; ///< this object created the slot and initialises it
    bool shmem = false;     ///< the value was asked to lie in shared memory; kept on fallback

    std::uint8_t d_lsbBit = 0;    ///< bit number of the least significant bit, kept in 8 bits on purpose
    std::uint8_t d_startByte = 0; ///< byte that holds the least significant bit
    std::uint8_t d_bytes = 0;     ///< number of bytes the field touches
    std::uint8_t d_shift = 0;     ///< right shift that brings the least significant bit to bit 0

  private:
    bool ownModified = false; ///< `modified` of a shared signal and of a mirror
    bool ownsDef = false;     ///< `def` is not the definition of the derived class

  public:
    key_t key = 0;  ///< System V IPC key of the segment; 0 until computed
    int shmId = -1; ///< shared-memory identifier; -1 when there is none

    std::uint64_t id = 0;             ///< kind bit + running number; all ones: rejected; 0: none assigned
    SignalStorage* storage = nullptr; ///< the registry that holds the signal; not owned

    /// Used without shared memory, or when attaching failed. It lies outside the object, beside those of the
    /// signals that were built before and after.
    signalSlot_t& privateSlot;
    bool& modified;               ///< the last write changed the raw value; beside the private slot if in use
    signalSlot_t* slot = nullptr; ///< the slot in use
    double value = 0.0;           ///< physical value as of the last `physical()`

    /// The definition that counts: reading and writing follow it. For the bus and input classes it is the
    /// base of their `definition`, unless they change it (a start bit within a byte range, texts of a
    /// status); then it is a copy.
    baseSignalDef_t& def;

    std::uint64_t d_maksBits = 0; ///< mask of `bits` ones
    std::uint64_t d_signBit = 0;  ///< the field's top bit
    std::uint64_t d_rawMask = 0;  ///< the field's bits in the first 8 payload bytes, byte 0 least significant

  protected:
    enum class DefUse : std::uint8_t {
        Refer, ///< `def` is the definition itself
        Copy,  ///< `def` is a copy of it, which the derived class changes
    };

    /// For the bus and input classes: as the public constructor, with `definition` in a base of the derived
    /// class.
    BaseSignal(baseSignalDef_t& definition, DefUse use, bool shmem, SignalStorage* storage);

  private:
    friend class FieldWriter;
    class SlotLock;

    /// Takes the slot's lock, by trying and yielding without limit.
    void lock() {
        if (const int result = slotmutex::tryLock(slot->mutex); result != 0) [[unlikely]] {
            keepTryingToLock(result);
        }
    }
    void unlock() {
        if (const int result = slotmutex::unlock(slot->mutex); result != 0) [[unlikely]] {
            reportUnlock(result);
        }
    }
    RKSIGNAL_HIDDEN void keepTryingToLock(int result);
    RKSIGNAL_HIDDEN void reportUnlock(int error) const;
    RKSIGNAL_HIDDEN void create();
    RKSIGNAL_HIDDEN void countChange();
    RKSIGNAL_HIDDEN void releaseSharedMemory();
    RKSIGNAL_HIDDEN void finishWrite(const char* operation, std::uint64_t old, std::uint64_t raw,
                                     std::uint64_t timestamp);
    RKSIGNAL_HIDDEN void traceValue(const char* operation, const char* remark = "");
};

/// Orders signals by instance name, byte-wise. Neither pointer may be null.
struct BaseSignalCompare {
    bool operator()(const BaseSignal* left, const BaseSignal* right) const {
        return left->def.instance < right->def.instance;
    }
};

/// Writes instance, signal, shmem, valid, value and time stamp as `name=value` items joined by commas. The
/// value is the one of the last `physical()`. Leaves the stream in decimal and boolalpha mode.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const BaseSignal& signal);
