/// \file
/// BLF files as traces.
#pragma once

#include "trace/TraceSource.h"
#include "trace/blf/BlfObjects.h"
#include "trace/blf/BlfStream.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace rksignal {

/// The frames of a BLF file, see BlfObjects. The begin of the recording is taken for UTC. Objects that are
/// neither frames nor errors are passed as PassedMessage::Other and counted by their type.
class BlfTrace : public TraceSource {
  public:
    /// \throws Error if the head of the file is not whole
    explicit BlfTrace(std::unique_ptr<InputFile> file);

    bool next() override;

  private:
    void deliver(MessageSink& sink, std::uint64_t time) override { deliverContent(content, sink, time); }
    void completeReport() override;

    bool isNextAdjacent();
    bool findObject();
    bool fill(std::size_t count);
    std::uint64_t skip(std::uint64_t count);
    bool readObject();
    bool countMalformed(const char* why);
    bool takeTime();
    void countOther(std::uint32_t type);

    const std::uint8_t* object() const { return buffer.data() + at; }

    BlfStream stream;
    std::vector<std::uint8_t> buffer;
    std::size_t at = 0;
    std::size_t end = 0;
    std::uint64_t done = 0; ///< bytes from `at` on that belong to the last object

    BlfObjects reader;
    FrameContent content = PassedMessage::Other;
    std::map<std::uint32_t, std::uint64_t> others; ///< number of objects by type
    std::uint64_t furtherTypes = 0;                ///< of objects that are not in `others`
    std::string firstMalformed;
};

} // namespace rksignal
