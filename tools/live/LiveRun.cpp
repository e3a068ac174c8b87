#include "live/LiveRun.h"

#include "command/SecondsArgument.h"
#include "command/UsageError.h"
#include "live/ByteCount.h"
#include "live/LiveSignals.h"
#include "live/SegmentOptions.h"
#include "live/ValueTransfer.h"
#include "rkutil/LogUtil.h"
#include "text/NumberText.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <exception>
#include <fcntl.h>
#include <ostream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace rksignal {
namespace {

constexpr std::uint64_t second = 1'000'000'000;
constexpr std::uint64_t tickInterval = 20'000'000;

/// Messages are on their way for so long: time passes by so much later than the clock says, lest a window
/// ends before its last messages.
constexpr std::uint64_t transit = 50'000'000;

std::uint64_t wallClock() {
    return static_cast<std::uint64_t>(
        std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count());
}

/// Keeps the loop going while every interface is broken.
class StandBy final : public LiveSource {
  public:
    StandBy() : LiveSource("stand-by") {}
    void read(MessageSink& /*sink*/) override {}
    std::optional<std::uint64_t> due() const override { return monotonicTime() + second; }
};

} // namespace

LiveRun::LiveRun(const LiveOptions& options, const Console& console)
    : options(options), console(console), log(console.messages),
      sources(options, loop, log), times{options.time.style, wallClock()}, clock{wallClock(),
                                                                                 monotonicTime()} {
    BaseSignal::detachOnly = true;
    BaseSignal::segmentAccess = segmentAccess(options);
    LogUtil::setReceiver([this](LogLevel level, std::string_view text) {
        if (level == LogLevel::Error) {
            log.say(text);
        }
    });
}

LiveRun::~LiveRun() {
    reload.reset(); // waits for it
    BaseSignal::detachOnly = !options.removeAtEnd;
    session.reset();
    BaseSignal::detachOnly = false;
    LogUtil::setReceiver(nullptr);
    if (outputDescriptor >= 0) {
        close(outputDescriptor);
    }
}

int LiveRun::run() {
    LiveSources::assignChannels(options, assigned);
    std::ostringstream remarks;
    try {
        session = load(remarks);
    } catch (...) {
        log.write(remarks.str());
        throw;
    }
    log.write(remarks.str());
    definitionsAreSound = !session->hasErrors();
    sayWhatIsPrivate();
    openOutput();
    session->attach(rows ? &*rows : nullptr, *out);
    sources.open(session->signals(), session->channels());
    openRecord();
    intake.handTo(*session);
    session->begin(clock.time);
    const LiveSignals signals(loop);
    schedule();
    manager.ready();
    loop.run(intake);
    finish();
    return status();
}

std::unique_ptr<LiveSession> LiveRun::load(std::ostream& remarks) {
    return std::make_unique<LiveSession>(options, assigned, times, log, remarks);
}

/// Rows are appended to a file, so that they can be watched, and outlive a restart.
void LiveRun::openOutput() {
    bool isNew = true;
    if (!options.output.empty()) {
        outputDescriptor =
            open(options.output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0666);
        struct stat file {};
        if (outputDescriptor < 0 || fstat(outputDescriptor, &file) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot write " + options.output);
        }
        if (const std::string* const input = session->files().find(file)) {
            throw UsageError("the output would be written into " + *input + ", which is read");
        }
        isNew = file.st_size == 0;
    }
    out.emplace(outputDescriptor >= 0 ? outputDescriptor : console.output,
                options.output.empty() ? "standard output" : options.output);
    const bool hasConditions = !options.conditions.when.empty() || !options.conditions.files.empty();
    if (hasConditions && !options.explain) {
        rows.emplace(options.syntax != nullptr ? *options.syntax : csvSyntax, *out, times, isNew);
    }
}

void LiveRun::openRecord() {
    if (options.record.empty()) {
        return;
    }
    RotationSettings rotation{options.record};
    rotation.bytes = options.rotateSize.empty() ? 0 : parseByteCount("--rotate-size", options.rotateSize);
    rotation.duration = options.rotateTime.empty() ? 0 : parseSeconds("--rotate-time", options.rotateTime);
    rotation.filesToKeep = options.keep;
    records = std::make_unique<RecordFiles>(rotation, [this](const std::string& text) { log.say(text); });
    intake.handTo(records.get());
}

void LiveRun::sayWhatIsPrivate() {
    std::size_t count = 0;
    for (const auto& signal : session->signals().signals()) {
        count += options.shared && signal->shmId < 0 ? 1 : 0;
    }
    if (count > 0) {
        log.say("signals without shared memory, which no other process sees: " + std::to_string(count));
        definitionsAreSound = false;
    }
}

void LiveRun::schedule() {
    loop.onBroken(
        [this](const LiveSource& source, const SourceError& error) { sources.noteBroken(source, error); });
    if (sources.reopensSome()) {
        loop.add(std::make_unique<StandBy>());
    }
    loop.every(tickInterval, [this] { tick(); });
    loop.every(second, [this] { sources.check(); });
    if (manager.watchdog() > 0) {
        loop.every(manager.watchdog() / 2, [this] { manager.keepAlive(); });
    }
    if (!options.statistics.empty()) {
        const std::uint64_t interval = parseSeconds("--statistics", options.statistics);
        if (interval == 0) {
            throw UsageError("--statistics 0: not a time that passes");
        }
        loop.every(interval, [this, interval] { printStatistics(static_cast<double>(interval) / 1e9); });
    }
}

void LiveRun::tick() {
    passTime();
    if (records) {
        records->flush();
    }
    flushRows();
    if (reload && reload->session.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
        finishReload();
    }
    if (!reload && LiveSignals::takeReload()) {
        startReload();
    }
}

void LiveRun::passTime() {
    const std::uint64_t now = monotonicTime();
    if (const auto time = intake.takeTime()) {
        clock = {*time, now};
    } else {
        session->reach(clock.at(now) - transit);
    }
}

/// A reader that has gone ends the run. A full disk does not: rows are written again as soon as that is
/// possible.
void LiveRun::flushRows() {
    out->flush();
    if (!out->closed()) {
        if (std::exchange(outputFailed, false)) {
            log.say("rows are written again to " + options.output);
        }
        return;
    }
    if (out->error() == ENOSPC || out->error() == EDQUOT || out->error() == EFBIG) {
        if (!std::exchange(outputFailed, true)) {
            log.say("cannot write " + options.output + ": " + std::generic_category().message(out->error()) +
                    "; rows are lost until that is possible");
        }
        out->retry();
    }
}

void LiveRun::startReload() {
    manager.reloading();
    reload = std::make_unique<Reload>();
    reload->session = std::async(std::launch::async, [this] { return load(reload->remarks); });
}

void LiveRun::finishReload() {
    const std::unique_ptr<Reload> done = std::move(reload);
    try {
        auto next = done->session.get();
        log.write(done->remarks.str());
        if (next->hasErrors()) {
            removeNewSegments(next->signals());
            throw UsageError("there are errors in the definitions");
        }
        replaceSession(std::move(next));
    } catch (const std::exception& error) {
        log.say(std::string("not reloaded: ") + error.what() + "\nWhat was loaded before stays in force.");
    }
    manager.ready();
}

void LiveRun::replaceSession(std::unique_ptr<LiveSession> next) {
    session->finish();
    next->attach(rows ? &*rows : nullptr, *out);
    const ValueTransfer values = transferValues(session->signals(), next->signals());
    next->begin(clock.at(monotonicTime()));
    unwrittenWindows += session->unwrittenWindows();
    valuesBefore -= std::min(valuesBefore, session->values());
    std::swap(session, next);
    intake.handTo(*session);
    sources.refilter(session->signals());
    definitionsAreSound = true;
    log.say("reloaded; signals that keep their values: " + std::to_string(values.kept) +
            ", new ones: " + std::to_string(values.added) + ", gone: " + std::to_string(values.removed) +
            ", without value because they are defined otherwise: " + std::to_string(values.reset));
    sayWhatIsPrivate();
}

void LiveRun::printStatistics(double seconds) {
    const LiveCounts counts = sources.counts();
    const auto rate = [seconds](std::uint64_t now, std::uint64_t& before) {
        return doubleText(std::round(static_cast<double>(now - std::exchange(before, now)) / seconds));
    };
    std::string text = rate(counts.messages, messagesBefore) + " messages/s, " +
                       rate(session->values(), valuesBefore) + " values/s, lost " +
                       std::to_string(counts.lost) + ", stale signals " + std::to_string(session->stale());
    if (records) {
        text += ", recorded " + std::to_string(records->records());
    }
    text += "; " + sources.rates(seconds);
    log.say(text);
    manager.status(text);
}

void LiveRun::finish() {
    manager.stopping();
    if (reload) {
        reload->session.wait();
        finishReload();
    }
    session->finish();
    sources.check();
    if (records) {
        records->finish();
    }
    out->finish();
    if (!options.quiet) {
        summarise();
    }
}

void LiveRun::summarise() {
    std::ostringstream text;
    sources.summarise(text);
    text << "values: " << session->values() << '\n';
    session->summarise(text);
    if (records) {
        text << "recorded: " << records->records() << " messages in " << records->files() << " file"
             << (records->files() == 1 ? "" : "s") << ", the last one " << records->name()
             << "; not recorded: " << records->lost() << '\n';
    }
    log.write(text.str());
}

int LiveRun::status() const {
    const bool isComplete = sources.areSound() && definitionsAreSound && unwrittenWindows == 0 &&
                            session->unwrittenWindows() == 0 && (!records || records->lost() == 0);
    return isComplete ? Clean : Damaged;
}

} // namespace rksignal
