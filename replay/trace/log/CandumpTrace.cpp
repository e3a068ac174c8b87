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
        reason = inTurn().screen.read(text, line);
    }
    if (reason != nullptr || line.kind == CandumpLine::Kind::DropCount) {
        return reason;
    }
    if (isPart && !hasOwnChannel(line.interfaceName, channels)) {
        return "interface has no number, and no channel is assigned to it";
    }
    const auto channel = channelOf(line.interfaceName);
    line.frame.channel = channel.value_or(0);
    if (channel && isLog) {
        shape.learn(text, line, *channel);
    }
    return channel ? nullptr : "too many different interface names";
}

/// Who has read all lines before.
CandumpTrace& CandumpTrace::inTurn() {
    if (whole == nullptr) {
        return *this;
    }
    awaitTurn();
    return *whole;
}

std::optional<std::uint8_t> CandumpTrace::channelOf(std::string_view interfaceName) {
    if (whole == nullptr) {
        return channels.channelOf(interfaceName);
    }
    const auto entry = std::find_if(known.begin(), known.end(),
                                    [=](const auto& each) { return each.first == interfaceName; });
    if (entry != known.end()) {
        return entry->second;
    }
    const auto channel = inTurn().channels.channelOf(interfaceName);
    if (channel) {
        known.emplace_back(interfaceName, *channel);
    }
    return channel;
}

/// Only the first line of a log may begin with a mark, so those of other blocks have lines before them.
void CandumpTrace::startBlock(std::string_view lines, bool isFirst) {
    found = {};
    linesBefore = isFirst ? 0 : 1;
    readLines(lines, linesBefore);
}

void CandumpTrace::add(const CandumpTrace& block) {
    found.messages += block.found.messages;
    found.damagedLines += block.found.damagedLines;
    found.lost += block.found.lost;
    for (Remark remark : block.found.remarks) {
        if (found.remarks.omitted() == 0) {
            remark.line += linesBefore - block.linesBefore;
            remark.place = path() + ":" + std::to_string(remark.line);
            found.remarks.add(std::move(remark));
        }
    }
    if (block.found.remarks.omitted() > 0 && found.remarks.omitted() == 0) { // it is only counted
        found.remarks.add(block.found.remarks.kept().back());
    }
    linesBefore += block.linesRead() - block.linesBefore;
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
