#include "audit/AuditCheck.h"

#include "definition/RawNumber.h"
#include "text/NumberText.h"

namespace rksignal {

double AuditContext::physical(std::size_t signal, std::uint64_t raw) const {
    const baseSignalDef_t& def = catalog.signals()[signal]->def;
    return numberOfRaw(def.type, raw) * def.scale + def.offset;
}

std::string AuditContext::valueText(std::size_t signal, std::uint64_t raw) const {
    const baseSignalDef_t& def = catalog.signals()[signal]->def;
    const auto text = def.valueDescriptions.find(raw);
    return doubleText(physical(signal, raw)) + (def.unit.empty() ? "" : ' ' + def.unit) +
           (text == def.valueDescriptions.end() ? "" : " (" + text->second + ')');
}

Finding AuditContext::about(AuditRule rule, const FrameIdentity& identity) {
    Finding finding;
    finding.rule = rule;
    finding.severity = infoOf(rule).severity;
    finding.kind = identity.kind;
    finding.channel = identity.channel;
    finding.identifier = identityText(identity);
    finding.message = frames.namesOf(identity);
    return finding;
}

Finding AuditContext::about(AuditRule rule, std::size_t signal, std::optional<std::uint8_t> channel) const {
    const MessageDefinition& message = *catalog.origin(signal).message;
    Finding finding;
    finding.rule = rule;
    finding.severity = infoOf(rule).severity;
    finding.kind = message.kind;
    finding.channel = channel;
    if (message.kind == SignalKind::Can || message.kind == SignalKind::Lin ||
        message.kind == SignalKind::FlexRay) {
        finding.identifier = identityText({message.kind, message.extended, channel, message.id, {}});
    }
    finding.message = message.name;
    finding.instance = catalog.signals()[signal]->def.instance;
    return finding;
}

} // namespace rksignal
