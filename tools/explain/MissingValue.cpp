#include "explain/MissingValue.h"

#include "command/NearMatches.h"
#include "output/BitTable.h"
#include "output/DefinitionWords.h"

#include <algorithm>
#include <bitset>
#include <optional>

namespace rksignal {
namespace {

using ChannelNumbers = std::bitset<256>;

class ReasonFinder {
  public:
    ReasonFinder(const ReplayResult& result, std::size_t index, const SignalWatch& watch)
        : result(result), index(index), origin(result.catalog.origin(index)), watch(watch) {}

    std::vector<std::string> run() {
        switch (result.catalog.receptionOf(*result.catalog.signals()[index])) {
        case Reception::NeverSeen:
            findNearFrames();
            break;
        case Reception::Unselected:
            findMultiplexer();
            break;
        case Reception::TooShort:
            compareLength();
            break;
        case Reception::Withdrawn:
            say("the receiver has no fix");
            break;
        case Reception::Foreign:
        case Reception::Written:
            break;
        }
        return reasons;
    }

  private:
    const MessageDefinition& message() const { return *origin.message; }
    void say(std::string reason) { reasons.push_back(std::move(reason)); }

    std::string names(const ChannelNumbers& set) const {
        std::string text;
        for (std::size_t channel = 0; channel < set.size(); ++channel) {
            if (set[channel]) {
                text +=
                    (text.empty() ? "" : ", ") + result.channels.nameOf(static_cast<std::uint8_t>(channel));
            }
        }
        return text;
    }

    void findNearFrames() {
        const auto kind = static_cast<std::size_t>(message().kind);
        const std::uint64_t unknown = result.statistics.unknown[kind];
        const std::string kindText(kindName(message().kind));
        if (message().kind <= SignalKind::FlexRay) {
            sayNearFrames(framesNear(result.catalog, result.statistics, message()));
        } else if (unknown > 0) {
            say(std::to_string(unknown) + " messages of " + kindText + " came that have no definition");
        }
        if (reasons.empty()) {
            const std::uint64_t all = unknown + result.statistics.decoded[kind];
            say("no such message came, among " + std::to_string(all) + " of " + kindText);
        }
    }

    void sayNearFrames(NearFrames near) {
        const std::string identifier =
            (message().kind == SignalKind::FlexRay ? "slot " : "identifier ") + shortIdentifier(message());
        const std::optional<std::uint8_t> channel = message().channel;
        if (channel ? near.sameIdentifier[*channel] : near.sameIdentifier.any()) {
            say(whyNotDecoded(identifier));
        } else if (near.sameIdentifier.any()) {
            say(identifier + " came on another channel: " + names(near.sameIdentifier) + " instead of " +
                result.channels.nameOf(*channel));
        }
        if (near.otherWidth.any()) {
            say(identifier + " came with " +
                (message().extended ? "11 bits instead of 29" : "29 bits instead of 11") + ", on " +
                names(near.otherWidth));
        }
        if (near.otherSource.any()) {
            say("its parameter group came from other source addresses, on " + names(near.otherSource));
        }
    }

    /// Though frames with the identifier came where they should.
    std::string whyNotDecoded(const std::string& identifier) const {
        if (message().kind == SignalKind::FlexRay) {
            return identifier + " came, but not in the cycles and the segment of the signal";
        }
        return message().pduId
                   ? identifier + " came, but no CAN FD frame of it holds the PDU; classic frames have none"
                   : identifier + " came, but not as a message that was put together from several frames";
    }

    /// The outermost multiplexer that selects other signals.
    void findMultiplexer() {
        std::vector<std::size_t> chain; // signals of the message, each in a branch of the next one
        for (std::size_t at = origin.signal;;) {
            chain.push_back(at);
            const auto& multiplexing = message().signals[at].multiplexing;
            if (!multiplexing || !multiplexing->multiplexer) {
                break;
            }
            at = *multiplexing->multiplexer;
        }
        for (std::size_t i = chain.size(); i-- > 1;) {
            const auto& multiplexing = *message().signals[chain[i - 1]].multiplexing;
            BaseSignal* const multiplexer = siblingOf(chain[i]);
            unsigned long raw = 0;
            unsigned long timestamp = 0;
            if (multiplexer == nullptr || !multiplexer->read(raw, timestamp)) {
                return say("its multiplexer has no value");
            }
            const std::uint64_t value = raw & multiplexer->d_maksBits;
            const bool isSelected = std::any_of(
                multiplexing.ranges.begin(), multiplexing.ranges.end(),
                [value](const ValueRange& range) { return range.first <= value && value <= range.second; });
            if (!isSelected) {
                const std::string text = multiplexer->getValueDescription(raw);
                return say(multiplexer->def.instance + " was " + std::to_string(value) +
                           (text.empty() ? "" : " (" + text + ")") +
                           " in the last frame, and the signal is there while " +
                           branchText(message(), message().signals[chain[i - 1]]));
            }
        }
    }

    /// Another signal of the message, for the same sender.
    BaseSignal* siblingOf(std::size_t signal) const {
        const auto& signals = result.catalog.signals();
        const std::string& own = signals[index]->def.instance;
        const std::size_t mark = own.rfind("@SA");
        const std::string sender =
            mark == own.npos || result.catalog.definedSignal(index) == index ? "" : own.substr(mark);
        for (std::size_t i = 0; i < signals.size(); ++i) {
            const Catalog::Origin& other = result.catalog.origin(i);
            const bool isOfSender =
                sender.empty() ? other.defined == i : signals[i]->def.instance.ends_with(sender);
            if (other.message == origin.message && other.signal == signal && isOfSender) {
                return signals[i].get();
            }
        }
        return nullptr;
    }

    void compareLength() {
        const BitRange range = BitRange::of(origin.definition());
        const std::vector<std::size_t> bits = range.numbers();
        const std::size_t needed = *std::max_element(bits.begin(), bits.end()) / 8 + 1;
        const std::size_t length = watch.lastFrame() ? watch.lastFrame()->bytes.size() : 0;
        say("the last frame had " + std::to_string(length) + " bytes" +
            (length < needed ? ", the signal ends in byte " + std::to_string(needed - 1)
                             : ", too few for a multiplexer of the signal"));
    }

    const ReplayResult& result;
    std::size_t index;
    const Catalog::Origin& origin;
    const SignalWatch& watch;
    std::vector<std::string> reasons;
};

} // namespace

std::vector<std::string> reasonsForNoValue(const ReplayResult& result, std::size_t signal,
                                           const SignalWatch& watch) {
    return ReasonFinder(result, signal, watch).run();
}

} // namespace rksignal
