#include "audit/AuditCheck.h"

#include "text/NumberText.h"

#include <bit>

namespace rksignal {

double AuditContext::physical(std::size_t signal, std::uint64_t raw) const {
    const baseSignalDef_t& def = catalog.signals()[signal]->def;
    double number = 0;
    switch (def.type) {
    case signalValue_t::Unsigned:
        number = static_cast<double>(raw);
        break;
    case signalValue_t::Signed:
        number = static_cast<double>(static_cast<std::int64_t>(raw));
        break;
    case signalValue_t::Float:
        number = static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(raw)));
        break;
    case signalValue_t::Double:
        number = std::bit_cast<double>(raw);
        break;
    }
    return number * def.scale + def.offset;
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
