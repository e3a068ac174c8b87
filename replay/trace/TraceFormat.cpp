#include "trace/TraceFormat.h"

#include "file/ContentKind.h"
#include "file/Unpack.h"
#include "text/TextEncoding.h"
#include "trace/FormatDetection.h"
#include "trace/log/AscLine.h"
#include "trace/log/BusmasterLine.h"
#include "trace/log/CandumpScreen.h"
#include "trace/log/GvretLine.h"
#include "trace/log/NmeaSentence.h"
#include "trace/log/TrcLine.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t longestBegin = 8;
constexpr std::size_t longestHead = 65536; // the bytes in which the format must show

/// What a binary format begins with, at most `longestBegin` bytes.
struct Begin {
    std::string_view bytes;
    TraceFormat format;
};

constexpr Begin begins[] = {
    {"RKTRACE", TraceFormat::Records},
    {"\xA1\xB2\xC3\xD4", TraceFormat::Capture}, // microseconds, big endian
    {"\xD4\xC3\xB2\xA1", TraceFormat::Capture}, // little endian
    {"\xA1\xB2\x3C\x4D", TraceFormat::Capture}, // nanoseconds
    {"\x4D\x3C\xB2\xA1", TraceFormat::Capture},
    {"\x0A\x0D\x0D\x0A", TraceFormat::Capture}, // pcapng
    {"MDF     ", TraceFormat::Mdf},
    {"UnFinMF ", TraceFormat::Mdf},
    {"LOGG", TraceFormat::Blf},
};

bool isNmeaLine(std::string_view line) {
    NmeaSentence values;
    const std::string_view sentence = sentenceIn(line);
    return !sentence.empty() &&
           NmeaSentenceReader().read(sentence, values) != NmeaSentenceReader::Result::Damaged;
}

bool isAscLine(std::string_view line) {
    using Line = LineLog::Line;
    const Line result = AscLog().read(line);
    const bool isFrame = result == Line::Can || result == Line::Lin || result == Line::FlexRay;
    const bool isHead = line.starts_with("date ") || line.starts_with("base ");
    return isFrame || (isHead && result == Line::Nothing);
}

bool isTrcLine(std::string_view line) {
    const bool isHead = line.starts_with(";$FILEVERSION=") || line.starts_with(";$COLUMNS=");
    return TrcLog().read(line) == (isHead ? LineLog::Line::Nothing : LineLog::Line::Can); // of version 1.0
}

bool isGvretLine(std::string_view line) {
    return line.starts_with(GvretLog::header);
}

bool isBusmasterLine(std::string_view line) {
    return line.starts_with(BusmasterLog::header);
}

bool isCandumpLine(std::string_view line) {
    CandumpLine candump;
    return parseCandumpLine(line, candump) == nullptr ||
           (CandumpScreen::isLine(line) && CandumpScreen().read(line, candump) == nullptr);
}

/// A format of lines. A line that only this format has decides; failing that, what the first line begins
/// with.
struct TextFormat {
    TraceFormat format;
    bool (*isLine)(std::string_view line);
    std::string_view begin; ///< also of a damaged line
};

constexpr TextFormat texts[] = {
    {TraceFormat::Nmea, isNmeaLine, "$"},
    {TraceFormat::Asc, isAscLine, "date "},
    {TraceFormat::Candump, isCandumpLine, "("},
    {TraceFormat::Trc, isTrcLine, ";$"},
    {TraceFormat::Gvret, isGvretLine, GvretLog::header},
    {TraceFormat::Busmaster, isBusmasterLine, BusmasterLog::header},
};

/// The format of the first of `table` that `matches`.
template <class Table, class Matches>
std::optional<TraceFormat> formatOf(const Table& table, Matches&& matches) {
    const auto* const row = std::find_if(std::begin(table), std::end(table), matches);
    return row != std::end(table) ? std::optional(row->format) : std::nullopt;
}

std::optional<TraceFormat> binaryFormat(std::string_view bytes) {
    return formatOf(begins, [=](const Begin& each) { return bytes.starts_with(each.bytes); });
}

std::optional<TraceFormat> lineFormat(std::string_view line) {
    return formatOf(texts, [=](const TextFormat& each) { return each.isLine(line); });
}

std::optional<TraceFormat> damagedLineFormat(std::string_view line) {
    return formatOf(texts, [=](const TextFormat& each) { return line.starts_with(each.begin); });
}

/// The lines at the head of a text that are neither blank nor a comment (`#`), one after the other. Reads no
/// further than it needs: what a pipe has given is looked at before more is waited for.
class HeadLines {
  public:
    explicit HeadLines(InputFile& file) : file(file) {}

    /// `line` is good until the next call. The last one may be cut. \return false behind it
    bool next(std::string_view& line) {
        while (nextOfAll(line)) {
            if (!line.empty() && line.front() != '#') {
                return true;
            }
        }
        return false;
    }

  private:
    bool nextOfAll(std::string_view& line) {
        std::size_t lineEnd = file.peeked().find('\n', at);
        while (lineEnd == std::string_view::npos && file.peeked().size() < longestHead &&
               file.peekFurther()) {
            lineEnd = file.peeked().find('\n', at);
        }
        const std::string_view text = file.peeked();
        if (at >= text.size()) {
            return false;
        }
        line = text.substr(at, lineEnd - at);
        line = at == 0 ? withoutByteOrderMark(line) : line;
        at = std::min(lineEnd, text.size()) + 1;
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        return true;
    }

    InputFile& file;
    std::size_t at = 0; ///< where the next line starts
};

std::optional<TraceFormat> detectBinary(InputFile& file) {
    while (file.peeked().size() < longestBegin && file.peeked().find('\n', 1) == std::string_view::npos &&
           file.peekFurther()) {
    }
    return binaryFormat(file.peeked());
}

} // namespace

const char* formatName(TraceFormat format) {
    constexpr const char* names[] = {
        "a record file", "a capture", "the log of a GPS receiver", "an ASC log",      "a candump log",
        "an MF4 file",   "a TRC log", "a CSV log of GVRET",        "a BUSMASTER log", "a BLF file"};
    return names[static_cast<std::size_t>(format)];
}

std::optional<TraceFormat> detectFormat(InputFile& file) {
    if (const auto format = detectBinary(file)) {
        return format;
    }
    const std::string_view kind = contentKind(file.peeked());
    if (!file.peeked().empty() && kind != plainText && kind != unknownData) {
        return std::nullopt;
    }
    HeadLines lines(file);
    std::string_view line;
    if (!lines.next(line)) {
        return TraceFormat::Candump;
    }
    const auto first = damagedLineFormat(line);
    do {
        if (const auto format = lineFormat(line)) {
            return format;
        }
    } while (lines.next(line));
    return first;
}

std::optional<TraceFormat> detectTrace(const std::string& path) {
    auto packed = std::make_unique<InputFile>(path);
    if (packed->size() == 0) {
        return std::nullopt;
    }
    const auto file = uncompressed(std::move(packed));
    if (const auto format = detectBinary(*file)) {
        return format;
    }
    HeadLines lines(*file);
    std::string_view line;
    return lines.next(line) ? lineFormat(line) : std::nullopt;
}

} // namespace rksignal
