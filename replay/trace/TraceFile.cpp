#include "trace/TraceFile.h"

#include "trace/AscTrace.h"
#include "trace/CandumpTrace.h"
#include "trace/CaptureTrace.h"
#include "trace/NmeaTrace.h"
#include "trace/RecordTrace.h"

#include <iterator>
#include <string_view>
#include <utility>

namespace rksignal {
namespace {

using File = std::unique_ptr<InputFile>;

/// How a format is recognised, and read.
struct Format {
    std::string_view begin;  ///< of the file
    std::string_view ending; ///< of its name; empty: none tells
    std::unique_ptr<TraceSource> (*open)(File file, ChannelMap& channels);
};

std::unique_ptr<TraceSource> openCapture(File file, ChannelMap& channels) {
    return std::make_unique<CaptureTrace>(std::move(file), channels);
}

/// The last one takes what no other does.
constexpr Format formats[] = {
    {"RKTRACE", "",
     [](File file, ChannelMap&) -> std::unique_ptr<TraceSource> {
         return std::make_unique<RecordTrace>(std::move(file));
     }},
    {"\xA1\xB2\xC3\xD4", ".pcap", openCapture}, // microseconds, big endian
    {"\xD4\xC3\xB2\xA1", ".cap", openCapture},  // little endian
    {"\xA1\xB2\x3C\x4D", "", openCapture},      // nanoseconds
    {"\x4D\x3C\xB2\xA1", "", openCapture},
    {"\x0A\x0D\x0D\x0A", ".pcapng", openCapture},
    {"$", ".nmea",
     [](File file, ChannelMap&) -> std::unique_ptr<TraceSource> {
         return std::make_unique<NmeaTrace>(std::move(file));
     }},
    {"date ", ".asc",
     [](File file, ChannelMap&) -> std::unique_ptr<TraceSource> {
         return std::make_unique<AscTrace>(std::move(file));
     }},
    {"(", ".log",
     [](File file, ChannelMap& channels) -> std::unique_ptr<TraceSource> {
         return std::make_unique<CandumpTrace>(std::move(file), channels);
     }},
};

const Format& formatOf(InputFile& file) {
    constexpr std::size_t longestBegin = 8;
    const std::string_view first = file.peek(longestBegin);
    for (const Format& format : formats) {
        if (first.starts_with(format.begin)) {
            return format;
        }
    }
    for (const Format& format : formats) {
        if (!format.ending.empty() && file.path().ends_with(format.ending)) {
            return format;
        }
    }
    return *std::prev(std::end(formats));
}

} // namespace

std::unique_ptr<TraceSource> openTrace(const std::string& path, ChannelMap& channels, BeforeRead beforeRead) {
    auto file = std::make_unique<InputFile>(path, std::move(beforeRead));
    const Format& format = formatOf(*file);
    return format.open(std::move(file), channels);
}

std::unique_ptr<TraceSource> openGpsLog(const std::string& path, BeforeRead beforeRead) {
    return std::make_unique<NmeaTrace>(std::make_unique<InputFile>(path, std::move(beforeRead)));
}

} // namespace rksignal
