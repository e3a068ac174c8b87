// Rules never-seen and undefined: messages without frames, and frames without definitions.
#include "audit/Checks.h"

#include <unordered_set>

namespace rksignal {
namespace {

bool hasIdentity(SignalKind kind) {
    return kind == SignalKind::Can || kind == SignalKind::Lin || kind == SignalKind::FlexRay;
}

class CoverageCheck final : public AuditCheck {
  public:
    explicit CoverageCheck(AuditContext& context) : context(context) {}

    void received(const AuditedFrame& frame) override {
        bool& known = stateAt(knownFrames, frame.statistics.index);
        known = known || frame.isKnown;
    }

    void written(const AuditedValue& value) override { stateAt(hasValue, value.signal) = true; }

    void report(std::vector<Finding>& findings) override {
        knownFrames.resize(context.survey.frames().size());
        hasValue.resize(context.catalog.signals().size());
        reportUnseen(findings);
        for (const FrameStatistics& each : context.survey.frames()) {
            const bool isFrame =
                hasIdentity(each.identity.kind) || each.identity.kind == SignalKind::Ethernet;
            if (isFrame && !knownFrames[each.index]) {
                reportUndefined(each, findings);
            }
        }
    }

  private:
    void reportUndefined(const FrameStatistics& frames, std::vector<Finding>& findings) {
        Finding& finding = findings.emplace_back(context.about(AuditRule::Undefined, frames.identity));
        finding.text = finding.message.empty() ? "no definition" : "a definition that decodes nothing of it";
        finding.count = frames.count;
        finding.first = frames.first;
        finding.last = frames.last;
    }

    /// Messages of which frames came, or values: those in PDUs and of inputs are known by these alone.
    std::unordered_set<const MessageDefinition*> seenMessages() {
        std::unordered_set<const MessageDefinition*> seen;
        for (const FrameStatistics& each : context.survey.frames()) {
            if (knownFrames[each.index]) {
                for (const MessageDefinition* const message : context.frames.of(each.identity)) {
                    if (!message->pduId) {
                        seen.insert(message);
                    }
                }
            }
        }
        for (std::size_t i = 0; i < hasValue.size(); ++i) {
            if (hasValue[i]) {
                seen.insert(context.catalog.origin(i).message);
            }
        }
        return seen;
    }

    void reportUnseen(std::vector<Finding>& findings) {
        const auto seen = seenMessages();
        for (const MessageDefinition& message : context.catalog.messages()) {
            if (!seen.contains(&message)) {
                Finding& finding = findings.emplace_back();
                finding.rule = AuditRule::NeverSeen;
                finding.severity = Severity::Note;
                finding.kind = message.kind;
                finding.channel = message.channel;
                if (hasIdentity(message.kind)) {
                    finding.identifier =
                        identityText({message.kind, message.extended, message.channel, message.id, {}});
                }
                finding.message = message.name;
                finding.instance = message.name.empty() && !message.signals.empty()
                                       ? message.signals.front().common().instance
                                       : "";
                finding.text = "never seen" + elsewhere(message);
            }
        }
    }

    /// Where frames with the identifier came from that are not those of the message.
    std::string elsewhere(const MessageDefinition& message) const {
        std::string text;
        for (const FrameStatistics& each : context.survey.frames()) {
            const FrameIdentity& identity = each.identity;
            if (identity.kind != message.kind || identity.id != message.id || !hasIdentity(message.kind)) {
                continue;
            }
            if (identity.extended != message.extended) {
                text =
                    std::string("; its identifier comes with ") + (identity.extended ? "29" : "11") + " bits";
            } else if (message.channel && identity.channel != message.channel) {
                return "; its identifier comes on channel " + std::to_string(identity.channel.value_or(0));
            }
        }
        return text;
    }

    AuditContext& context;
    std::deque<bool> knownFrames; ///< by identity
    std::deque<bool> hasValue;    ///< by signal
};

} // namespace

std::unique_ptr<AuditCheck> makeCoverageCheck(AuditContext& context) {
    return std::make_unique<CoverageCheck>(context);
}

} // namespace rksignal
