#include "trace/Trace.h"

#include "trace/AscLine.h"
#include "trace/BusmasterLine.h"
#include "trace/CandumpTrace.h"
#include "trace/CaptureTrace.h"
#include "trace/FormatDetection.h"
#include "trace/GvretLine.h"
#include "trace/LineLogTrace.h"
#include "trace/MdfTrace.h"
#include "trace/NmeaTrace.h"
#include "trace/RecordTrace.h"
#include "trace/TraceMerge.h"
#include "trace/TrcLine.h"

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

} // namespace

struct Trace::State {
    std::size_t add(File file, const TraceSettings& settings) {
        const std::string name = file->path();
        try {
            const TraceFormat format = settings.format ? *settings.format : detectFormat(*file);
            return add(openSource(std::move(file), format, channels), format, settings.shift);
        } catch (const ReadingStopped&) { // while it waited for the first bytes
            auto empty = std::make_unique<InputFile>(std::span<const std::uint8_t>(), name, &control);
            return add(openSource(std::move(empty), TraceFormat::Candump, channels), TraceFormat::Candump, 0);
        }
    }

    std::size_t add(std::unique_ptr<TraceSource> source, TraceFormat format, std::int64_t shift) {
        traces.add(std::move(source), shift);
        formats.push_back(format);
        return formats.size() - 1;
    }

    /// \return whether there is a message
    bool next() {
        try {
            if (!control.isStopped()) {
                return traces.next();
            }
        } catch (const ReadingStopped&) { // as at the end
        }
        traces.conclude();
        return false;
    }

    ReadControl control; // outlives the traces
    ChannelMap channels;
    TraceMerge traces;
    std::vector<TraceFormat> formats; ///< by trace
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

void Trace::run(MessageSink& sink) {
    State& all = *state;
    while (!sink.closed() && all.next()) {
        all.traces.deliver(sink);
    }
}

void Trace::stop() noexcept {
    state->control.stop();
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
