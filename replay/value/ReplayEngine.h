/// \file
/// Feeds messages to the signals of a catalog: the inside of Replay.
#pragma once

#include "catalog/Catalog.h"
#include "ethernet/EthernetDecoder.h"
#include "rktrace/TraceRecord.h"
#include "trace/MessageSink.h"
#include "value/J1939Transport.h"
#include "value/Replay.h"
#include "value/ReplayStatistics.h"
#include "value/ValueSink.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

namespace rksignal {

/// Decodes messages. Allocates nothing a message.
///
/// CAN frames go to the decoders of the catalog, Ethernet frames to the decoder here unless the settings are
/// strict, everything else to the library's decoders, once for each trace source that definitions name. Raw
/// records that no definition wants are dropped before they become messages.
class ReplayEngine final : public MessageSink {
  public:
    using Record = std::span<const std::uint8_t>;

    /// What engines of several threads have in common.
    struct Shared {
        EthernetFlows& flows;
        std::function<void()> beforeFlows; ///< called before an engine uses `flows`, and in each frame anew
    };

    /// Everything must outlive the engine, and the catalog be complete. `shared`, if given, is used instead
    /// of something of its own.
    ReplayEngine(Catalog& catalog, ValueSink& sink, const ReplaySettings& settings,
                 const Shared* shared = nullptr);

    const ReplayStatistics& statistics();
    /// What has been met since the last call.
    ReplayStatistics takeStatistics() { return std::exchange(counts, {}); }
    /// No more messages come.
    void finish();

    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void receive(const FlexRayExtTraceMessage& frame) override;
    void receive(const MIITraceMessage& frame) override;
    void receive(const EthernetTraceMessage& frame) override;
    void receive(const GpioTraceMessage& message) override;
    void receive(const AnalogTraceMessage& message) override;
    void receive(const KeyboardMessage& message) override;
    void receive(const SystemMessage& message) override;
    void receive(const GPSTraceMessage& message) override;
    bool receiveRecord(Record record, std::uint64_t timestamp) override;
    void pass(PassedMessage kind, std::uint64_t timestamp) override;
    bool closed() const override { return sink.closed(); }

  private:
    struct RecordKind;
    static const RecordKind recordKinds[];

    bool wantsCan(Record record) const;
    bool wantsLin(Record record) const;
    bool wantsFlexRay(Record record) const;
    bool wantsEthernet(Record record) const;
    template <SignalKind kind>
    bool wantsInput(Record record) const;
    template <SignalKind kind>
    bool wantsAll(Record record) const;
    template <class Message>
    bool replayRecord(Record record, std::uint64_t timestamp);

    /// Whose frames of CAN are decoded by one definition, which is wanted, and by nothing else.
    struct SoleDecoder {
        std::uint64_t frame = ~std::uint64_t{0}; ///< channel, width and identifier
        MessageDecoder* decoder = nullptr;       ///< null: there is none, or more is to be done
    };

    static constexpr unsigned soleDecoderBits = 8;

    MessageDecoder* soleDecoderOf(const CANExtTraceMessage& frame);
    MessageDecoder* searchSoleDecoder(const CANExtTraceMessage& frame) const;
    void decodeAny(const CANExtTraceMessage& frame, const MessageInfo& info);
    void findIdleMessages(const std::vector<bool>& wanted);
    /// Whether the frames of a definition need not be decoded.
    bool isIdle(const MessageDecoder& decoder) const { return idleMessages[decoder.number()]; }
    bool receiveParameterGroup(const CANExtTraceMessage& frame, const MessageInfo& info);
    bool decodeParameterGroup(std::uint32_t id, const MessageDecoder::Payload& payload,
                              const MessageInfo& info);
    bool decodeFlexRay(const FlexRayExtTraceMessage& frame, std::uint8_t source, SignalStorage& storage);
    template <class Frame>
    void decodeEthernet(const Frame& frame, bool isFrame);
    template <class Message, class Decode>
    void decodeBus(const MessageInfo& info, std::uint32_t identifier, const Message& message,
                   Decode&& decode);
    template <class Decode>
    bool decodeSources(const MessageInfo& info, const std::vector<std::uint8_t>& sources, Decode&& decode);
    template <class Decode>
    void decodeGroup(const MessageInfo& info, std::uint32_t identifier, Decode&& decode);
    void writeGroup(const MessageInfo& info);
    void handOn(const MessageInfo& info);
    void conclude(const MessageInfo& info, bool known, std::uint32_t identifier);

    Catalog& catalog;
    ValueSink& sink;
    ReplayStatistics counts;
    J1939Transport transport;
    std::size_t knownSignals; ///< number of signals that the sink knows of
    std::vector<unsigned long> ids;
    std::vector<bool> idleMessages; ///< by index in Catalog::messages(): no signal is wanted
    std::array<SoleDecoder, 1U << soleDecoderBits> soleDecoders; ///< of the latest frames, by hash
    EthernetFlows ownFlows;                                      ///< unless they are shared
    std::unique_ptr<EthernetDecoder> ethernet;                   ///< null: the library's own decoder is used
    std::vector<unsigned long> held;                             ///< GPS signals that have a value
    std::vector<std::uint64_t> turns; ///< by signal: the last call of writeGroup() that handed it on
    std::uint64_t turn = 0;
    FlexRayExtTraceMessage placed; ///< a FlexRay frame, in the segment where its slot lies
    /// Copies of frames, as of channel 0, reused.
    std::tuple<LINTraceMessage, FlexRayExtTraceMessage, EthernetTraceMessage, MIITraceMessage> moved;
    /// Of raw records, reused.
    std::tuple<CANExtTraceMessage, LINTraceMessage, FlexRayExtTraceMessage, EthernetTraceMessage,
               MIITraceMessage, GpioTraceMessage, AnalogTraceMessage, KeyboardMessage, SystemMessage,
               SystemUsageMessage, GPSTraceMessage>
        messages;
};

} // namespace rksignal
