/// \file
/// What is in traces, without any definitions.
#pragma once

#include "survey/BusTime.h"
#include "survey/ByteChanges.h"
#include "survey/FrameIdentity.h"
#include "survey/IntervalSketch.h"
#include "text/Export.h"
#include "trace/MessageSink.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <vector>

namespace rksignal {

/// The frames of one identity, or the messages of one input. Times are nanoseconds since 1970-01-01 UTC.
///
/// Lengths and bytes are those of the payload: of Ethernet what UDP or TCP carries, and of other packets what
/// stands behind the header of Ethernet; of an input the bytes of its value as they stand in a raw record.
struct FrameStatistics {
    FrameIdentity identity;
    std::size_t index = 0; ///< in Survey::frames()
    bool isFd = false;     ///< of CAN: frames of CAN FD came, perhaps besides others
    std::uint64_t count = 0;
    std::uint64_t first = 0; ///< the time of the first message
    std::uint64_t last = 0;  ///< the time of the last message
    IntervalSketch cycle;    ///< the times between a message and the next, but for those that go back
    std::uint64_t longestGap = 0;
    std::uint64_t longestGapBegin = 0; ///< the time of the message before it
    std::uint64_t backwards = 0;       ///< messages that are earlier than the one before
    std::size_t shortest = 0;          ///< length in bytes
    std::size_t longest = 0;
    std::uint64_t bytes = 0; ///< of all payloads
    ByteChanges changes;
};

/// What came on a channel of a bus.
struct ChannelStatistics {
    SignalKind kind = SignalKind::Can;
    std::uint8_t channel = 0;
    std::uint64_t count = 0;
    std::uint64_t bytes = 0; ///< of payloads; of Ethernet of whole frames, without their checksum
    BusBits bits;            ///< of CAN and LIN
    bool hasFd = false;
};

struct SurveyTotals {
    std::uint64_t messages = 0; ///< all, those of `passed` included
    std::array<std::uint64_t, passedMessages> passed{};
    std::uint64_t first = 0; ///< the earliest time
    std::uint64_t last = 0;  ///< the latest time
    /// Messages that belong to none of the identities that are told apart.
    std::uint64_t others = 0;
};

/// Counts the messages of traces by identity:
///
///     rksignal::Survey survey;
///     trace.run(survey);
///     for (const FrameStatistics& each : survey.frames()) ...
///
/// Takes constant memory: only the first `maxIdentities` are told apart, each of which takes some hundred
/// bytes, at most 5 KB. A message costs a look into a hash table and some tens of nanoseconds, and allocates
/// nothing but where its identity is new, or longer or less regular than before. For one thread.
class RKREPLAY_EXPORT Survey final : public MessageSink {
  public:
    static constexpr std::size_t maxIdentities = 65536;

    Survey();
    ~Survey() override;
    Survey(Survey&&) noexcept;
    Survey& operator=(Survey&&) noexcept;

    using MessageSink::receive;
    void receive(const CANExtTraceMessage& frame) override;
    void receive(const LINTraceMessage& frame) override;
    void receive(const FlexRayExtTraceMessage& frame) override;
    void receive(const MIITraceMessage& frame) override;
    /// One that is no frame is passed over as a message of another kind.
    void receive(const EthernetTraceMessage& frame) override;
    /// Each input that it tells counts for itself.
    void receive(const GpioTraceMessage& message) override;
    void receive(const AnalogTraceMessage& message) override;
    void receive(const KeyboardMessage& message) override;
    void receive(const SystemMessage& message) override;
    void receive(const GPSTraceMessage& message) override;
    void pass(PassedMessage kind, std::uint64_t timestamp) override;

    /// In the order in which they came.
    const std::deque<FrameStatistics>& frames() const;
    /// What the last message of a bus was counted in; null if there was none yet, or if it belongs to none of
    /// the identities that are told apart.
    const FrameStatistics* latest() const;
    /// By kind and channel.
    std::vector<ChannelStatistics> channels() const;
    const SurveyTotals& totals() const;

  private:
    struct State;
    std::unique_ptr<State> state;
};

/// The flow of an Ethernet frame. \return the payload
RKREPLAY_EXPORT std::span<const std::uint8_t> flowOf(std::span<const std::uint8_t> frame, EthernetFlow& flow);

} // namespace rksignal
