/// \file
/// The logger's own inputs: what all kinds of them have in common.
#pragma once

#include "rktrace/AnalogTraceMessage.h"
#include "rktrace/GpioTraceMessage.h"
#include "rktrace/KeyboardMessage.h"
#include "rktrace/SystemMessage.h"
#include "signal/BaseSignal.h"
#include "signal/Defined.h"
#include "signal/FrameTable.h"
#include "signal/StorageTables.h"

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

/// Definition of an input signal. `channel` is the number of the input on its module, `tslId` the channel of
/// the module; keyboard, status and GPS signals are known by their instance names instead.
struct inputSignalDef_t : baseSignalDef_t {};

/// A signal of the logger itself. Messages find their signals by an input key: the bit of the kind plus
/// `tslId` from bit 16 and the input's number, or a key that belongs to a name. See BaseSignal for threads,
/// errors and shared memory.
///
/// The tables of predefined names and texts in the classes of the kinds are filled at program start, and
/// meant to be read.
///
/// The decoders empty `ids`, then list in it the identifier of each signal written, in the order of
/// construction, and return whether there is one. Never throw for what a message holds; allocate only when
/// `ids` grows. Null storages mean the default one. One thread at a time; each slot is locked for its own
/// write only.
class RKSIGNAL_EXPORT InputSignal : public Defined<inputSignalDef_t>, public BaseSignal {
  public:
    /// The signals of every input in use, by input key, of all storages that do not stand alone; each list in
    /// construction order.
    static FrameTable<InputSignal> inputContainer;
    /// The table that a storage uses: `inputContainer`, or its own.
    static FrameTable<InputSignal>& containerOf(const SignalStorage* storage) {
        return tableOf(storage, &StorageTables::inputs, inputContainer);
    }

    /// Builds a signal that no message reaches yet: the classes of the kinds give it its identifier and its
    /// key.
    explicit InputSignal(const inputSignalDef_t& def, bool shmem = false, SignalStorage* storage = nullptr);
    /// Leaves all tables: the list of its input, and those that clients can have changed.
    ~InputSignal() override;

    /// Whether a raw trace record of digital inputs (type 19), analog inputs (18) or keys (32817) belongs to
    /// an input in use. Reads the type at bytes 2 and 3, for inputs also the number at bytes 14 and 15 and
    /// the mark at byte 16; a record too short for them is not in use. Records of keys are asked for
    /// under one key that no predefined name has: deliberate. \param recordEnd behind the record's last byte;
    /// null: it is long enough
    static bool signalsInUse(const unsigned char* record, const unsigned char* recordEnd,
                             unsigned char channel, SignalStorage* storage = nullptr);

    /// Writes `payload` to the signals filed under `key`, all or those called `instance`, through their
    /// virtual `write`, and appends their identifiers to `ids`. \return whether there was one
    static bool writeValue(std::uint64_t key, unsigned long payload, unsigned long timestamp,
                           std::vector<unsigned long>& ids, SignalStorage* storage = nullptr,
                           const char* instance = nullptr);

    /// Decodes the state of the first digital input of a message from the module on `channel`; a message
    /// without inputs counts as input 0 being 0.
    static bool decodeMessage(const GpioTraceMessage& message, std::vector<unsigned long>& ids,
                              unsigned char channel = 0, SignalStorage* storage = nullptr);
    /// Decodes a key of the remote control.
    static bool decodeMessage(const KeyboardMessage& message, std::vector<unsigned long>& ids,
                              SignalStorage* storage = nullptr);
    /// Decodes the first measurement of a message from the module on `channel`. Integer signals get the
    /// mantissa, float and double signals the measured value. A message without measurements counts as input
    /// 0 being 0. Without a storage: on the class-wide table, whatever tables the default storage has.
    static bool decodeMessage(const AnalogTraceMessage& message, std::vector<unsigned long>& ids,
                              unsigned char channel = 0);
    static bool decodeMessage(const AnalogTraceMessage& message, std::vector<unsigned long>& ids,
                              unsigned char channel, SignalStorage* storage);
    /// Decodes the logger's status, start, timer or memory usage.
    static bool decodeMessage(const SystemMessage& message, std::vector<unsigned long>& ids,
                              SignalStorage* storage = nullptr);

  protected:
    /// As the public constructor; `use` says whether the class of the kind changes `def`.
    RKSIGNAL_HIDDEN InputSignal(const inputSignalDef_t& def, DefUse use, bool shmem, SignalStorage* storage);
    /// Gives the signal its identifier and enters it in the storage under it. An identifier already in use is
    /// reported in the name of `className`. \return whether the signal is to be filed further
    RKSIGNAL_HIDDEN bool enter(std::uint64_t kindBit, const char* className);
    /// Files the signal under its input.
    RKSIGNAL_HIDDEN void file(std::uint64_t key);
    /// Does both for a signal that is known by its name. A name that is not in `inputs` is reported.
    /// \return whether the signal may be completed: true unless its identifier was in use
    RKSIGNAL_HIDDEN bool filePredefined(const std::map<std::string, std::uint64_t>& inputs,
                                        std::uint64_t kindBit, const char* className);
    RKSIGNAL_HIDDEN void traceCreated(const char* className) const;

  private:
    std::uint64_t inputKey = 0; ///< under which the library has filed it
};

RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const inputSignalDef_t& definition);

/// Writes the signal, its definition and its identifier, joined by `;`. Leaves the stream in hexadecimal
/// mode.
RKSIGNAL_EXPORT std::ostream& operator<<(std::ostream& out, const InputSignal& signal);
