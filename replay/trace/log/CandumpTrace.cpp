#include "trace/log/CandumpTrace.h"

#include "text/TextEncoding.h"

#include <algorithm>

namespace rksignal {

namespace {

bool hasOwnChannel(std::string_view interfaceName, const ChannelMap& channels) {
    return trailingNumber(interfaceName) || channels.knows(interfaceName);
}

} // namespace

bool CandumpTrace::isDivisible(std::string_view first, const ChannelMap& channels) {
    CandumpLine line;
    bool hasFrames = false;
    while (!first.empty()) {
        const std::size_t end = std::min(first.find('\n'), first.size());
        std::string_view text = withoutByteOrderMark(first.substr(0, end));
        text.remove_suffix(text.ends_with('\r') ? 1 : 0);
        const bool isRead = parseCandumpLine(text, line) == nullptr;
        if (isRead ? line.kind != CandumpLine::Kind::DropCount && !hasOwnChannel(line.interfaceName, channels)
                   : CandumpScreen::isLine(text)) {
            return false;
        }
        hasFrames = hasFrames || isRead;
        first.remove_prefix(std::min(end + 1, first.size()));
    }
    return hasFrames;
}

/// Most lines. \return false if the next one has to be read the plain way
inline bool CandumpTrace::readShape() {
    const std::string_view text = ahead();
    if (text.size() < CandumpShape::reach || !knowsShape) {
        return false;
    }
    const std::size_t size = shape.read(text.data(), line.frame);
    if (size > 0) {
        take(size);
    }
    return size > 0;
}

void CandumpTrace::handOverAhead(MessageSink& sink) {
    const ReadControl* const control = input().readControl();
    while (!sink.closed() && (control == nullptr || !control->isStopped()) && readShape()) {
        ++found.messages;
        sink.receive(line.frame);
    }
}

bool CandumpTrace::next() {
    if (readShape()) {
        line.kind = CandumpLine::Kind::Data;
        now = line.frame.timestamp;
        return true;
    }
    std::string_view text;
    while (nextLine(text)) {
        if (const char* const reason = read(text)) {
            if (!CandumpScreen::isExplanation(text)) {
                countMalformed(reason);
            }
        } else if (line.kind == CandumpLine::Kind::DropCount) {
            found.lost += line.dropped;
        } else {
            now = line.frame.timestamp;
            return true;
        }
    }
    conclude();
    return false;
}

/// \return null, or why the line cannot be used
const char* CandumpTrace::read(std::string_view text) {
    const char* reason = parseCandumpLine(text, line);
    const bool isLog = reason == nullptr;
    if (reason != nullptr && !isPart && CandumpScreen::isLine(text)) {
        reason = screen.read(text, line);
    }
    if (reason != nullptr || line.kind == CandumpLine::Kind::DropCount) {
        return reason;
    }
    if (isPart && !hasOwnChannel(line.interfaceName, channels)) {
        return "interface has no number, and no channel is assigned to it";
    }
    const auto channel = channels.channelOf(line.interfaceName);
    line.frame.channel = channel.value_or(0);
    if (channel && isLog) {
        shape.learn(text, line, *channel);
    }
    return channel ? nullptr : "too many different interface names";
}

void CandumpTrace::deliver(MessageSink& sink, std::uint64_t time) {
    deliverLine(line, sink, time);
}

void CandumpTrace::completeReport() {
    if (const char* const note = screen.note(); note != nullptr && found.messages > 0) {
        found.remarks.add({path(), Severity::Note, note});
    }
}

} // namespace rksignal
