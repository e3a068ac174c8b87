/// \file
/// What reaches from one Ethernet frame to the next.
#pragma once

#include "ethernet/FlowKey.h"
#include "ethernet/FrameLayers.h"
#include "ethernet/SomeIpSegments.h"
#include "ethernet/TcpStream.h"
#include "value/ReplayStatistics.h"

#include <cstddef>

namespace rksignal {

/// SOME/IP messages that are under way in several frames: in segments, and in TCP connections. Memory is
/// constant. Decoders in several threads may share it, one of them at a time, in the order of the frames.
struct EthernetFlows {
    static constexpr std::size_t maxStreams = 256;

    struct Connection {
        TcpStream stream;
        FrameLayers layers; ///< of a frame whose segment waits

        void restart() { stream.restart(); }
    };

    SomeIpSegments segments;
    BoundedTable<FlowKey, Connection, maxStreams> connections;

    SomeIpStatistics statistics() {
        SomeIpStatistics sum{segments.assembled(), segments.lost()};
        connections.forEach([&sum](const FlowKey&, const Connection& connection) {
            sum.assembled += connection.stream.messages().assembled();
            sum.lostSegments += connection.stream.lost();
        });
        return sum;
    }
};

} // namespace rksignal
