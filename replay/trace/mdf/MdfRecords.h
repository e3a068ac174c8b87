/// \file
/// The bus events of one data group of an MDF 4 file.
#pragma once

#include "trace/mdf/MdfContents.h"
#include "trace/mdf/MdfFrames.h"
#include "trace/mdf/MdfStream.h"
#include "trace/mdf/MdfValues.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace rksignal {

/// Reads the records of a data group in their order. Records whose data bytes come as later records wait for
/// these, and all behind them. Constant memory; allocates nothing a record once its buffers have grown.
class MdfRecords {
  public:
    /// `contents` and `file` must outlive the reader. \param bufferSize of the bytes that are read at a time
    MdfRecords(MdfFile& file, const MdfContents& contents, const MdfDataGroup& data, std::size_t bufferSize);

    /// Goes on to the next event. \return false at the end
    bool next();
    std::uint64_t timestamp() const { return time; } ///< nanoseconds since 1970-01-01 UTC
    const FrameContent& content() const { return message; }

    std::uint64_t malformed() const { return malformedRecords; }
    const std::string& firstMalformed() const { return firstReason; }
    /// Why there may be more records than were read; empty if there are none.
    std::string failure() const;

  private:
    enum class Step : std::uint8_t { Message, Nothing, Waiting, End };

    /// A kind of records, and how far they were read.
    struct Kind {
        const MdfGroup* group;
        MdfValues* values = nullptr;     ///< of the data bytes; of a group of values, where they are added
        std::uint64_t records = 0;       ///< so far
        std::uint64_t nextReference = 0; ///< if the file does not tell where values lie
    };
    struct Waiting {
        Kind* kind;
        std::uint64_t number; ///< among the records of its kind, from 0
        std::size_t at;       ///< in `waitingBytes`
    };

    void connectValues();
    Kind* kindOf(std::uint64_t id);
    bool need(std::size_t count);
    bool skip(std::uint64_t count);
    Step readRecord();
    Step readValue(Kind& kind);
    Step readEvent(Kind& kind);
    void wait(Kind& kind, const std::uint8_t* record);
    Step takeWaiting();
    void dropWaiting();
    Step decode(Kind& kind, const std::uint8_t* record, std::uint64_t number);
    Step bytesOf(Kind& kind, const std::uint8_t* record, MdfFrames::Bytes& bytes);
    Step countMalformed(const Kind& kind, std::uint64_t number, const char* why);
    Step fail(const std::string& why);
    Step cutOff();

    MdfFile& file;
    const MdfContents& contents;
    const MdfDataGroup& data;
    MdfStream stream;
    std::vector<Kind> kinds;           ///< by number
    std::array<Kind*, 256> byNumber{}; ///< those with small numbers
    std::vector<std::unique_ptr<MdfValues>> values;
    std::vector<std::uint8_t>
        buffer; ///< bytes of the stream, from `begin` to `end`; more for MdfField::slack
    std::size_t begin = 0;
    std::size_t end = 0;
    std::uint64_t position = 0;    ///< in the stream, of `begin`
    std::uint64_t recordStart = 0; ///< in the stream, of the record that is being read
    std::vector<Waiting> waiting;
    std::size_t firstWaiting = 0;
    std::vector<std::uint8_t> waitingBytes; ///< their records, with MdfField::slack
    MdfFrames frames;
    FrameContent message;
    std::uint64_t time = 0;
    std::uint64_t malformedRecords = 0;
    std::string firstReason;
    std::string reason;
};

} // namespace rksignal
