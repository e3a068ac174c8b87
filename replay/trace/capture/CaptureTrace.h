/// \file
/// Captures (pcap, pcapng) as traces.
#pragma once

#include "trace/ChannelMap.h"
#include "trace/TraceSource.h"
#include "trace/capture/PacketFile.h"
#include "trace/capture/PacketReader.h"

#include <memory>
#include <vector>

namespace rksignal {

/// The frames of a capture, see PacketFile and PacketReader. Packets that were not recorded in full are
/// passed as PassedMessage::Truncated, however much of them there is.
///
/// The channel of an interface is that which `channels` has for `FILE:NAME`, `FILE:INDEX` or `FILE`. Failing
/// that the name of an interface of CAN is what it is in a candump log, and `lin3`, `flexray3` and `eth3` are
/// channel 3. Any other interface is counted among those of its bus, from 0.
class CaptureTrace : public TraceSource {
  public:
    /// `channels` must outlive the trace.
    /// \throws Error if the file is no capture, or a pcap file of an unknown link type
    CaptureTrace(std::unique_ptr<InputFile> file, ChannelMap& channels);

    bool next() override;

  private:
    /// What is known of an interface once a packet of it has come.
    struct Source {
        const PacketReader::Link* link = nullptr; ///< null: not supported
        std::optional<std::uint8_t> channel;      ///< nothing: none is left, or none has come
        std::uint64_t packets = 0;
    };

    void deliver(MessageSink& sink, std::uint64_t time) override;
    Source& sourceOfPacket();
    std::optional<std::uint8_t> channelOf(const PacketInterface& interface, const PacketReader::Link& link);
    std::optional<std::uint8_t> numberAmongItsKind(std::string_view bus) const;
    std::optional<FrameContent> read();
    std::optional<FrameContent> countMalformed(const char* reason);
    void completeReport() override;
    void reportInterfaces();

    ChannelMap& channels;
    PacketFile packets;
    PacketReader reader;
    std::vector<Source> sources; ///< as packets.interfaces()
    FrameContent content;
    std::string firstMalformed; ///< its number and what is wrong with it
};

} // namespace rksignal
