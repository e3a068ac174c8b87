// Frames of any content and time in columns, in batches of any size: all layouts must hold the same number of
// values.

#include "FuzzInput.h"
#include "columns/ColumnStream.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using rksignal::ColumnLayout;

const char* const definitions =
    "BO_ 1 A: 4 X\n SG_ State : 0|4@1+ (1,0) [0|0] \"\" X\n SG_ Wide : 4|12@1- (1,0) [0|0] \"\" X\n"
    "BO_ 2 B: 8 X\n SG_ Mode M : 0|2@1+ (1,0) [0|0] \"\" X\n SG_ Level m1 : 8|16@1+ (0.5,-1) [0|0] \"\" X\n"
    " SG_ Ratio m2 : 8|32@1- (1,0) [0|0] \"\" X\nBO_ 2364540158 E: 8 X\n SG_ Speed : 0|8@1+ (1,0) [0|0] \"\" "
    "X\n"
    "BA_DEF_ BO_ \"VFrameFormat\" ENUM \"StandardCAN\",\"ExtendedCAN\",\"reserved\",\"J1939PG\";\n"
    "BA_ \"VFrameFormat\" BO_ 2364540158 3;\nVAL_ 1 State 0 \"off\" 1 \"on\" 7 \"off\" ;\n"
    "VAL_ 2 Level 300 \"high\" 65000 \"never\" ;\nSIG_VALTYPE_ 2 Ratio : 1;\n";

/// A candump log of two channels, with several senders of the parameter group.
std::string logOf(FuzzInput& input) {
    std::string log;
    unsigned time = 0;
    while (!input.empty()) {
        const unsigned form = input.take<std::uint8_t>();
        time = (form & 128U) != 0 ? input.take<std::uint16_t>() : time + 1;
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(),
                      (form & 4U) != 0 ? "(0.%06u) can%u 0CF0040%X#" : "(0.%06u) can%u %03X#", time,
                      form >> 3U & 1U, form & 3U);
        log += text.data();
        for (const unsigned byte : input.takeBytes(form >> 4U & 7U)) {
            std::snprintf(text.data(), text.size(), "%02X", byte);
            log += text.data();
        }
        log += '\n';
    }
    return log;
}

/// \return the number of values
std::int64_t valuesIn(const ArrowArray& batch, ColumnLayout layout) {
    std::int64_t values = layout == ColumnLayout::Long ? batch.length : 0;
    for (std::int64_t i = 2; layout == ColumnLayout::Message && i < batch.n_children; ++i) {
        values += batch.children[i]->length - batch.children[i]->null_count;
    }
    for (std::int64_t row = 0; layout == ColumnLayout::Intervals && row < batch.length; ++row) {
        values += static_cast<const std::int64_t*>(batch.children[5]->buffers[1])[row];
    }
    return values;
}

std::int64_t valuesIn(const std::string& log, ColumnLayout layout, std::size_t batchRows, bool text) {
    rksignal::Catalog catalog;
    catalog.addDbcText(definitions, "fuzz.dbc");
    rksignal::Trace trace;
    trace.addMemory({reinterpret_cast<const std::uint8_t*>(log.data()), log.size()}, "t",
                    {.format = rksignal::TraceFormat::Candump});
    rksignal::ColumnStream stream(catalog, trace, {.layout = layout, .batchRows = batchRows, .text = text});
    std::int64_t values = 0;
    ArrowArray batch;
    while (stream.next(batch)) {
        values += valuesIn(batch, text ? ColumnLayout::Long : layout);
        batch.release(&batch);
    }
    return values;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::size_t batchRows = input.take<std::uint8_t>();
    const std::string log = logOf(input);
    const std::int64_t values = valuesIn(log, ColumnLayout::Long, batchRows, false);
    for (const ColumnLayout layout : {ColumnLayout::Message, ColumnLayout::Intervals}) {
        if (valuesIn(log, layout, batchRows, false) != values) {
            std::abort();
        }
        valuesIn(log, layout, batchRows, true); // columns of texts are only made
    }
    return 0;
}
