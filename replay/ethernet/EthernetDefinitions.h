/// \file
/// The Ethernet signals of a catalog, by the frames and containers in which they lie.
#pragma once

#include "bus/EthernetSignal.h"
#include "catalog/Catalog.h"
#include "catalog/PrivateWrite.h"
#include "ethernet/FrameLayers.h"
#include "signal/BitField.h"
#include "signal/ByteOrder.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <span>
#include <unordered_map>
#include <vector>

namespace rksignal {

/// A signal at one of its positions.
struct EthernetField {
    EthernetSignal* signal; ///< or its mirror at this position
    unsigned long id;       ///< of the signal
    std::size_t index;      ///< of the signal, in Catalog::signals()
    std::size_t begin;      ///< within the data of the container
    std::size_t size;
    /// Private, and the field lies in its bytes; null: EthernetSignal::write() is used.
    signalSlot_t* slot = nullptr;
    bool* modified;          ///< of the signal
    bitfield::WordField cut; ///< from 8 bytes that begin where the field does
    bool bigEndian, isSigned;

    EthernetField(EthernetSignal& signal, std::size_t index);

    bool fits(ByteView data) const { return begin <= data.size() && size <= data.size() - begin; }
    /// Writes the signal. \param bytes begin where the field does; \param count of them, at least `size`
    void write(const std::uint8_t* bytes, std::size_t count, std::uint64_t timestamp) const {
        if (slot == nullptr) {
            signal->write(bytes, size, timestamp);
            return;
        }
        const std::uint64_t word = count >= sizeof word ? wholeWordAt(bytes) : wordUpTo(bytes, count);
        const std::uint64_t raw = cut(bigEndian ? bitfield::swapped(word) : word, isSigned);
        writePrivate(*slot, *modified, raw, timestamp);
    }

  private:
    /// With zeros behind the `count` bytes, which are fewer than 8: in two halves that overlap, as a loop
    /// would take as many steps as there are bytes.
    static std::uint64_t wordUpTo(const std::uint8_t* bytes, std::size_t count) {
        if (count >= 4) {
            std::uint32_t first = 0;
            std::uint32_t last = 0;
            std::memcpy(&first, bytes, 4);
            std::memcpy(&last, bytes + count - 4, 4);
            return first | std::uint64_t{last} << (8 * (count - 4));
        }
        std::uint64_t word = 0;
        for (std::size_t i = 0; i < count; ++i) {
            word |= std::uint64_t{bytes[i]} << (8 * i);
        }
        return word;
    }
};

using EthernetFields = std::vector<EthernetField>;

/// What lies in the frames of one addressing.
struct FrameDefinitions {
    static constexpr std::size_t containers = 4; ///< ethSignalPosType_t

    EthernetFrameHash frame;
    bool anyChannel = false; ///< whatever that of `frame` is, 0
    /// By container and identifier: that of the PDU, or service and method; 0 of the payload itself.
    std::array<std::unordered_map<std::uint64_t, EthernetFields>, containers> fields;

    const EthernetFields* find(ethSignalPosType_t container, std::uint64_t identifier) const;
};

/// What may lie in frames with the same headers.
struct EthernetSelection {
    std::vector<const FrameDefinitions*> definitions;
    std::array<bool, FrameDefinitions::containers> held{}; ///< by one of them

    bool holds(ethSignalPosType_t container) const { return held[static_cast<std::size_t>(container)]; }
};

/// Finds what lies in a frame. The answer is kept for all frames with the same headers.
class EthernetDefinitions {
  public:
    /// The catalog must outlive it and be complete.
    explicit EthernetDefinitions(const Catalog& catalog);

    /// Whether a signal is defined on the channel.
    bool use(std::uint8_t channel) const { return isOfAnyChannel || channels[channel]; }
    /// The definitions of which the frame has all that they name; of stacked VLAN tags any may be theirs.
    const EthernetSelection& select(const FrameLayers& layers, std::uint8_t channel);

  private:
    /// Senders can make up addresses and ports without end.
    static constexpr std::size_t maxSelections = 16384;

    void add(EthernetSignal& signal, std::size_t index, bool anyChannel);
    FrameDefinitions& definitionsOf(const EthernetFrameHash& frame, bool anyChannel);

    std::deque<FrameDefinitions> all;                                         // where they stay
    std::unordered_map<std::uint32_t, std::vector<FrameDefinitions*>> byHash; ///< EthernetFrameHash::hash
    std::array<bool, 256> channels{};
    bool isOfAnyChannel = false;                                     ///< one of the signals is
    std::unordered_map<std::uint64_t, EthernetSelection> selections; ///< by hash of the headers
};

} // namespace rksignal
