/// \file
/// Feeds the messages of traces to the signals of a catalog.
#pragma once

#include "catalog/Catalog.h"
#include "rktrace/TraceRecord.h"
#include "trace/TraceMerge.h"
#include "trace/TraceReceiver.h"
#include "value/ReplayStatistics.h"
#include "value/ValueSink.h"

#include <cstdint>
#include <span>
#include <tuple>
#include <vector>

namespace rksignal {

/// Replays traces; the signals keep their values in between. Allocates nothing a message.
///
/// CAN frames go to the decoders of the catalog, everything else to the library's decoders, once for each
/// trace source that definitions name. Raw records that no definition wants are dropped before they become
/// messages.
class Replay : private TraceReceiver {
  public:
    /// Everything must outlive the replay, and the catalog be complete.
    Replay(Catalog& catalog, ValueSink& sink);

    /// Replays traces to their end, or until the sink is closed.
    /// \throws std::system_error if reading fails.
    void run(TraceMerge& traces);

    const ReplayStatistics& statistics() const { return counts; }

  private:
    using Record = std::span<const std::uint8_t>;
    struct RecordKind;
    static const RecordKind recordKinds[];

    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void receive(const FlexRayExtTraceMessage& frame) override;
    void receive(const MIITraceMessage& frame) override;
    void receive(const GPSTraceMessage& message) override;
    void receive(const EthernetTraceMessage& frame);
    void receive(const GpioTraceMessage& message);
    void receive(const AnalogTraceMessage& message);
    void receive(const KeyboardMessage& message);
    void receive(const SystemMessage& message);
    void receiveRecord(Record record, std::uint64_t timestamp) override;
    void pass(PassedMessage kind, std::uint64_t timestamp) override;

    bool wantsCan(Record record) const;
    bool wantsLin(Record record) const;
    bool wantsFlexRay(Record record) const;
    bool wantsEthernet(Record record) const;
    template <SignalKind kind>
    bool wantsInput(Record record) const;
    template <SignalKind kind>
    bool wantsAll(Record record) const;
    template <class Message>
    void replayRecord(Record record, std::uint64_t timestamp);

    bool decodeFlexRay(const FlexRayExtTraceMessage& frame, std::uint8_t source);
    template <class Frame>
    void decodeEthernet(const Frame& frame);
    template <class Decode>
    void decodeGroup(const MessageInfo& info, std::uint32_t identifier, Decode&& decode);
    void writeGroup(const MessageInfo& info);
    void conclude(const MessageInfo& info, bool known, std::uint32_t identifier);

    Catalog& catalog;
    ValueSink& sink;
    ReplayStatistics counts;
    std::vector<unsigned long> ids;
    std::vector<unsigned long> held;  ///< GPS signals that have a value
    std::vector<std::uint64_t> turns; ///< by signal: the last call of writeGroup() that handed it on
    std::uint64_t turn = 0;
    FlexRayExtTraceMessage placed; ///< a FlexRay frame, in the segment where its slot lies
    /// Of raw records, reused.
    std::tuple<CANExtTraceMessage, LINTraceMessage, FlexRayExtTraceMessage, EthernetTraceMessage,
               MIITraceMessage, GpioTraceMessage, AnalogTraceMessage, KeyboardMessage, SystemMessage,
               SystemUsageMessage, GPSTraceMessage>
        messages;
};

} // namespace rksignal
