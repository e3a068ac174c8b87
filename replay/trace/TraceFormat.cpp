#include "trace/TraceFormat.h"

#include "trace/BusmasterLine.h"
#include "trace/CandumpLine.h"
#include "trace/FormatDetection.h"
#include "trace/GvretLine.h"
#include "trace/LineLogTrace.h"
#include "trace/NmeaSentence.h"

#include <algorithm>
#include <string_view>

namespace rksignal {
namespace {

constexpr std::size_t longestBegin = 24;
constexpr std::size_t longestComment = 65536; // all of them together

/// What a format begins with. Those of texts stand at the start of a line.
struct Begin {
    std::string_view bytes;
    TraceFormat format;
    bool isBinary = true;
};

constexpr Begin begins[] = {
    {"RKTRACE", TraceFormat::Records},
    {"\xA1\xB2\xC3\xD4", TraceFormat::Capture}, // microseconds, big endian
    {"\xD4\xC3\xB2\xA1", TraceFormat::Capture}, // little endian
    {"\xA1\xB2\x3C\x4D", TraceFormat::Capture}, // nanoseconds
    {"\x4D\x3C\xB2\xA1", TraceFormat::Capture},
    {"\x0A\x0D\x0D\x0A", TraceFormat::Capture}, // pcapng
    {"$", TraceFormat::Nmea, false},
    {"date ", TraceFormat::Asc, false},
    {"(", TraceFormat::Candump, false},
    {";$FILEVERSION=", TraceFormat::Trc, false},
    {";########", TraceFormat::Trc, false}, // version 1.0
    {GvretLog::header, TraceFormat::Gvret, false},
    {BusmasterLog::header, TraceFormat::Busmaster, false},
};

struct Ending {
    std::string_view text;
    TraceFormat format;
};

constexpr Ending endings[] = {{".pcap", TraceFormat::Capture},   {".cap", TraceFormat::Capture},
                              {".pcapng", TraceFormat::Capture}, {".nmea", TraceFormat::Nmea},
                              {".asc", TraceFormat::Asc},        {".trc", TraceFormat::Trc}};

const Begin* beginOf(std::string_view bytes, bool isFirstLine) {
    const auto* const begin = std::find_if(std::begin(begins), std::end(begins), [=](const Begin& each) {
        return (isFirstLine || !each.isBinary) && bytes.starts_with(each.bytes);
    });
    return begin != std::end(begins) ? begin : nullptr;
}

/// Where the first line starts that is neither blank nor a comment; nothing if more must be read.
std::optional<std::size_t> contentStart(std::string_view text) {
    std::size_t start = 0;
    while (start < text.size() && (text[start] == '#' || text[start] == '\r' || text[start] == '\n')) {
        const std::size_t lineEnd = text.find('\n', start);
        if (lineEnd == text.npos) {
            return std::nullopt;
        }
        start = lineEnd + 1;
    }
    return start < text.size() ? std::optional(start) : std::nullopt;
}

/// By the content alone. \return null if it says nothing
const Begin* detectBegin(InputFile& file) {
    do {
        const std::string_view text = file.peeked();
        const auto start = beginOf(text, true) != nullptr ? std::size_t{0} : contentStart(text);
        if (start && (text.size() - *start >= longestBegin || text.find('\n', *start) != text.npos)) {
            return beginOf(text.substr(*start), *start == 0);
        }
    } while (file.peeked().size() < longestComment && file.peekFurther());
    return beginOf(file.peeked().substr(contentStart(file.peeked()).value_or(0)), true);
}

/// Whether the first line of a text is one of the format.
bool isLineOf(TraceFormat format, std::string_view line) {
    if (format == TraceFormat::Nmea) {
        NmeaSentence sentence;
        return !line.empty() &&
               NmeaSentenceReader().read(line, sentence) != NmeaSentenceReader::Result::Damaged;
    }
    if (const auto log = makeLineLog(format)) {
        return log->read(line) != LineLog::Line::Malformed;
    }
    CandumpLine candump;
    return parseCandumpLine(line, candump) == nullptr;
}

} // namespace

const char* formatName(TraceFormat format) {
    constexpr const char* names[] = {"a record file",      "a capture",      "the log of a GPS receiver",
                                     "an ASC log",         "a candump log",  "a TRC log",
                                     "a CSV log of GVRET", "a BUSMASTER log"};
    return names[static_cast<std::size_t>(format)];
}

TraceFormat detectFormat(InputFile& file) {
    if (const Begin* const begin = detectBegin(file)) {
        return begin->format;
    }
    const auto* const ending = std::find_if(std::begin(endings), std::end(endings), [&](const Ending& each) {
        return file.path().ends_with(each.text);
    });
    return ending != std::end(endings) ? ending->format : TraceFormat::Candump;
}

std::optional<TraceFormat> detectTrace(const std::string& path) {
    InputFile file(path);
    const Begin* const begin = file.size() > 0 ? detectBegin(file) : nullptr;
    if (begin == nullptr) {
        return std::nullopt;
    }
    constexpr std::size_t longestLine = 8192;
    while (!begin->isBinary && file.peeked().size() < longestComment + longestLine && file.peekFurther()) {
    }
    std::string_view line = file.peeked().substr(contentStart(file.peeked()).value_or(0));
    line = line.substr(0, line.find_first_of("\r\n"));
    return begin->isBinary || isLineOf(begin->format, line) ? std::optional(begin->format) : std::nullopt;
}

} // namespace rksignal
