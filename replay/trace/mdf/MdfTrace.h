/// \file
/// MF4 files (ASAM MDF from 4.0 on) with recorded bus traffic as traces.
#pragma once

#include "trace/TraceSource.h"
#include "trace/mdf/MdfContents.h"
#include "trace/mdf/MdfRecords.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace rksignal {

/// The bus events of an MF4 file, see MdfFrames, those of its data groups merged by their times. Channels
/// have the numbers of the file.
///
/// The file is read at any offset: what comes through a pipe is copied to a temporary file first. Takes 64 KB
/// a data group with bus events (256 KB if there is one) and up to 64 MB more where blocks are compressed and
/// transposed.
class MdfTrace : public TraceSource {
  public:
    /// \throws Error if the file is of another version, or holds no bus events
    explicit MdfTrace(std::unique_ptr<InputFile> file);

    bool next() override;

  private:
    struct Input {
        std::unique_ptr<MdfRecords> records;
        std::uint64_t turn; ///< the latest time so far
    };

    void open();
    bool advance(std::size_t input);
    bool isLater(std::size_t left, std::size_t right) const;
    bool takeEarliest();
    void deliver(MessageSink& sink, std::uint64_t time) override;
    void completeReport() override;

    MdfFile blocks;
    MdfContents contents;
    std::vector<Input> inputs;
    std::vector<std::size_t> waiting; ///< a heap of inputs with an event, the earliest one in front
    std::size_t current = 0;
    bool isStarted = false;
};

} // namespace rksignal
