/// \file
/// Ethernet frames into the signals of a catalog.
#pragma once

#include "catalog/Catalog.h"
#include "ethernet/EthernetDefinitions.h"
#include "ethernet/EthernetFlows.h"
#include "ethernet/FrameLayers.h"
#include "value/ReplayStatistics.h"
#include "value/ValueSink.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace rksignal {

/// Decodes frames as their senders mean them, where librksignal keeps to the rules of its own:
///
/// - SOME/IP messages as AUTOSAR PRS_SOMEIPProtocol has them: the length counts from the request identifier,
///   a datagram holds several messages, the last one ends where the datagram ends. Segments are put together,
///   and messages are found wherever they lie in a TCP connection.
/// - IPDUs and SPDUs up to one that ends at the end of the frame.
/// - Frames with stacked VLAN tags and of IPv6.
///
/// All messages of a frame are decoded, also several of one identifier. A signal that reaches beyond the end
/// of its message or PDU has no value there. What does not add up as SOME/IP is read by the library's rule,
/// so that what the library finds is found here as well.
///
/// Memory is constant, and nothing is allocated a frame once the flows are known.
class EthernetDecoder {
  public:
    /// Called with the signals in `ids`: before one of them is written again, and at the end of a frame.
    /// `isInOrder`: they are those of several definitions of the catalog, each once, in its order; otherwise
    /// that is to be seen to.
    using HandOn = std::function<void(const MessageInfo& info, bool isInOrder)>;

    /// Writes the identifiers of the signals that got a value to `ids`. The catalog must be complete; it and
    /// `flows` must outlive the decoder. `beforeFlows`, if given, is called before a frame uses `flows`.
    EthernetDecoder(const Catalog& catalog, std::vector<unsigned long>& ids, EthernetFlows& flows,
                    std::function<void()> beforeFlows, HandOn handOn);

    /// Whether a definition names the headers of the frame.
    bool wants(std::uint8_t channel, ByteView frame);
    /// \return whether there is a definition of something in the frame
    bool decode(std::uint8_t channel, ByteView frame, std::uint64_t timestamp);
    /// No more frames come: decodes what waits for lost segments of TCP.
    void finish();

    SomeIpStatistics statistics() { return flows.statistics(); }

  private:
    bool analyse(std::uint8_t channel, ByteView bytes);
    bool holds(ethSignalPosType_t container) const { return selection->holds(container); }
    bool isWanted(const SomeIpHeader& header) const;
    void takePdus(ethSignalPosType_t container, std::size_t headerBytes);
    void takeDatagram();
    void takeTcpSegment();
    void takeMessage(const SomeIpHeader& header, ByteView data);
    void takeByLibraryRule();
    void take(ethSignalPosType_t container, std::uint64_t identifier, ByteView data);
    bool wereWritten(ethSignalPosType_t container, std::uint64_t identifier, ByteView data) const;
    void write(const EthernetField& field, ByteView data);
    void handOnIds();

    std::vector<unsigned long>& ids;
    const HandOn handOn;
    const SomeIpVisitor someIp; ///< calls takeMessage()
    EthernetDefinitions definitions;
    EthernetFlows& flows;
    const std::function<void()> beforeFlows;
    std::vector<std::uint64_t> turns; ///< by signal: the last turn in which it was written
    std::uint64_t turn = 1;           ///< begins where the signals are handed on

    // Of the frame in hand:
    MessageInfo info;
    ByteView frame;
    FrameLayers layers;
    const EthernetSelection* selection = nullptr;
    std::size_t lastIndex = 0;              ///< of the signals in `ids`
    bool isInOrder = true;                  ///< each of them has a greater index than the one before
    std::vector<const std::uint8_t*> found; ///< the data of the SOME/IP messages in the frame
    std::vector<std::uint32_t> identifiers; ///< that the library's rule has found in it
    bool isKnown = false;
};

} // namespace rksignal
