#include "trace/Trace.h"

#include "file/ContentKind.h"
#include "file/LinePart.h"
#include "file/Unpack.h"
#include "trace/FormatDetection.h"
#include "trace/RecordTrace.h"
#include "trace/TraceMerge.h"
#include "trace/blf/BlfTrace.h"
#include "trace/capture/CaptureTrace.h"
#include "trace/log/AscLine.h"
#include "trace/log/BusmasterLine.h"
#include "trace/log/CandumpTrace.h"
#include "trace/log/GvretLine.h"
#include "trace/log/LineLogTrace.h"
#include "trace/log/NmeaTrace.h"
#include "trace/log/TrcLine.h"
#include "trace/mdf/MdfTrace.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

using File = std::unique_ptr<InputFile>;

template <class Log>
std::unique_ptr<TraceSource> openLog(File file) {
    return std::make_unique<LineLogTrace>(std::move(file), std::make_unique<Log>());
}

std::unique_ptr<TraceSource> openSource(File file, TraceFormat format, ChannelMap& channels) {
    switch (format) {
    case TraceFormat::Records:
        return std::make_unique<RecordTrace>(std::move(file));
    case TraceFormat::Capture:
        return std::make_unique<CaptureTrace>(std::move(file), channels);
    case TraceFormat::Nmea:
        return std::make_unique<NmeaTrace>(std::move(file));
    case TraceFormat::Asc:
        return openLog<AscLog>(std::move(file));
    case TraceFormat::Blf:
        return std::make_unique<BlfTrace>(std::move(file));
    case TraceFormat::Mdf:
        return std::make_unique<MdfTrace>(std::move(file));
    case TraceFormat::Candump:
        break;
    case TraceFormat::Trc:
        return openLog<TrcLog>(std::move(file));
    case TraceFormat::Gvret:
        return openLog<GvretLog>(std::move(file));
    case TraceFormat::Busmaster:
        return openLog<BusmasterLog>(std::move(file));
    }
    return std::make_unique<CandumpTrace>(std::move(file), channels);
}

/// Whether each line of it can be read without those before.
bool isDivisibleLog(const InputFile& file, TraceFormat format, const ChannelMap& channels) {
    return format == TraceFormat::Candump && file.canReadAt() &&
           CandumpTrace::isDivisible(file.peeked(), channels);
}

/// \throws Error
std::unique_ptr<TraceSource> openPart(File file, const TracePart& part, ChannelMap& channels) {
    const std::string name = file->path();
    ReadControl* const control = file->readControl();
    auto lines = std::make_unique<LinePart>(std::move(file), part.from, part.to);
    const std::uint64_t begin = lines->begin();
    auto source = std::make_unique<CandumpTrace>(std::make_unique<InputFile>(std::move(lines), name, control),
                                                 channels);
    source->isPartFrom(begin);
    return source;
}

/// The text of an error without the file that it names.
std::string withoutName(std::string_view text, const std::string& name) {
    text.remove_prefix(text.starts_with(name) ? name.size() : 0);
    text.remove_prefix(std::min(text.find_first_not_of(": "), text.size()));
    return std::string(text);
}

/// What there was instead of traces.
std::string firstOf(const std::vector<Remark>& others) {
    const std::string more = others.size() > 1 ? ", and " + std::to_string(others.size() - 1) + " more" : "";
    return others.empty() ? "" : ": " + others.front().place + " " + others.front().text + more;
}

} // namespace

struct Trace::State {
    /// Adds a file, or all traces in an archive. \return the number of the first
    std::size_t add(File file, const TraceSettings& settings) {
        const std::string name = file->path();
        try {
            Unpacked unpacked = unpack(std::move(file));
            return unpacked.isArchive ? addMembers(std::move(unpacked), name, settings)
                                      : addTrace(std::move(unpacked.files.front()), settings);
        } catch (const ReadingStopped&) { // while it waited for the first bytes
            auto empty = std::make_unique<InputFile>(std::span<const std::uint8_t>(), name, &control);
            return add(openSource(std::move(empty), TraceFormat::Candump, channels), TraceFormat::Candump, 0,
                       false);
        }
    }

    /// \throws Error if it is of no known format
    std::size_t addTrace(File file, const TraceSettings& settings) {
        const auto format = settings.format ? settings.format : detectFormat(*file);
        if (!format) {
            throw Error(file->path() + " is " + std::string(contentKind(file->peeked())) + ", not a trace");
        }
        const bool isDivisible = isDivisibleLog(*file, *format, channels);
        if (settings.part && !isDivisible) {
            throw Error(file->path() + " cannot be read in parts, as uncompressed logs of candump can");
        }
        if (settings.part) {
            return add(openPart(std::move(file), *settings.part, channels), *format, settings.shift, true);
        }
        return add(openSource(std::move(file), *format, channels), *format, settings.shift, isDivisible);
    }

    /// What is no trace is passed over. \throws Error if nothing is one
    std::size_t addMembers(Unpacked archive, const std::string& name, const TraceSettings& settings) {
        const std::size_t first = formats.size();
        std::vector<Remark> others;
        for (File& file : archive.files) {
            const std::string member = file->path();
            try {
                addTrace(std::move(file), settings);
            } catch (const Error& error) {
                others.push_back({member, Severity::Note, withoutName(error.what(), member)});
            }
        }
        if (formats.size() == first) {
            throw Error(name + " holds no trace" + (archive.damage.empty() ? "" : ": " + archive.damage) +
                        firstOf(others));
        }
        for (Remark& remark : others) {
            traces[first].remark(std::move(remark));
        }
        if (!archive.damage.empty()) {
            traces[first].remark({name, Severity::Error, archive.damage});
        }
        return first;
    }

    std::size_t add(std::unique_ptr<TraceSource> source, TraceFormat format, std::int64_t shift,
                    bool isDivisible) {
        traces.add(std::move(source), shift);
        formats.push_back(format);
        divisible.push_back(isDivisible);
        return formats.size() - 1;
    }

    /// \return whether there is a message
    bool next() { return std::exchange(isAhead, false) || advance(); }

    bool advance() {
        try {
            while (!isDone && !control.isStopped() && traces.next()) {
                isStarted = isStarted || start();
                if (!bounds || isInWindow()) {
                    return true;
                }
                if (left.endedEarly) {
                    break;
                }
            }
        } catch (const ReadingStopped&) { // as at the end
        }
        traces.conclude();
        return false;
    }

    /// The first message has been read. \return true
    bool start() {
        left.first = traces.timestamp();
        if (!window.isOpen()) {
            bounds.emplace(window, left.first);
        }
        return true;
    }

    bool isInWindow() {
        const std::uint64_t time = traces.timestamp();
        left.last = std::max(left.last, time);
        hasBegun = hasBegun || !bounds->isBefore(time);
        if (bounds->holds(time)) {
            return true;
        }
        ++left.outside;
        left.endedEarly = hasBegun && bounds->isPassed(traces.turn());
        return false;
    }

    ReadControl control; // outlives the traces
    ChannelMap channels;
    TraceMerge traces;
    std::vector<TraceFormat> formats; ///< by trace
    std::vector<bool> divisible;      ///< as formats
    TimeWindow window;
    std::optional<TimeBounds> bounds; ///< of the window, once something has been read
    WindowReport left;
    bool isStarted = false;
    bool hasBegun = false; ///< a message has come that is not behind the window
    bool isAhead = false;  ///< the next message has been read already
    bool isDone = false;   ///< all has been read in blocks
};

Trace::Trace() : state(std::make_unique<State>()) {}
Trace::~Trace() = default;
Trace::Trace(Trace&&) noexcept = default;
Trace& Trace::operator=(Trace&&) noexcept = default;

std::size_t Trace::addFile(const std::string& path, const TraceSettings& settings) {
    return state->add(std::make_unique<InputFile>(path, &state->control), settings);
}

std::size_t Trace::addDescriptor(int descriptor, const std::string& name, const TraceSettings& settings) {
    return state->add(std::make_unique<InputFile>(descriptor, name, &state->control), settings);
}

std::size_t Trace::addMemory(std::span<const std::uint8_t> bytes, const std::string& name,
                             const TraceSettings& settings) {
    return state->add(std::make_unique<InputFile>(bytes, name, &state->control), settings);
}

ChannelMap& Trace::channels() {
    return state->channels;
}

const ChannelMap& Trace::channels() const {
    return state->channels;
}

void Trace::setWindow(const TimeWindow& window) {
    state->window = window;
}

const WindowReport& Trace::windowReport() const {
    return state->left;
}

std::optional<std::uint64_t> Trace::start() {
    if (!state->isStarted) {
        state->isAhead = state->advance();
    }
    return state->isStarted ? std::optional(state->left.first) : std::nullopt;
}

bool Trace::next() {
    return state->next();
}

std::uint64_t Trace::timestamp() const {
    return state->traces.timestamp();
}

std::size_t Trace::source() const {
    return state->traces.source();
}

void Trace::deliver(MessageSink& sink) {
    state->traces.deliver(sink);
}

void Trace::deliver(MessageSink& sink, std::uint64_t timestamp) {
    state->traces.deliver(sink, timestamp);
}

void Trace::run(MessageSink& sink) {
    State& all = *state;
    while (!sink.closed() && all.next()) {
        all.traces.deliver(sink);
        if (!all.bounds) {
            all.traces.handOverAhead(sink);
        }
    }
}

void Trace::stop() noexcept {
    state->control.stop();
}

/// The only trace, if it is a log that can be read in blocks, of which nothing is left out; else null.
CandumpTrace* Trace::dividedLog(std::int64_t& shift) const {
    if (count() != 1 || !isDivisible(0) || !state->window.isOpen()) {
        return nullptr;
    }
    auto& log = static_cast<CandumpTrace&>(state->traces[0]);
    shift = state->traces.shift(0);
    return log.file().canReadAt() ? &log : nullptr;
}

/// What follows is read before it is used, until endAhead().
void Trace::beginAhead() {
    state->traces.holdReports();
}

/// Called, by the thread that reads, before it waits for a pipe that has nothing to give.
void Trace::beforeWait(std::function<void()> action) {
    state->control.beforeWait = std::move(action);
}

/// Of the message, if it is a record; else 0.
std::uint64_t Trace::recordNumber() const {
    return state->traces[source()].recordNumber();
}

void Trace::countRefused(std::size_t trace, std::uint64_t record) {
    state->traces[trace].countRefused(record);
}

/// All that is wanted has been read, and used. There are no further messages.
void Trace::endAhead() {
    state->isAhead = false;
    state->isDone = true;
    state->traces.releaseReports();
}

bool Trace::isStopped() const {
    return state->control.isStopped();
}

void Trace::onProgress(std::function<void()> progress) {
    state->control.beforeRead = std::move(progress);
}

std::uint64_t Trace::position() const {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < count(); ++i) {
        sum += state->traces[i].position();
    }
    return sum;
}

std::uint64_t Trace::size() const {
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < count(); ++i) {
        const std::uint64_t size = state->traces[i].size();
        if (size == 0) {
            return 0;
        }
        total += size;
    }
    return total;
}

std::size_t Trace::count() const {
    return state->formats.size();
}

const std::string& Trace::name(std::size_t trace) const {
    return state->traces[trace].path();
}

TraceFormat Trace::format(std::size_t trace) const {
    return state->formats[trace];
}

bool Trace::isDivisible(std::size_t trace) const {
    return state->divisible[trace];
}

const TraceReport& Trace::report(std::size_t trace) const {
    return state->traces[trace].report();
}

bool Trace::isSound() const {
    for (std::size_t i = 0; i < count(); ++i) {
        if (!report(i).isSound()) {
            return false;
        }
    }
    return true;
}

} // namespace rksignal
