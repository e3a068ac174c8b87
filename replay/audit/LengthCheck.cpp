// Rule wrong-length: frames of CAN and LIN that have another length than defined.
#include "audit/Checks.h"
#include "audit/Sightings.h"

#include <algorithm>
#include <array>
#include <utility>

namespace rksignal {
namespace {

constexpr std::uint64_t startUp = 2'000'000'000; // in which frames may be shorter than later

/// The length of a CAN FD frame that holds so many bytes (ISO 11898-1, DLC).
std::size_t paddedLength(std::size_t bytes) {
    constexpr std::array<std::size_t, 7> lengths = {12, 16, 20, 24, 32, 48, 64};
    const auto* const found = std::lower_bound(lengths.begin(), lengths.end(), bytes);
    return bytes <= 8 || found == lengths.end() ? bytes : *found;
}

class LengthCheck final : public AuditCheck {
  public:
    explicit LengthCheck(AuditContext& context) : context(context) {}

    void received(const AuditedFrame& frame) override {
        const FrameStatistics& statistics = frame.statistics;
        const SignalKind kind = statistics.identity.kind;
        if (!frame.isKnown || (kind != SignalKind::Can && kind != SignalKind::Lin)) {
            return;
        }
        State& state = stateAt(states, statistics.index);
        if (!state.isResolved) {
            resolve(statistics, state);
        }
        const std::size_t length = frame.payload.size();
        const bool isNew = std::exchange(state.lastLength, length) != length || statistics.count == 1;
        if (state.lengths.empty() || std::ranges::find(state.lengths, length) != state.lengths.end()) {
            state.firstRight = state.firstRight == 0 ? frame.timestamp : state.firstRight;
            return;
        }
        state.isShorter = state.isShorter || length < state.lengths.front();
        if (isNew) {
            state.wrong.add(frame.timestamp, [&] {
                return "has " + std::to_string(length) + " bytes, not " +
                       std::to_string(state.lengths.front());
            });
        } else {
            state.wrong.count(frame.timestamp); // as the frame before
        }
    }

    void report(std::vector<Finding>& findings) override {
        for (const FrameStatistics& each : context.survey.frames()) {
            if (each.index < states.size() && states[each.index].wrong.counted() > 0) {
                report(each, states[each.index], findings);
            }
        }
    }

  private:
    struct State {
        bool isResolved = false;
        bool isShorter = false;           ///< at least one frame is
        std::vector<std::size_t> lengths; ///< those that are right; empty: any
        std::size_t lastLength = 0;
        std::uint64_t firstRight = 0; ///< the time of the first frame of one of these
        Sightings wrong;
    };

    void resolve(const FrameStatistics& frames, State& state) {
        state.isResolved = true;
        for (const MessageDefinition* const message : context.frames.of(frames.identity)) {
            const bool isAny = message->length == 0 || message->pduId || message->length > longestFrame ||
                               (message->isParameterGroup && message->length > 8);
            if (isAny) {
                state.lengths.clear();
                return;
            }
            state.lengths.push_back(message->length);
            if (frames.isFd) {
                state.lengths.push_back(paddedLength(message->length));
            }
        }
    }

    void report(const FrameStatistics& frames, State& state, std::vector<Finding>& findings) {
        Finding& finding = findings.emplace_back(context.about(AuditRule::WrongLength, frames.identity));
        const bool startsShort = state.firstRight != 0 && state.wrong.lastTime() < state.firstRight &&
                                 state.firstRight - frames.first <= startUp;
        finding.severity = state.isShorter && !startsShort ? Severity::Warning : Severity::Note;
        finding.text =
            std::to_string(state.wrong.counted()) + " of " + std::to_string(frames.count) +
            (state.isShorter ? " frames are not as long as defined" : " frames are longer than defined") +
            (startsShort ? ", all before the first whole one" : "");
        state.wrong.moveTo(finding);
    }

    AuditContext& context;
    std::deque<State> states; ///< by identity
};

} // namespace

std::unique_ptr<AuditCheck> makeLengthCheck(AuditContext& context) {
    return std::make_unique<LengthCheck>(context);
}

} // namespace rksignal
