// Rule two-channels: identifiers of CAN that come on several channels, as behind a gateway.
#include "audit/Checks.h"

#include <unordered_map>

namespace rksignal {
namespace {

class ChannelCheck final : public AuditCheck {
  public:
    explicit ChannelCheck(AuditContext& context) : context(context) {}

    void report(std::vector<Finding>& findings) override {
        std::unordered_map<std::uint64_t, const FrameStatistics*> byIdentifier;
        for (const FrameStatistics& each : context.survey.frames()) {
            if (each.identity.kind == SignalKind::Can) {
                const std::uint64_t key = std::uint64_t{each.identity.extended} << 32 | each.identity.id;
                const auto [entry, isNew] = byIdentifier.emplace(key, &each);
                if (!isNew) {
                    report(*entry->second, each, findings);
                }
            }
        }
    }

  private:
    void report(const FrameStatistics& first, const FrameStatistics& other, std::vector<Finding>& findings) {
        Finding& finding = findings.emplace_back(context.about(AuditRule::TwoChannels, other.identity));
        finding.text = "comes on channel " + std::to_string(*first.identity.channel) + ", too";
        finding.count = other.count;
        finding.first = other.first;
        finding.last = other.last;
    }

    AuditContext& context;
};

} // namespace

std::unique_ptr<AuditCheck> makeChannelCheck(AuditContext& context) {
    return std::make_unique<ChannelCheck>(context);
}

} // namespace rksignal
