// Rules lost-messages, cycle-time, bus-gap and time-backwards: when frames of CAN, LIN and FlexRay come.
#include "audit/Checks.h"
#include "audit/Sightings.h"
#include "survey/Gaps.h"
#include "text/NumberText.h"

#include <array>
#include <cmath>

namespace rksignal {
namespace {

constexpr double slowFactor = 1.25;         // of the defined cycle: what the median may be at most,
constexpr double fastFactor = 0.8;          // and at least
constexpr std::uint64_t fewestDefined = 10; // intervals of a message with a defined cycle

constexpr std::size_t busKinds = 3; // CAN, LIN, FlexRay

std::string milliseconds(std::uint64_t nanoseconds) {
    return doubleText(std::round(static_cast<double>(nanoseconds) / 1e3) / 1e3) + " ms";
}

std::uint64_t longest(const std::vector<Gap>& gaps) {
    return std::ranges::max_element(gaps, {}, &Gap::length)->length;
}

/// An interval that is known to about a thousandth.
std::string roundedMilliseconds(std::uint64_t nanoseconds) {
    std::uint64_t unit = 1;
    while (nanoseconds / unit >= 1000) {
        unit *= 10;
    }
    return milliseconds((nanoseconds + unit / 2) / unit * unit);
}

class TimeCheck final : public AuditCheck {
  public:
    explicit TimeCheck(AuditContext& context) : context(context), channels(busKinds * 256) {}

    void received(const AuditedFrame& frame) override {
        const FrameIdentity& identity = frame.statistics.identity;
        if (static_cast<std::size_t>(identity.kind) < busKinds) {
            addToChannel(channelOf(identity), frame.timestamp);
            addToMessage(stateAt(messages, frame.statistics.index), frame.timestamp);
        }
    }

    void report(std::vector<Finding>& findings) override {
        for (std::size_t i = 0; i < channels.size(); ++i) {
            const FrameIdentity bus{
                static_cast<SignalKind>(i / 256), false, static_cast<std::uint8_t>(i % 256), 0, {}};
            reportBus(bus, channels[i], findings);
        }
        for (const FrameStatistics& each : context.survey.frames()) {
            if (static_cast<std::size_t>(each.identity.kind) < busKinds && each.index < messages.size()) {
                reportMessage(each, findings);
            }
        }
    }

  private:
    struct Channel {
        std::uint64_t count = 0;
        std::uint64_t last = 0;   ///< the time of the last frame
        std::uint64_t latest = 0; ///< the latest time of all
        IntervalSketch intervals;
        GapList gaps;
        std::vector<Gap> found; ///< those that are reported
        Sightings backwards;
        std::uint64_t furthest = 0; ///< by which time goes back, in nanoseconds
    };

    struct Message {
        bool isSeen = false;
        std::uint64_t last = 0;
        GapList gaps;
    };

    /// What is taken to be the time from one message to the next.
    struct Cycle {
        std::uint64_t length; ///< nanoseconds
        const char* source;
    };

    Channel& channelOf(const FrameIdentity& identity) {
        return channels[static_cast<std::size_t>(identity.kind) * 256 + identity.channel.value_or(0)];
    }

    static void addToChannel(Channel& channel, std::uint64_t time) {
        if (channel.count++ > 0 && time < channel.last) {
            const std::uint64_t back = channel.last - time;
            channel.furthest = std::max(channel.furthest, back);
            channel.backwards.add(time, [back] { return "is " + milliseconds(back) + " earlier"; });
        } else if (time > channel.last && channel.count > 1) { // some clocks only count seconds
            channel.intervals.add(time - channel.last);
            channel.gaps.add({channel.last, time - channel.last});
        }
        channel.last = time;
        channel.latest = std::max(channel.latest, time);
    }

    static void addToMessage(Message& message, std::uint64_t time) {
        if (message.isSeen && time >= message.last) {
            message.gaps.add({message.last, time - message.last});
        }
        message.isSeen = true;
        message.last = time;
    }

    Finding aboutBus(AuditRule rule, const FrameIdentity& bus) {
        Finding finding = context.about(rule, bus);
        finding.identifier.clear(); // it is about all of them
        finding.message.clear();
        return finding;
    }

    void reportBus(const FrameIdentity& bus, Channel& channel, std::vector<Finding>& findings) {
        if (channel.backwards.counted() > 0) {
            Finding& finding = findings.emplace_back(aboutBus(AuditRule::TimeBackwards, bus));
            finding.text = "times go back, by up to " + milliseconds(channel.furthest);
            channel.backwards.moveTo(finding);
        }
        const std::uint64_t threshold = longestUsualInterval(channel.intervals);
        channel.found = channel.gaps.above(threshold);
        if (!channel.found.empty()) {
            Finding& finding = findings.emplace_back(aboutBus(AuditRule::BusGap, bus));
            finding.text = "nothing at all, longest gap " + milliseconds(longest(channel.found));
            addGaps(channel.found, finding, [](const Gap&) { return std::string(); });
            finding.count = std::max<std::uint64_t>(finding.count, channel.intervals.countAbove(threshold));
        }
    }

    template <class MakeText>
    static void addGaps(const std::vector<Gap>& gaps, Finding& finding, MakeText&& makeText) {
        finding.count = gaps.size();
        finding.first = gaps.front().begin;
        finding.last = gaps.back().begin;
        for (const Gap& gap : gaps) {
            finding.occurrences.push_back(
                {gap.begin, "then nothing for " + milliseconds(gap.length) + makeText(gap)});
        }
    }

    std::optional<std::uint64_t> definedCycle(const FrameIdentity& identity) {
        for (const MessageDefinition* const message : context.frames.of(identity)) {
            const std::uint64_t cycle =
                scaledInterval(std::max(0.0, message->cycleTime.value_or(0)) * 1e6, 1);
            if (cycle > 0) {
                return cycle;
            }
        }
        return std::nullopt;
    }

    void reportMessage(const FrameStatistics& frames, std::vector<Finding>& findings) {
        const auto defined = definedCycle(frames.identity);
        const std::uint64_t median = frames.cycle.percentile(50);
        if (defined && frames.cycle.count() >= fewestDefined) {
            if (median >= scaledInterval(fastFactor, *defined) &&
                median <= scaledInterval(slowFactor, *defined)) {
                return reportLost(frames, {*defined, "as defined"}, findings);
            }
            Finding& finding = findings.emplace_back(context.about(AuditRule::CycleTime, frames.identity));
            finding.text = "comes every " + roundedMilliseconds(median) + " (median), not every " +
                           milliseconds(*defined) + " as defined";
            finding.count = frames.count;
            finding.first = frames.first;
            finding.last = frames.last;
        }
        if (isRegular(frames.cycle, median)) {
            reportLost(frames, {median, "its median"}, findings);
        }
    }

    void reportLost(const FrameStatistics& frames, const Cycle& cycle, std::vector<Finding>& findings) {
        const Channel& channel = channelOf(frames.identity);
        const std::uint64_t threshold = scaledInterval(lateFactor, cycle.length);
        std::vector<Gap> gaps = messages[frames.index].gaps.above(threshold);
        const std::uint64_t all = std::max<std::uint64_t>(gaps.size(), frames.cycle.countAbove(threshold));
        const bool ends = channel.latest - frames.last > scaledInterval(endFactor, cycle.length);
        if (ends) {
            gaps.push_back({frames.last, channel.latest - frames.last});
        }
        const std::uint64_t ofBus = std::erase_if(gaps, [&channel](const Gap& gap) {
            return std::ranges::any_of(channel.found, [&gap](const Gap& each) { return gap.holds(each); });
        });
        if (gaps.empty()) {
            return;
        }
        Finding& finding = findings.emplace_back(context.about(AuditRule::LostMessages, frames.identity));
        finding.text = "cycle " + roundedMilliseconds(cycle.length) + " (" + cycle.source +
                       "), longest gap " + milliseconds(longest(gaps));
        addGaps(gaps, finding, [&](const Gap& gap) {
            return lostText(gap, cycle) + (gap.begin == frames.last ? ", to the end" : "");
        });
        finding.count = std::max<std::uint64_t>(gaps.size(), all + (ends ? 1 : 0) - ofBus);
    }

    /// How many messages are missing: the gap is rounded to cycles.
    static std::string lostText(const Gap& gap, const Cycle& cycle) {
        const std::uint64_t cycles = (gap.length + cycle.length / 2) / cycle.length;
        return ", about " + std::to_string(std::max<std::uint64_t>(cycles, 2) - 1) + " lost";
    }

    AuditContext& context;
    std::vector<Channel> channels;
    std::deque<Message> messages; ///< by identity
};

} // namespace

std::unique_ptr<AuditCheck> makeTimeCheck(AuditContext& context) {
    return std::make_unique<TimeCheck>(context);
}

} // namespace rksignal
