#include "trace/log/NmeaTrace.h"

#include <algorithm>

namespace rksignal {
namespace {

constexpr std::uint64_t day = 86'400'000'000'000; // in nanoseconds

} // namespace

bool NmeaTrace::next() {
    if (!isPending && !nextSentence()) {
        return false;
    }
    message.sentences.clear();
    hasRmc = hasGga = false;
    timeOfDay = date = std::nullopt;
    take();
    while (nextSentence()) {
        if (!joins(sentence)) {
            isPending = true;
            break;
        }
        take();
    }
    setTime();
    return true;
}

/// Reads on up to a sentence that carries values. \return whether there is one
bool NmeaTrace::nextSentence() {
    std::string_view line;
    while (nextLine(line)) {
        const std::string_view whole = sentenceIn(line);
        text.assign(whole.empty() ? line : whole).append(hasLineEnd() ? "\r\n" : "");
        switch (reader.read(text, sentence)) {
        case NmeaSentenceReader::Result::Values:
            return true;
        case NmeaSentenceReader::Result::Date:
            zda = sentence;
            break;
        case NmeaSentenceReader::Result::Damaged:
            countMalformed("not a whole sentence of NMEA 0183 with the right checksum");
            break;
        default:
            break;
        }
    }
    return false;
}

/// Whether a sentence belongs to the current message.
bool NmeaTrace::joins(const NmeaSentence& other) const {
    const bool isTaken = other.type == NmeaSentence::Type::Rmc ? hasRmc : hasGga;
    return !isTaken && other.timeOfDay == timeOfDay;
}

/// Adds the last sentence to the current message.
void NmeaTrace::take() {
    isPending = false;
    message.sentences += text;
    (sentence.type == NmeaSentence::Type::Rmc ? hasRmc : hasGga) = true;
    timeOfDay = sentence.timeOfDay;
    if (sentence.midnight) {
        date = sentence.midnight;
    }
}

/// The date of the ZDA sentence, or that of a day beside it if midnight lies between it and the message.
void NmeaTrace::takeDate() {
    if (!date && zda && timeOfDay) {
        date = zda->midnight;
        if (*timeOfDay > *zda->timeOfDay + day / 2) {
            *date -= std::min(day, *date);
        } else if (*timeOfDay + day / 2 < *zda->timeOfDay) {
            *date += day;
        }
    }
    zda.reset();
}

void NmeaTrace::setTime() {
    takeDate();
    const std::uint64_t lastTimeOfDay = midnight ? now - *midnight : 0;
    if (date) {
        midnight = date;
    } else if (midnight && timeOfDay && *timeOfDay + day / 2 < lastTimeOfDay) {
        *midnight += day;
    }
    if (midnight && timeOfDay) {
        now = *midnight + *timeOfDay;
    }
    undated += midnight ? 0U : 1U;
}

void NmeaTrace::completeReport() {
    if (!midnight && undated > 0) {
        TraceSource::remark({path(), Severity::Warning,
                             "no sentence gives a date (RMC, ZDA); messages without a time, not decoded: " +
                                 std::to_string(undated)});
    }
}

void NmeaTrace::deliver(MessageSink& sink, std::uint64_t time) {
    if (now == 0) {
        sink.pass(PassedMessage::Other, time);
        return;
    }
    message.timestamp = time;
    sink.receive(message);
}

} // namespace rksignal
