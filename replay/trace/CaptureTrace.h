/// \file
/// Captures (pcap, pcapng) as traces.
#pragma once

#include "trace/ChannelMap.h"
#include "trace/PacketFile.h"
#include "trace/PacketReader.h"
#include "trace/TraceSource.h"

#include <memory>

namespace rksignal {

/// The frames of a capture, see PacketFile and PacketReader. All have one channel: the one that `channels`
/// has for the file's name, else 0. Packets that were not recorded in full are passed as
/// PassedMessage::Truncated, however much of them there is.
class CaptureTrace : public TraceSource {
  public:
    /// \throws Error if the file is no capture, or one of an unknown link type
    CaptureTrace(std::unique_ptr<InputFile> file, ChannelMap& channels);

    bool next() override;

  private:
    void deliver(MessageSink& sink, std::uint64_t time) override;
    std::optional<PacketReader::Content> read();
    void countMalformed(const char* reason);
    void completeReport() override;

    PacketFile packets;
    PacketReader reader;
    PacketReader::Content content;
    std::string firstMalformed; ///< its number and what is wrong with it
};

} // namespace rksignal
