#include "value/J1939Transport.h"

#include "catalog/ParameterGroup.h"

#include <algorithm>

namespace rksignal {
namespace {

constexpr std::uint32_t managementGroup = 0xEC00; // TP.CM
constexpr std::uint32_t packetGroup = 0xEB00;     // TP.DT

/// The first byte of connection management.
enum Control : std::uint8_t {
    RequestToSend = 16,
    ClearToSend = 17,
    EndOfMessage = 19,
    Broadcast = 32,
    Abort = 255,
};

constexpr std::size_t managementBytes = 8;
constexpr std::size_t smallestMessage = 9; // shorter ones need no transport

/// In nanoseconds: T1 between packets of a broadcast; T2 and T3, the longest that a side of a connection
/// waits.
constexpr std::uint64_t broadcastTimeout = 750'000'000;
constexpr std::uint64_t connectionTimeout = 1'250'000'000;

std::uint32_t announcedGroup(const CANExtTraceMessage& frame) {
    const auto& bytes = frame.payload;
    return bytes[5] | std::uint32_t{bytes[6]} << 8 | std::uint32_t{bytes[7]} << 16;
}

std::size_t announcedSize(const CANExtTraceMessage& frame) {
    return frame.payload[1] | std::size_t{frame.payload[2]} << 8;
}

} // namespace

bool J1939Transport::isTransport(std::uint32_t id) {
    return j1939::groupOf(id) == managementGroup || j1939::groupOf(id) == packetGroup;
}

J1939Transport::Outcome J1939Transport::receive(const CANExtTraceMessage& frame) {
    return j1939::groupOf(frame.canId) == managementGroup ? receiveManagement(frame) : receivePacket(frame);
}

TransportStatistics J1939Transport::statistics() const {
    TransportStatistics all = counts;
    all.open = sessions.size();
    return all;
}

/// The sender of the message sends requests and broadcasts, its receiver the answers, either side an abort.
J1939Transport::Outcome J1939Transport::receiveManagement(const CANExtTraceMessage& frame) {
    if (frame.length < managementBytes) {
        return {};
    }
    const std::uint8_t from = j1939::sourceOf(frame.canId);
    const std::uint8_t to = j1939::pduSpecificOf(frame.canId);
    const std::uint8_t control = frame.payload[0];
    const bool isAnswer = control == ClearToSend || control == EndOfMessage;
    const std::uint8_t source = isAnswer ? to : from;
    const std::uint8_t destination = isAnswer ? from : to;
    const std::uint32_t id = j1939::identifier(announcedGroup(frame), destination, source);
    switch (control) {
    case RequestToSend:
    case Broadcast:
        giveUpIfFound(frame.channel, source, destination);
        if (isWanted(frame.channel, id)) {
            open(frame, id);
        }
        break;
    case ClearToSend:
        if (const auto session = find(frame.channel, source, destination); session != sessions.end()) {
            session->last = frame.timestamp;
        }
        break;
    case EndOfMessage:
        giveUpIfFound(frame.channel, source, destination);
        break;
    case Abort:
        giveUpIfFound(frame.channel, source, destination);
        giveUpIfFound(frame.channel, destination, source);
        return {isWanted(frame.channel, id) ||
                    isWanted(frame.channel, j1939::identifier(announcedGroup(frame), source, destination)),
                0,
                {}};
    default:
        return {};
    }
    return {isWanted(frame.channel, id), 0, {}};
}

/// Begins a message whose announcement makes sense.
void J1939Transport::open(const CANExtTraceMessage& frame, std::uint32_t id) {
    const std::size_t size = announcedSize(frame);
    const std::size_t packets = frame.payload[3];
    if (size < smallestMessage || (size + packetBytes - 1) / packetBytes != packets) {
        ++counts.incomplete;
        return;
    }
    if (sessions.size() == maxSessions) {
        giveUp(
            std::min_element(sessions.begin(), sessions.end(), [](const Session& left, const Session& right) {
                return left.last < right.last;
            }));
    }
    Session& session = sessions.emplace_back();
    session.channel = frame.channel;
    session.source = j1939::sourceOf(frame.canId);
    session.destination = j1939::pduSpecificOf(frame.canId);
    session.id = id;
    session.last = frame.timestamp;
    session.size = size;
    session.packets = packets;
}

J1939Transport::Outcome J1939Transport::receivePacket(const CANExtTraceMessage& frame) {
    const auto session = find(frame.channel, j1939::sourceOf(frame.canId), j1939::pduSpecificOf(frame.canId));
    if (session == sessions.end()) {
        return {};
    }
    const bool isBroadcast = session->destination == j1939::globalAddress;
    if (frame.timestamp > session->last + (isBroadcast ? broadcastTimeout : connectionTimeout)) {
        giveUp(session);
        ++counts.strayPackets;
        return {};
    }
    const std::size_t number = frame.length > 0 ? frame.payload[0] : 0;
    const std::size_t offset = (number - 1) * packetBytes;
    const std::size_t length = number > 0 && number <= session->packets
                                   ? std::min(packetBytes, session->size - offset)
                                   : frame.length; // not one of its packets
    if (length + 1 > frame.length) {
        ++counts.strayPackets;
        return {true, 0, {}};
    }
    std::copy_n(frame.payload.begin() + 1, length,
                session->data.begin() + static_cast<std::ptrdiff_t>(offset));
    session->came.set(number);
    session->highest = std::max(session->highest, number);
    session->last = frame.timestamp;
    Outcome outcome{true, 0, {}};
    if (session->came.count() == session->packets) {
        std::copy_n(session->data.begin(), session->size, completed.begin());
        outcome.id = session->id;
        outcome.data = {completed.data(), session->size};
        ++counts.messages;
        close(session);
    } else if (isBroadcast && number == session->packets) {
        giveUp(session);
    }
    return outcome;
}

J1939Transport::Position J1939Transport::find(std::uint8_t channel, std::uint8_t source,
                                              std::uint8_t destination) {
    return std::find_if(sessions.begin(), sessions.end(), [&](const Session& session) {
        return session.channel == channel && session.source == source && session.destination == destination;
    });
}

/// A broadcast is sent to its end whatever happens, a connection as far as the receiver lets it.
void J1939Transport::giveUp(Position session) {
    const std::size_t sent =
        session->destination == j1939::globalAddress ? session->packets : session->highest;
    ++counts.incomplete;
    counts.lostPackets += sent - session->came.count();
    close(session);
}

void J1939Transport::giveUpIfFound(std::uint8_t channel, std::uint8_t source, std::uint8_t destination) {
    if (const auto session = find(channel, source, destination); session != sessions.end()) {
        giveUp(session);
    }
}

void J1939Transport::close(Position session) {
    if (session + 1 != sessions.end()) {
        *session = sessions.back();
    }
    sessions.pop_back();
}

} // namespace rksignal
