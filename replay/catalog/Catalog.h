/// \file
/// The signals that a replay decodes: built from definition files, found by message and by identifier.
#pragma once

#include "bus/CANSignal.h"
#include "catalog/MessageDecoder.h"
#include "definition/DefinitionNote.h"
#include "definition/SignalDefinitions.h"
#include "definition/dbc/DbcFile.h"
#include "signal/FrameTable.h"
#include "text/Export.h"
#include "text/Remark.h"
#include "value/SignalKind.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace rksignal {

struct CanMessage;

/// Signals of one kind that the library's decoder finds by itself.
struct SignalGroup {
    std::vector<std::size_t> members;  ///< indices in Catalog::signals()
    std::vector<std::uint8_t> sources; ///< the trace sources that they name, each once
};

/// Owns the signals and enters them in a storage, where other parts of the library find them by name.
///
/// CAN frames are matched by identifier and its width (11 or 29 bits); a CAN FD definition decodes classic
/// frames and the other way round, but for signals in PDUs, which only CAN FD frames have. A frame is decoded
/// by every definition that it matches. Definitions are bound to one channel, or to none: then they decode
/// the frames of every channel, into one instance a signal.
///
/// There can be one catalog at a time, and no other signals with its trace sources: the library has one
/// frame table for all storages.
///
/// Instance names from DBC files are `Message.Signal`. When that is taken, a signal bound to a channel
/// becomes `Message.Signal@CHANNEL`, and what is still taken becomes `Message.Signal#2`, `#3`, ... Other
/// definitions name their instances themselves; when such a name is taken, the definition is not used.
class RKREPLAY_EXPORT Catalog {
  public:
    /// With a storage of its own.
    Catalog() : ownStorage(std::make_unique<SignalStorage>()), registry(*ownStorage) {}
    /// `storage` must outlive the catalog.
    explicit Catalog(SignalStorage& storage) : registry(storage) {}

    /// Adds the messages of a DBC file, bound to `channel` if there is one. What cannot be used, and every
    /// choice made, goes to `notes`. \throws Error if the file cannot be read
    void addDbc(const std::string& path, std::optional<std::uint8_t> channel = {});
    /// Adds the signals of all kinds of a JSON file. \throws Error if the file cannot be read or understood
    void addJson(const std::string& path);

    /// Adds the messages of a file. What cannot be used, and every choice made, goes to `notes`, after the
    /// notes of the file itself.
    void add(const DbcFile& file, std::optional<std::uint8_t> channel);
    /// Adds definitions of all kinds; what cannot be used goes to `notes`.
    void add(const SignalDefinitions& definitions);

    const std::vector<DefinitionNote>& notes() const { return remarks; }
    SignalStorage& storage() const { return registry; }

    /// In the order of definition; never null.
    const std::vector<std::unique_ptr<BaseSignal>>& signals() const { return allSignals; }
    const std::vector<std::unique_ptr<MessageDecoder>>& decoders() const { return allDecoders; }
    /// The signals of a kind that have no MessageDecoder: all, but of CAN those in PDUs only.
    const SignalGroup& group(SignalKind kind) const { return groups[static_cast<std::size_t>(kind)]; }

    /// The index in signals() of the signal with this identifier, in constant time.
    /// REQUIRES: `id` is the identifier of one of them.
    std::size_t indexOf(unsigned long id) const { return indexByNumber[runningNumber(id) - firstNumber]; }

    /// The definitions bound to the channel of the frame, and those bound to none, that it matches.
    std::array<std::span<MessageDecoder* const>, 2> decodersOf(std::uint8_t channel, std::uint32_t id,
                                                               bool extended) const {
        return {find(bound, channel, id, extended), find(unbound, 0, id, extended)};
    }

    /// A signal of a group got a value.
    void markSeen(std::span<const unsigned long> ids) {
        for (const unsigned long id : ids) {
            seen[indexOf(id)] = true;
        }
    }
    /// Of a signal of a group, by its index.
    bool isSeen(std::size_t signal) const { return seen[signal]; }

    /// What the last message did to a signal. For explanations, not for each message.
    Reception receptionOf(BaseSignal& signal) const;

  private:
    using DecoderTable = FrameTable<MessageDecoder>; // asked twice a frame
    class MessageAdder;
    class RecordAdder;

    /// Identifiers are a bit of the kind, from bit 48 on, plus a number that all kinds share.
    static std::uint64_t runningNumber(std::uint64_t id) { return id & 0xFFFF'FFFF'FFFF; }
    static std::uint64_t tableKey(std::uint8_t channel, std::uint32_t id, bool extended) {
        return std::uint64_t{channel} << 32 | std::uint64_t{extended} << 31 | id;
    }
    static std::span<MessageDecoder* const> find(const DecoderTable& table, std::uint8_t channel,
                                                 std::uint32_t id, bool extended);
    bool isTaken(const std::string& instance) const;
    void note(std::string place, DbcNote::Severity severity, std::string text);
    template <class Signal, class Record>
    Signal* build(const Record& record);

    std::unique_ptr<SignalStorage> ownStorage;
    SignalStorage& registry;
    std::vector<std::unique_ptr<BaseSignal>> allSignals;
    std::vector<bool> seen; ///< as allSignals
    std::vector<std::unique_ptr<MessageDecoder>> allDecoders;
    std::array<SignalGroup, signalKinds> groups;
    DecoderTable bound;
    DecoderTable unbound;
    std::uint64_t firstNumber = 0;          ///< running number of the first signal's identifier
    std::vector<std::size_t> indexByNumber; ///< from `firstNumber` on
    std::vector<DefinitionNote> remarks;
};

} // namespace rksignal
