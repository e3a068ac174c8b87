// Rule constant: signals that have the same value throughout.
#include "audit/Checks.h"

namespace rksignal {
namespace {

constexpr std::uint64_t fewestValues = 10; // of which one can say so

class ConstantCheck final : public AuditCheck {
  public:
    explicit ConstantCheck(AuditContext& context) : context(context) {}

    void written(const AuditedValue& value) override {
        State& state = stateAt(states, value.signal);
        if (state.count++ == 0) {
            state.raw = value.raw;
            state.first = value.timestamp;
            state.channel = value.origin.channel;
        }
        state.changes = state.changes || value.raw != state.raw;
        state.last = value.timestamp;
    }

    void report(std::vector<Finding>& findings) override {
        for (std::size_t i = 0; i < states.size(); ++i) {
            const State& state = states[i];
            if (!state.changes && state.count >= fewestValues) {
                Finding& finding =
                    findings.emplace_back(context.about(AuditRule::Constant, i, state.channel));
                finding.text = "is always " + context.valueText(i, state.raw);
                finding.count = state.count;
                finding.first = state.first;
                finding.last = state.last;
            }
        }
    }

  private:
    struct State {
        std::uint64_t count = 0;
        std::uint64_t raw = 0; ///< the first one
        std::uint64_t first = 0;
        std::uint64_t last = 0;
        std::optional<std::uint8_t> channel;
        bool changes = false;
    };

    AuditContext& context;
    std::deque<State> states; ///< by signal
};

} // namespace

std::unique_ptr<AuditCheck> makeConstantCheck(AuditContext& context) {
    return std::make_unique<ConstantCheck>(context);
}

} // namespace rksignal
