/// \file
/// The Ethernet signals of a catalog, by the frames and containers in which they lie.
#pragma once

#include "bus/EthernetSignal.h"
#include "catalog/Catalog.h"
#include "ethernet/FrameLayers.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <unordered_map>
#include <vector>

namespace rksignal {

/// A signal at one of its positions.
struct EthernetField {
    EthernetSignal* signal; ///< or its mirror at this position
    std::size_t index;      ///< of the signal, in Catalog::signals()
    std::size_t begin;      ///< within the data of the container
    std::size_t size;

    bool fits(ByteView data) const { return begin <= data.size() && size <= data.size() - begin; }
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

/// Finds what lies in a frame. The answer is kept for all frames with the same headers.
class EthernetDefinitions {
  public:
    using Selection = std::vector<const FrameDefinitions*>;

    /// The catalog must outlive it and be complete.
    explicit EthernetDefinitions(const Catalog& catalog);

    /// Whether a signal is defined on the channel.
    bool use(std::uint8_t channel) const { return isOfAnyChannel || channels[channel]; }
    /// Whether a signal lies in SOME/IP messages, which reach across frames.
    bool haveSomeIp() const;
    /// The definitions of which the frame has all that they name; of stacked VLAN tags any may be theirs.
    const Selection& select(const FrameLayers& layers, std::uint8_t channel);

  private:
    /// Senders can make up addresses and ports without end.
    static constexpr std::size_t maxSelections = 16384;

    void add(EthernetSignal& signal, std::size_t index, bool anyChannel);
    FrameDefinitions& definitionsOf(const EthernetFrameHash& frame, bool anyChannel);

    std::deque<FrameDefinitions> all;                                         // where they stay
    std::unordered_map<std::uint32_t, std::vector<FrameDefinitions*>> byHash; ///< EthernetFrameHash::hash
    std::array<bool, 256> channels{};
    bool isOfAnyChannel = false;                             ///< one of the signals is
    std::unordered_map<std::uint64_t, Selection> selections; ///< by hash of the headers
};

} // namespace rksignal
