/// \file
/// Logs of GPS receivers as traces.
#pragma once

#include "trace/log/LineTrace.h"
#include "trace/log/NmeaSentence.h"

#include <cstdint>
#include <string>

namespace rksignal {

/// The sentences of a receiver, in the text form of NMEA 0183. An RMC and a GGA sentence of the same time are
/// one message, whichever stands first; other types are passed over.
///
/// The time of a message is the time of day in its sentences on the date of its RMC sentence, or else of a
/// ZDA sentence beside it. Without a date the one that came last goes on, past midnight when the time of day
/// falls back by more than half a day; without a time of day the time of the message before counts. Before
/// the first date there is no time: what stands there is passed as PassedMessage::Other; if no date comes at
/// all, the report says so. Binary frames between the sentences are passed over.
class NmeaTrace : public LineTrace {
  public:
    explicit NmeaTrace(std::unique_ptr<InputFile> file) : LineTrace(std::move(file)) {}

    bool next() override;

  private:
    void deliver(MessageSink& sink, std::uint64_t time) override;
    bool nextSentence();
    bool joins(const NmeaSentence& sentence) const;
    void take();
    void takeDate();
    void setTime();
    void completeReport() override;

    NmeaSentenceReader reader;
    NmeaSentence sentence;   ///< the last one read
    std::string text;        ///< its line, with the line end
    bool isPending = false;  ///< it belongs to the next message
    GPSTraceMessage message; ///< the current one
    bool hasRmc = false;     ///< what the current message holds
    bool hasGga = false;
    std::optional<std::uint64_t> timeOfDay; ///< of the current message
    std::optional<std::uint64_t> date;      ///< of the current message
    std::optional<std::uint64_t> midnight;  ///< before the last message
    std::optional<NmeaSentence> zda;        ///< the last one, if no message has used it yet
    std::uint64_t undated = 0;              ///< messages before the first date
};

} // namespace rksignal
