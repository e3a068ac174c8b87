// Rules of checksums, and frames of any content and time, audited against definitions that all rules look at.

#include "FuzzInput.h"
#include "audit/Audit.h"

#include <cstdint>
#include <string>

namespace {

const char* const definitions =
    "BO_ 1 A: 4 X\n SG_ Counter : 0|4@1+ (1,0) [0|0] \"\" X\n SG_ State : 4|4@1+ (1,0) [0|0] \"\" X\n"
    " SG_ Level : 15|8@0+ (0.5,-10) [-5|100] \"l\" X\n SG_ Crc : 24|8@1+ (1,0) [0|0] \"\" X\n"
    "BO_ 2 B: 8 X\n SG_ Crc : 48|16@1+ (1,0) [0|0] \"\" X\nBO_ 2147483651 C: 12 X\n"
    "VAL_ 1 State 0 \"off\" 1 \"on\" 2 \"broken\" ;\n"
    "BA_DEF_ BO_ \"GenMsgCycleTime\" INT 0 65535;\nBA_ \"GenMsgCycleTime\" BO_ 2 10;\n";

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const auto text = input.takeBytes(input.take<std::uint8_t>() % 48);
    rksignal::AuditSettings settings;
    if (const auto rule =
            rksignal::parseChecksumRule({reinterpret_cast<const char*>(text.data()), text.size()})) {
        settings.checksums = {{rule->bytes() == 1 ? "A.Crc" : "B.Crc", *rule}};
    }
    rksignal::Catalog catalog;
    catalog.addDbcText(definitions, "fuzz.dbc");
    rksignal::Audit audit(catalog, settings);
    CANExtTraceMessage frame;
    while (!input.empty()) {
        const auto form = input.take<std::uint8_t>();
        frame.canId = form & 3U;
        frame.frameFormat = form >> 2U & 3U;
        frame.channel = form >> 4U & 1U;
        frame.length = input.take<std::uint8_t>();
        frame.timestamp = (form & 0x80U) != 0 ? input.take<std::uint64_t>() : frame.timestamp + 10'000'000;
        const auto bytes = input.takeBytes(frame.length % 9U);
        std::copy(bytes.begin(), bytes.end(), frame.payload.begin());
        audit.receive(frame);
    }
    for (const rksignal::Finding& finding : audit.findings()) {
        if (finding.occurrences.size() > 10) {
            __builtin_trap();
        }
    }
    return 0;
}
