/// \file
/// Captures (pcap, pcapng) as traces.
#pragma once

#include "trace/ChannelMap.h"
#include "trace/PacketFile.h"
#include "trace/PacketReader.h"
#include "trace/TraceSource.h"

#include <memory>
#include <vector>

namespace rksignal {

/// The frames of a capture, see PacketFile and PacketReader. Packets that were not recorded in full are
/// passed as PassedMessage::Truncated, however much of them there is.
///
/// The channel of an interface is that which `channels` has for `FILE:NAME`, `FILE:INDEX` or `FILE`. Failing
/// that it is that of its name, as in a candump log, if it is an interface of CAN, LIN or FlexRay that has a
/// name; else its index in the file.
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
    std::optional<std::uint8_t> channelOf(const PacketInterface& interface, const Source& source);
    std::optional<PacketReader::Content> read();
    std::optional<PacketReader::Content> countMalformed(const char* reason);
    void completeReport() override;
    void reportInterfaces();

    ChannelMap& channels;
    PacketFile packets;
    PacketReader reader;
    std::vector<Source> sources; ///< as packets.interfaces()
    PacketReader::Content content;
    std::string firstMalformed; ///< its number and what is wrong with it
};

} // namespace rksignal
