#include "explain/SignalReport.h"

#include "definition/RawNumber.h"
#include "explain/FrameField.h"
#include "output/DefinitionWords.h"
#include "output/TextTable.h"
#include "text/PrintableText.h"

#include <sstream>
#include <string>
#include <vector>

namespace rksignal {
namespace {

std::string hexText(std::uint64_t raw) {
    std::ostringstream text;
    text << "0x" << std::hex << std::uppercase << raw;
    return text.str();
}

std::string line(const std::string& head, const std::string& text) {
    constexpr std::size_t width = 10;
    return text.empty() ? "" : "  " + head + std::string(width - head.size(), ' ') + printable(text) + "\n";
}

std::string withUnit(const std::string& number, const std::string& unit) {
    return unit.empty() ? number : number + " " + unit;
}

/// The number that the raw bits stand for, before it is scaled.
std::string rawNumber(std::uint64_t raw, signalValue_t type) {
    const bool isWhole = type == signalValue_t::Unsigned || type == signalValue_t::Signed;
    return isWhole ? rawText(raw, type) : doubleText(numberOfRaw(type, raw));
}

/// `7867 * 0.25 + 0 = 1966.75 rpm`
std::string scalingText(const baseSignalDef_t& signal, const SeenValue& seen) {
    const std::string offset =
        signal.offset < 0 ? " - " + doubleText(-signal.offset) : " + " + doubleText(signal.offset);
    return rawNumber(seen.raw, signal.type) + " * " + doubleText(signal.scale) + offset + " = " +
           withUnit(doubleText(seen.value), signal.unit);
}

void writeValues(const SignalWatch& watch, BaseSignal& signal, const TimeFormat& times, OutputBuffer& out) {
    TextTable table(
        {{"  time"}, {"channel", true}, {"raw", true}, {"value", true}, {"unit"}, {"text"}, {"bytes"}});
    for (const SeenValue& seen : watch.values()) {
        const auto& channel = seen.frame.origin.channel;
        table.add({"  " + timeText(seen.frame.timestamp, times), channel ? std::to_string(*channel) : "",
                   rawText(seen.raw, signal.def.type), doubleText(seen.value), printable(signal.def.unit),
                   printable(signal.getValueDescription(seen.raw)), bytesText(seen.frame.bytes)});
    }
    table.write(out);
}

void writeHeadline(const std::string& instance, const std::string& text, OutputBuffer& out) {
    out.append(printable(instance) + ": " + printable(text) + "\n");
}

std::string valueOf(BaseSignal& signal) {
    double value = 0;
    unsigned long timestamp = 0;
    signal.read(value, timestamp);
    return withUnit(doubleText(value), signal.def.unit);
}

/// About this place, and not about the file as a whole.
void writeRemarks(const Catalog& catalog, const std::string& place, OutputBuffer& out) {
    for (const Remark& remark : catalog.remarks()) {
        if (remark.place == place) {
            out.append(line(severityName(remark.severity), remark.message()));
        }
    }
}

/// The definition in words: frame, field, range, texts, comment; then what was remarked about it.
void writeDefinition(const Catalog& catalog, const MessageDefinition& message, const SignalDefinition& signal,
                     OutputBuffer& out) {
    const baseSignalDef_t& common = signal.common();
    const std::string words = messageText(message);
    const std::string named = message.name + (words.empty() || message.name.empty() ? "" : ", ") + words;
    out.append(line("defined", signal.place) + line("message", named) +
               line("frame", frameKey(message, signal)));
    if (message.kind <= SignalKind::Ethernet) {
        out.append(line("field", fieldText(signal)));
    }
    out.append(line("present", signal.multiplexing ? "while " + branchText(message, signal) : ""));
    if (signal.minimum != signal.maximum) {
        out.append(line("range", doubleText(signal.minimum) + " to " +
                                     withUnit(doubleText(signal.maximum), common.unit)));
    }
    out.append(line("texts", valueTexts(common)) + line("comment", common.comment));
    writeRemarks(catalog, message.place, out);
    if (signal.place != message.place) {
        writeRemarks(catalog, signal.place, out);
    }
}

/// How the last value came about: the payload with the bits of the signal marked, raw value, scaling, text;
/// then the last values with their frames. REQUIRES: there was a value.
void writeValue(const ReplayResult& result, std::size_t signal, const SignalWatch& watch,
                const TimeFormat& times, OutputBuffer& out) {
    const Catalog::Origin& origin = result.catalog.origin(signal);
    BaseSignal& built = *result.catalog.signals()[signal];
    const SeenValue& last = watch.values().back();
    const auto& channel = last.frame.origin.channel;
    out.append("\nlast value at " + timeText(last.frame.timestamp, times) +
               (channel ? ", on " + result.channels.nameOf(*channel) : "") + "\n");
    if (const auto field = fieldIn(last.frame, *origin.message, origin.definition())) {
        out.append(field->offset > 0 ? "  from byte " + std::to_string(field->offset) + " of the frame on\n"
                                     : "");
        out.append(fieldTable(*field, TerminalStyle::of(out.fileDescriptor())));
        out.append(line("bits", field->digits() + ", the most significant first"));
    }
    const std::string raw = rawText(last.raw, built.def.type);
    const bool isInteger =
        built.def.type == signalValue_t::Unsigned || built.def.type == signalValue_t::Signed;
    out.append(line("raw", isInteger ? raw + " = " + hexText(last.raw & built.d_maksBits) : raw) +
               line("value", scalingText(built.def, last)) +
               line("text", built.getValueDescription(last.raw)));
    out.append("\nlast " + std::to_string(watch.values().size()) + " of " +
               std::to_string(watch.valueCount()) + " values\n");
    writeValues(watch, built, times, out);
}

} // namespace

bool writeExplanation(const ReplayResult& result, std::size_t signal, const SignalWatch& watch,
                      const TimeFormat& times, OutputBuffer& out) {
    const Catalog::Origin& origin = result.catalog.origin(signal);
    BaseSignal& built = *result.catalog.signals()[signal];
    const Reception reception = result.catalog.receptionOf(built);
    const bool hasValue = !watch.values().empty() && reception != Reception::Withdrawn;
    writeHeadline(built.def.instance,
                  hasValue ? valueOf(built) : std::string("no value, ") + receptionText(reception), out);
    const std::vector<std::string> reasons = reasonsForNoValue(result, signal, watch);
    if (hasValue && !reasons.empty()) {
        out.append(std::string("  not in the last frame of its message: ") + receptionText(reception) + "\n");
    }
    for (const std::string& reason : reasons) {
        out.append("  " + printable(reason) + "\n");
    }
    writeDefinition(result.catalog, *origin.message, origin.definition(), out);
    if (!watch.values().empty()) {
        writeValue(result, signal, watch, times, out);
    }
    return hasValue;
}

bool writeDropped(const Catalog& catalog, const std::string& instance, OutputBuffer& out) {
    for (const MessageDefinition& message : catalog.messages()) {
        for (const SignalDefinition& signal : message.signals) {
            if (signal.common().instance == instance) {
                writeHeadline(instance, "no value, the definition is not used", out);
                writeDefinition(catalog, message, signal, out);
                return true;
            }
        }
    }
    return false;
}

} // namespace rksignal
