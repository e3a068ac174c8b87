#include "convert/OutputFormat.h"

#include "command/FileEnding.h"
#include "convert/AscWriter.h"
#include "convert/BlfWriter.h"
#include "convert/CandumpWriter.h"
#include "convert/PcapngWriter.h"
#include "convert/RecordFileWriter.h"

#include <algorithm>
#include <iterator>

namespace rksignal {
namespace {

template <class Writer>
std::unique_ptr<TraceWriter> make(const OutputFile& file) {
    return std::make_unique<Writer>(file);
}

constexpr OutputFormat formats[] = {
    {".rktrace", make<RecordFileWriter>},
    {".log", make<CandumpWriter>},
    {".asc", make<AscWriter>},
    {".blf", make<BlfWriter>},
    {".pcapng", make<PcapngWriter>},
};

} // namespace

const OutputFormat* outputFormatOf(std::string_view path) {
    const auto* const format =
        std::find_if(std::begin(formats), std::end(formats),
                     [path](const OutputFormat& each) { return hasEnding(path, each.ending); });
    return format != std::end(formats) ? format : nullptr;
}

std::string outputEndings() {
    std::string text;
    for (const OutputFormat& format : formats) {
        const bool isLast = &format == std::end(formats) - 1;
        text.append(text.empty() ? "" : isLast ? " or " : ", ").append(format.ending);
    }
    return text;
}

} // namespace rksignal
