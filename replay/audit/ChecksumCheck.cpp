// Rule checksum: checksums in frames of CAN and LIN, by a rule that is given or that most frames keep.
#include "audit/Checks.h"
#include "audit/Sightings.h"
#include "audit/SignalPatterns.h"

#include <algorithm>
#include <array>
#include <map>

namespace rksignal {
namespace {

// What is taken for a checksum by itself: a byte with such a name, for which nine of ten frames keep one of
// the simple rules.
constexpr std::array checksumNames = {"*checksum*", "*chksum*", "*crc*", "*chk", "*_cs"};
constexpr std::array simpleRules = {ChecksumRule::Kind::Xor, ChecksumRule::Kind::Sum,
                                    ChecksumRule::Kind::Crc8J1850, ChecksumRule::Kind::Crc8H2f};
constexpr std::uint64_t fewestFrames = 32; // that tell a rule

std::string hexByte(std::uint16_t value, std::size_t bytes) {
    std::string text = "0x";
    for (std::size_t digit = 2 * bytes; digit-- > 0;) {
        text += "0123456789ABCDEF"[value >> 4 * digit & 0xFU];
    }
    return text;
}

/// Whether the field is whole bytes, and which is the first; two bytes are little endian.
std::optional<std::size_t> firstByte(const baseSignalDef_t& def, std::size_t bytes) {
    const bool isAligned =
        def.bits == 8 * bytes && def.startbit % 8 == (def.endian ? 7 : 0) && (bytes == 1 || !def.endian);
    return isAligned ? std::optional<std::size_t>(def.startbit / 8) : std::nullopt;
}

class ChecksumCheck final : public AuditCheck {
  public:
    ChecksumCheck(AuditContext& context, const AuditSettings& settings) : context(context) {
        for (const ChecksumChoice& choice : settings.checksums) {
            requireMatch(context, "--checksum", choice.pattern);
        }
        for (std::size_t i = 0; i < context.catalog.signals().size(); ++i) {
            if (context.catalog.definedSignal(i) == i) {
                addField(i, settings);
            }
        }
    }

    void received(const AuditedFrame& frame) override {
        const SignalKind kind = frame.statistics.identity.kind;
        if (!frame.isKnown || fields.empty() || (kind != SignalKind::Can && kind != SignalKind::Lin)) {
            return;
        }
        State& state = stateAt(states, frame.statistics.index);
        if (!state.isResolved) {
            resolve(frame.statistics.identity, state);
        }
        for (Sum& sum : state.sums) {
            check(sum, frame);
        }
    }

    void report(std::vector<Finding>& findings) override {
        for (const FrameStatistics& each : context.survey.frames()) {
            if (each.index < states.size()) {
                for (Sum& sum : states[each.index].sums) {
                    report(each.identity, sum, findings);
                }
            }
        }
    }

  private:
    struct Field {
        std::size_t signal;
        std::size_t at; ///< its first byte
        std::vector<ChecksumRule> rules;
        bool isGuess; ///< the rules are candidates
    };

    struct Trial {
        ChecksumRule rule;
        Sightings wrong;
    };

    /// A checksum of a frame identity.
    struct Sum {
        const Field* field;
        std::vector<Trial> trials; ///< a rule each
        std::uint64_t frames = 0;
        std::uint16_t first = 0;
        bool changes = false;
    };

    struct State {
        bool isResolved = false;
        std::vector<Sum> sums;
    };

    void addField(std::size_t signal, const AuditSettings& settings) {
        const Catalog::Origin& origin = context.catalog.origin(signal);
        const bool isPlain =
            (origin.message->kind == SignalKind::Can || origin.message->kind == SignalKind::Lin) &&
            !origin.message->pduId && !origin.definition().multiplexing;
        const baseSignalDef_t& def = context.signal(signal).def;
        for (const ChecksumChoice& choice : settings.checksums) {
            if (matchesInstance(context, signal, choice.pattern)) {
                const auto at = firstByte(def, choice.rule.bytes());
                if (!isPlain || !at) {
                    throw Error("--checksum " + choice.pattern + ": " + def.instance +
                                (isPlain ? choice.rule.bytes() == 1 ? " is not one whole byte"
                                                                    : " is not two whole bytes, little endian"
                                         : " is not in every frame of a message of CAN or LIN"));
                }
                fields[origin.message].push_back({signal, *at, {choice.rule}, false});
                return;
            }
        }
        const auto at = firstByte(def, 1);
        if (isPlain && at && matchesName(context, signal, checksumNames)) {
            std::vector<ChecksumRule> rules(simpleRules.size());
            for (std::size_t i = 0; i < rules.size(); ++i) {
                rules[i].kind = simpleRules[i];
            }
            fields[origin.message].push_back({signal, *at, std::move(rules), true});
        }
    }

    void resolve(const FrameIdentity& identity, State& state) {
        state.isResolved = true;
        for (const MessageDefinition* const message : context.frames.of(identity)) {
            const auto found = fields.find(message);
            if (found != fields.end()) {
                for (const Field& field : found->second) {
                    Sum& sum = state.sums.emplace_back(Sum{&field, {}});
                    for (const ChecksumRule& rule : field.rules) {
                        sum.trials.push_back({rule, {}});
                    }
                }
            }
        }
    }

    /// CAN FD frames are longer than their message where its length is none that they can have: what follows
    /// is no part of it.
    std::span<const std::uint8_t> protectedBytes(const Field& field, const AuditedFrame& frame) const {
        const std::size_t length = context.catalog.origin(field.signal).message->length;
        const bool isPadded = frame.statistics.isFd && length != 0 && length < frame.payload.size();
        return isPadded ? frame.payload.first(length) : frame.payload;
    }

    void check(Sum& sum, const AuditedFrame& frame) const {
        const auto bytes = protectedBytes(*sum.field, frame);
        const std::size_t size = sum.trials.front().rule.bytes();
        const std::size_t at = sum.field->at;
        if (bytes.size() < size || at > bytes.size() - size) {
            return; // the rule wrong-length has it
        }
        const auto is = static_cast<std::uint16_t>(size == 1 ? bytes[at] : bytes[at] | bytes[at + 1] << 8);
        sum.first = sum.frames++ == 0 ? is : sum.first;
        sum.changes = sum.changes || is != sum.first;
        for (Trial& trial : sum.trials) {
            const std::uint16_t expected = checksumOf(trial.rule, bytes, at);
            if (is != expected) {
                trial.wrong.add(frame.timestamp, [&] {
                    return "is " + hexByte(is, size) + ", the frame gives " + hexByte(expected, size);
                });
            }
        }
    }

    void report(const FrameIdentity& identity, Sum& sum, std::vector<Finding>& findings) {
        Trial& best = *std::ranges::min_element(sum.trials, {},
                                                [](const Trial& trial) { return trial.wrong.counted(); });
        const std::uint64_t wrong = best.wrong.counted();
        const bool isRule =
            !sum.field->isGuess || (sum.frames >= fewestFrames && sum.changes && 10 * wrong <= sum.frames);
        if (!isRule || wrong == 0) {
            return;
        }
        Finding& finding = findings.emplace_back(context.about(AuditRule::Checksum, identity));
        finding.instance = context.signal(sum.field->signal).def.instance;
        finding.text = std::to_string(wrong) + " of " + std::to_string(sum.frames) + " are wrong by " +
                       std::string(checksumName(best.rule.kind)) +
                       (sum.field->isGuess ? ", which the others keep" : "");
        best.wrong.moveTo(finding);
    }

    AuditContext& context;
    std::map<const MessageDefinition*, std::vector<Field>> fields;
    std::deque<State> states; ///< by identity
};

} // namespace

std::unique_ptr<AuditCheck> makeChecksumCheck(AuditContext& context, const AuditSettings& settings) {
    return std::make_unique<ChecksumCheck>(context, settings);
}

} // namespace rksignal
