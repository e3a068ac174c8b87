/// \file
/// The signals of definition files, ready to be decoded.
#pragma once

#include "bus/CANSignal.h"
#include "catalog/MessageDecoder.h"
#include "catalog/ParameterGroup.h"
#include "definition/Definition.h"
#include "definition/DefinitionReader.h"
#include "definition/FreeNames.h"
#include "signal/FrameTable.h"
#include "text/Export.h"
#include "text/Remark.h"

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace rksignal {

/// Signals of one kind that the library's decoder finds by itself.
struct SignalGroup {
    std::vector<std::size_t> members;  ///< indices in Catalog::signals()
    std::vector<std::uint8_t> sources; ///< the trace sources that they name, each once
    /// The same of those of buses that are bound to no channel, see Catalog::anyChannelStorage().
    std::vector<std::uint8_t> anyChannelSources;
};

/// Where the values of signals lie.
enum class SignalPlace : std::uint8_t {
    Private, ///< in the signals
    Shared,  ///< in shared memory, for all processes that build signals of these names
};

/// Messages and signals, from definition files of any number and format:
///
///     Catalog catalog;
///     catalog.addDbc("drive.dbc");
///     catalog.addJson("logger.json");
///     for (const Remark& remark : catalog.remarks()) ...
///
/// The catalog owns the signals and the storage in which other parts of the library find them by name. It is
/// filled first and replayed then; it is for one thread, other catalogs of the process may be used by others.
///
/// CAN frames are matched by identifier and its width (11 or 29 bits); a CAN FD definition decodes classic
/// frames and the other way round, but for signals in PDUs, which only CAN FD frames have. A frame is decoded
/// by every definition that it matches. Definitions of all buses are bound to one channel, or to none: then
/// they decode the frames of every channel, into one instance a signal.
///
/// Parameter groups of SAE J1939 are matched by group and source address instead; priority and destination do
/// not matter. Definitions for the source address of the frame come first, those with 0xFE, which stands for
/// any, decode what is left, each sender into instances of its own: the first one that is seen into those
/// that the definition names, any other one into `Message.Signal@SA21`, with its address as two hexadecimal
/// digits. These come into being with the first frame of the sender, behind all other signals.
///
/// Instance names from all files but JSON are `Message.Signal`. When that is taken, a signal bound to a
/// channel becomes `Message.Signal@CHANNEL`, and what is still taken becomes `Message.Signal#2`, `#3`, ...
/// JSON files name their instances themselves; when such a name is taken, the definition is not used.
///
/// Time and memory grow linearly with the files.
class RKREPLAY_EXPORT Catalog {
  public:
    /// The definitions in `signals()`, by the same index.
    struct Origin {
        const MessageDefinition* message;
        std::size_t signal;  ///< index in `message->signals`
        std::size_t defined; ///< index in signals() of the one that has the name of the definition

        const SignalDefinition& definition() const { return message->signals[signal]; }
    };

    /// Instances for further senders lie where all other signals do. A signal that cannot have shared memory
    /// says so in a message line, and has a private value. Signals in shared memory are destroyed, and who
    /// may use them, as the switches of BaseSignal say.
    explicit Catalog(SignalPlace place = SignalPlace::Private) : isShared(place == SignalPlace::Shared) {}
    Catalog(const Catalog&) = delete;
    Catalog& operator=(const Catalog&) = delete;

    /// Adds the messages of a DBC file, bound to `channel` if there is one. What cannot be used, and every
    /// choice made, goes to `remarks()`. \throws Error if the file cannot be read
    void addDbc(const std::string& path, std::optional<std::uint8_t> channel = {});
    /// The same of text that is there already; `name` is what remarks call it.
    void addDbcText(std::string text, const std::string& name, std::optional<std::uint8_t> channel = {});

    /// Adds the signals of all kinds of a JSON file. \throws RemarkError if there is anything in it that is
    /// not understood: then nothing is added. \throws Error if the file cannot be read
    void addJson(const std::string& path);
    /// The same of text that is there already; `name` is what remarks call it.
    void addJsonText(std::string_view text, const std::string& name);

    /// Adds files of any format, recognised by their content. See readDefinitions(). \throws Error,
    /// RemarkError if a file cannot be used: then nothing is added
    void addDefinitions(std::span<const DefinitionSource> sources, const DefinitionSettings& settings = {});

    /// Adds what a reader has made of a file of any format.
    void add(DefinitionFile&& file);

    /// Adds the messages of another catalog with the signals that are decoded, under the names that they have
    /// there, e.g. for another thread. In an empty catalog they get the same indices.
    void addMessagesOf(const Catalog& other);
    /// Counts what the decoders of such a copy have met. REQUIRES: `copy` has been filled by addMessagesOf()
    /// of this catalog
    void addStatisticsOf(const Catalog& copy);

    /// About all files, in the order in which they were added.
    const RemarkList& remarks() const { return allRemarks; }

    /// All messages that were added, but for such as are defined twice with the same meaning.
    const std::deque<MessageDefinition>& messages() const { return allMessages; }
    /// The signals that are decoded, in the order of definition; never null. Their names are `def.instance`.
    /// A replay may add some at the end, see ValueSink::signalsAdded().
    const std::vector<std::unique_ptr<BaseSignal>>& signals() const { return allSignals; }
    /// What the file says about a signal, by its index in signals().
    const Origin& origin(std::size_t signal) const { return origins[signal]; }
    /// The signal of which this one is the instance for a sender of its own, by index; itself if it is none.
    std::size_t definedSignal(std::size_t signal) const { return origins[signal].defined; }
    /// The messages with the signals that are decoded, under the names of their instances.
    std::vector<MessageDefinition> decodedMessages() const;
    /// Where signals are found by name and by identifier.
    SignalStorage& storage() { return registry; }
    const SignalStorage& storage() const { return registry; }

    /// Makes the instances for senders that `text` names, `Message.Signal@SA21`, so that conditions over them
    /// can be compiled before there was a frame. What is no such name, or has its instance, is passed over.
    void addSources(std::string_view text);

    // --- for replaying ---

    /// The tables of the signals of LIN, FlexRay and Ethernet that are bound to no channel: they are filed
    /// there under channel 0. By name and identifier they are found in storage().
    SignalStorage& anyChannelStorage() { return anyChannel; }

    /// Of messages of CAN that are frames.
    const std::vector<std::unique_ptr<MessageDecoder>>& decoders() const { return frameDecoders; }
    /// The signals of a kind that have no decoder in decoders(): all, but of CAN those in PDUs only.
    const SignalGroup& group(SignalKind kind) const { return groups[static_cast<std::size_t>(kind)]; }

    /// The index in signals() of the signal with this identifier, in constant time.
    /// REQUIRES: `id` is the identifier of one of them.
    std::size_t indexOf(unsigned long id) const { return indexByNumber[runningNumber(id) - firstNumber]; }

    /// The definitions bound to the channel of the frame, and those bound to none, that it matches. They may
    /// be of PDUs in the frame.
    std::array<std::span<MessageDecoder* const>, 2> decodersOf(std::uint8_t channel, std::uint32_t id,
                                                               bool extended) const {
        return {find(bound, tableKey(channel, id, extended)), find(unbound, tableKey(0, id, extended))};
    }

    /// Whether there are parameter groups.
    bool hasParameterGroups() const { return groupCount > 0; }
    /// The same of parameter groups, by a 29-bit identifier. Makes the instances for a sender that is new.
    std::array<std::span<MessageDecoder* const>, 2> groupDecodersOf(std::uint8_t channel, std::uint32_t id) {
        return {groupDecoders(bound, channel, id), groupDecoders(unbound, 0, id)};
    }
    /// Whether that finds any; makes nothing.
    bool definesGroup(std::uint8_t channel, std::uint32_t id) const;
    /// The most signals that are made for further senders; frames of any more are not decoded.
    static constexpr std::size_t maxSourceSignals = 32768;

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
    class FileAdder;

    /// Identifiers are a bit of the kind, from bit 48 on, plus a number that counts the signals of the
    /// process.
    static std::uint64_t runningNumber(std::uint64_t id) { return id & 0xFFFF'FFFF'FFFF; }
    static std::uint64_t tableKey(std::uint8_t channel, std::uint32_t id, bool extended) {
        return std::uint64_t{channel} << 32 | std::uint64_t{extended} << 31 | id;
    }
    /// Of parameter groups: for one source address, or for any.
    static std::uint64_t groupKey(std::uint8_t channel, std::uint32_t id) {
        return tableKey(channel, std::uint32_t{1} << 30 | j1939::groupAndSource(id), true);
    }
    static std::uint64_t anySourceKey(std::uint8_t channel, std::uint32_t id) {
        return tableKey(channel, std::uint32_t{3} << 29 | j1939::groupOf(id), true);
    }
    static std::uint64_t tableKeyOf(const MessageDefinition& message);
    static std::span<MessageDecoder* const> find(const DecoderTable& table, std::uint64_t key);
    std::span<MessageDecoder* const> groupDecoders(DecoderTable& table, std::uint8_t channel,
                                                   std::uint32_t id);
    std::span<MessageDecoder* const> addSource(DecoderTable& table, std::uint8_t channel, std::uint32_t id);
    void addSource(const BaseSignal& signal, std::uint8_t source);
    MessageDecoder* decoderFor(const MessageDecoder& decoder, std::uint8_t source);
    /// \return the signal, or null if no message could reach it
    BaseSignal* adopt(std::unique_ptr<BaseSignal> signal, const Origin& origin);
    bool isTaken(const std::string& instance) const { return registry.instancesByName.contains(instance); }

    bool isShared;
    SignalStorage registry{SignalTables::Own};
    SignalStorage anyChannel{SignalTables::Own};
    std::deque<MessageDefinition> allMessages; // where they stay
    std::vector<std::unique_ptr<BaseSignal>> allSignals;
    std::vector<Origin> origins; ///< as allSignals
    std::vector<bool> seen;      ///< as allSignals
    std::vector<std::unique_ptr<MessageDecoder>> frameDecoders;
    std::vector<std::unique_ptr<MessageDecoder>> pduDecoders;
    std::array<SignalGroup, signalKinds> groups;
    DecoderTable bound;
    DecoderTable unbound;
    std::size_t groupCount = 0;                                               ///< parameter groups
    std::size_t sourceSignals = 0;                                            ///< made for further senders
    std::unordered_multimap<std::size_t, const MessageDefinition*> byMeaning; ///< frames, by hashOfMeaning()
    std::uint64_t firstNumber = 0;          ///< running number of the first signal's identifier
    std::vector<std::size_t> indexByNumber; ///< from `firstNumber` on
    FreeNames names;
    RemarkList allRemarks;
};

} // namespace rksignal
