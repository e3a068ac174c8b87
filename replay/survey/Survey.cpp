#include "survey/Survey.h"

#include "ethernet/FrameLayers.h"
#include "rkutil/ByteOrder.h"
#include "signal/HashIndex.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace rksignal {
namespace {

using Bytes = std::span<const std::uint8_t>;

/// A flow on a channel.
struct FlowPlace {
    EthernetFlow flow;
    std::uint16_t channel;

    friend bool operator==(const FlowPlace&, const FlowPlace&) = default;
};

/// Where the frames of a key are counted.
class KeyEntry {
  public:
    KeyEntry() = default;
    KeyEntry(std::uint64_t key, FrameStatistics* frames) : frames(frames), ownKey(key) {}

    bool isFree() const { return frames == nullptr; }
    std::uint64_t key() const { return ownKey; }

    FrameStatistics* frames = nullptr;

  private:
    std::uint64_t ownKey = 0;
};

std::uint64_t keyOfIdentity(const FrameIdentity& identity) {
    return static_cast<std::uint64_t>(identity.kind) << 48 | std::uint64_t{identity.extended} << 40 |
           std::uint64_t{identity.channel.value_or(0)} << 32 | identity.id;
}

/// The `count` low bytes of a number, big endian.
template <std::size_t count>
std::array<std::uint8_t, count> bytesOf(std::uint64_t number) {
    std::array<std::uint8_t, count> bytes{};
    for (std::size_t i = 0; i < count; ++i) {
        bytes[count - 1 - i] = static_cast<std::uint8_t>(number >> 8 * i);
    }
    return bytes;
}

Bytes bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

void count(FrameStatistics& frames, std::uint64_t timestamp, Bytes payload) {
    if (frames.count++ == 0) {
        frames.first = timestamp;
        frames.shortest = payload.size();
    } else if (timestamp < frames.last) {
        ++frames.backwards;
    } else {
        const std::uint64_t interval = timestamp - frames.last;
        frames.cycle.add(interval);
        if (interval > frames.longestGap) {
            frames.longestGap = interval;
            frames.longestGapBegin = frames.last;
        }
    }
    frames.last = timestamp;
    frames.shortest = std::min(frames.shortest, payload.size());
    frames.longest = std::max(frames.longest, payload.size());
    frames.bytes += payload.size();
    frames.changes.add(payload);
}

} // namespace

std::span<const std::uint8_t> flowOf(std::span<const std::uint8_t> frame, EthernetFlow& flow) {
    constexpr std::size_t addresses = 12;
    constexpr std::size_t tagBytes = 4;
    FrameLayers layers;
    flow = {};
    if (FrameLayers::analyse(frame, layers)) {
        flow.source = layers.flow.sourceIp;
        flow.destination = layers.flow.destinationIp;
        flow.sourcePort = layers.flow.sourcePort;
        flow.destinationPort = layers.flow.destinationPort;
        flow.ipProtocol = layers.info.ipProtocol;
        flow.ipVersion = layers.flow.ipVersion;
        flow.vlanId = layers.flow.vlanId;
        return layers.payload;
    }
    flow.vlanId = layers.flow.vlanId;
    const std::size_t header = addresses + tagBytes * layers.tags + 2;
    if (frame.size() < header) {
        return frame;
    }
    std::copy_n(frame.begin(), 6, flow.destination.begin());
    std::copy_n(frame.begin() + 6, 6, flow.source.begin());
    flow.etherType = static_cast<std::uint16_t>(bigEndian<2>(frame.data() + header - 2));
    return frame.subspan(header);
}

struct Survey::State {
    /// The statistics of an identity, or null if there are too many.
    FrameStatistics* find(const FrameIdentity& identity) {
        if (identity.kind == SignalKind::Ethernet) {
            const FlowPlace place{identity.flow, identity.channel.value_or(0)};
            const auto found = byFlow.find(place);
            return found != byFlow.end()
                       ? found->second
                       : enter(identity, [&](auto* frames) { byFlow.emplace(place, frames); });
        }
        const std::uint64_t key = keyOfIdentity(identity);
        const auto* const found = byKey.find(key);
        return found != nullptr ? found->frames : enter(identity, [&](auto* frames) {
            byKey.enter({key, frames});
        });
    }

    /// \return null if there is no room for another identity
    template <class Register>
    FrameStatistics* enter(const FrameIdentity& identity, Register&& registerFrames) {
        if (frames.size() >= maxIdentities) {
            return nullptr;
        }
        frames.emplace_back().identity = identity;
        frames.back().index = frames.size() - 1;
        registerFrames(&frames.back());
        return &frames.back();
    }

    void reach(std::uint64_t timestamp) {
        totals.first = totals.messages == 0 ? timestamp : std::min(totals.first, timestamp);
        totals.last = std::max(totals.last, timestamp);
        ++totals.messages;
    }

    void add(const FrameIdentity& identity, std::uint64_t timestamp, Bytes payload, bool isFd = false) {
        FrameStatistics* const statistics = find(identity);
        latest = statistics;
        if (statistics != nullptr) {
            count(*statistics, timestamp, payload);
            statistics->isFd = statistics->isFd || isFd;
        } else {
            ++totals.others;
        }
    }

    ChannelStatistics& channel(SignalKind kind, std::uint8_t number) {
        auto& statistics = busChannels[static_cast<std::size_t>(kind) * 256 + number];
        statistics.kind = kind;
        statistics.channel = number;
        return statistics;
    }

    void addToChannel(SignalKind kind, std::uint8_t number, std::size_t bytes, const BusBits& bits = {},
                      bool isFd = false) {
        ChannelStatistics& statistics = channel(kind, number);
        ++statistics.count;
        statistics.bytes += bytes;
        statistics.bits += bits;
        statistics.hasFd = statistics.hasFd || isFd;
    }

    template <class Frame>
    void addEthernet(const Frame& frame) {
        FrameIdentity identity{SignalKind::Ethernet, false, frame.channel, 0, {}};
        reach(frame.timestamp);
        const Bytes payload = flowOf(frame.frame, identity.flow);
        add(identity, frame.timestamp, payload);
        addToChannel(SignalKind::Ethernet, frame.channel, frame.frame.size());
    }

    static constexpr std::size_t buses = 4; ///< kinds that have channels

    std::deque<FrameStatistics> frames; // where they stay
    const FrameStatistics* latest = nullptr;
    HashIndex<KeyEntry> byKey; // asked once a frame
    std::unordered_map<FlowPlace, FrameStatistics*, KeyHash> byFlow;
    std::vector<ChannelStatistics> busChannels{buses * 256};
    SurveyTotals totals;
};

Survey::Survey() : state(std::make_unique<State>()) {}
Survey::~Survey() = default;
Survey::Survey(Survey&&) noexcept = default;
Survey& Survey::operator=(Survey&&) noexcept = default;

void Survey::receive(const CANExtTraceMessage& frame) {
    const Bytes payload =
        Bytes(frame.payload).first(std::min<std::size_t>(frame.length, frame.payload.size()));
    state->reach(frame.timestamp);
    state->add({SignalKind::Can, frame.isExtended(), frame.channel, frame.canId, {}}, frame.timestamp,
               payload, frame.isFd());
    state->addToChannel(SignalKind::Can, frame.channel, payload.size(), canBits(frame), frame.isFd());
}

void Survey::receive(const LINTraceMessage& frame) {
    constexpr std::uint8_t withoutParity = 0x3F;
    state->reach(frame.timestamp);
    state->add({SignalKind::Lin, false, frame.channel, std::uint32_t{frame.protectedId} & withoutParity, {}},
               frame.timestamp, frame.data);
    state->addToChannel(SignalKind::Lin, frame.channel, frame.data.size(), linBits(frame.data.size()));
}

void Survey::receive(const FlexRayExtTraceMessage& frame) {
    state->reach(frame.timestamp);
    state->add({SignalKind::FlexRay, false, frame.channel, frame.slot, {}}, frame.timestamp, frame.payload);
    state->addToChannel(SignalKind::FlexRay, frame.channel, frame.payload.size());
}

void Survey::receive(const MIITraceMessage& frame) {
    state->addEthernet(frame);
}

void Survey::receive(const EthernetTraceMessage& frame) {
    if (frame.kind == EthernetTraceMessage::Frame) {
        state->addEthernet(frame);
    } else {
        pass(PassedMessage::Other, frame.timestamp);
    }
}

void Survey::receive(const GpioTraceMessage& message) {
    state->reach(message.timestamp);
    for (const gpioElement_t& element : message.elements) {
        state->add({SignalKind::Digital, false, {}, element.input, {}}, message.timestamp,
                   bytesOf<2>(element.value));
    }
}

void Survey::receive(const AnalogTraceMessage& message) {
    state->reach(message.timestamp);
    for (const analogElement_t& element : message.elements) {
        const std::uint64_t value = std::uint64_t{static_cast<std::uint32_t>(element.mantissa)} << 8 |
                                    static_cast<std::uint8_t>(element.exponent);
        state->add({SignalKind::Analog, false, {}, element.input, {}}, message.timestamp, bytesOf<5>(value));
    }
}

void Survey::receive(const KeyboardMessage& message) {
    state->reach(message.timestamp);
    state->add({SignalKind::Keyboard, false, {}, static_cast<std::uint32_t>(message.keyCode), {}},
               message.timestamp, bytesOf<4>(static_cast<std::uint32_t>(message.value)));
}

void Survey::receive(const SystemMessage& message) {
    state->reach(message.timestamp);
    const auto* const usage = dynamic_cast<const SystemUsageMessage*>(&message);
    const std::array<std::uint8_t, 3> usages =
        usage != nullptr ? std::array{usage->internalUsage, usage->externalUsage, usage->externalUsage2}
                         : std::array<std::uint8_t, 3>{};
    state->add({SignalKind::Status, false, {}, message.code, {}}, message.timestamp,
               usage != nullptr ? Bytes(usages) : bytesOf(message.text));
}

void Survey::receive(const GPSTraceMessage& message) {
    state->reach(message.timestamp);
    state->add({SignalKind::Gps, false, {}, 0, {}}, message.timestamp, bytesOf(message.sentences));
}

void Survey::pass(PassedMessage kind, std::uint64_t timestamp) {
    state->reach(timestamp);
    ++state->totals.passed[static_cast<std::size_t>(kind)];
}

const std::deque<FrameStatistics>& Survey::frames() const {
    return state->frames;
}

const FrameStatistics* Survey::latest() const {
    return state->latest;
}

std::vector<ChannelStatistics> Survey::channels() const {
    std::vector<ChannelStatistics> used;
    std::copy_if(state->busChannels.begin(), state->busChannels.end(), std::back_inserter(used),
                 [](const ChannelStatistics& each) { return each.count > 0; });
    return used;
}

const SurveyTotals& Survey::totals() const {
    return state->totals;
}

} // namespace rksignal
