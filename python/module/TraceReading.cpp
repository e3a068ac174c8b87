#include "TraceReading.h"

#include "Definitions.h"
#include "Errors.h"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <chrono>
#include <future>

namespace rksignal::python {
namespace {

/// How often somebody looks for signals, and how far reading has come.
constexpr std::chrono::milliseconds glance(50);

std::optional<Moment> momentOf(const MomentPair& pair) {
    return pair ? std::optional(Moment{pair->first, pair->second}) : std::nullopt;
}

/// In a part, a moment that counts from the start of the trace does not count from that of the part.
std::optional<Moment> momentIn(const TraceRequest& request, const MomentPair& pair,
                               const ChannelMap& channels) {
    std::optional<Moment> moment = momentOf(pair);
    if (moment && moment->isRelative && request.part) {
        Trace whole;
        whole.channels() = channels;
        whole.addFile(request.paths.front());
        moment = Moment{moment->at(whole.start().value_or(0)), false};
    }
    return moment;
}

bool isDivisible(const Definitions& definitions, const nb::dict& request) {
    return TraceReading(traceRequest(request), definitions.channels()).isDivisible();
}

} // namespace

TraceRequest traceRequest(const nb::dict& request) {
    TraceRequest made;
    for (const nb::handle path : request["paths"]) {
        const auto bytes = nb::cast<nb::bytes>(path);
        made.paths.emplace_back(bytes.c_str(), bytes.size());
    }
    made.start = nb::cast<MomentPair>(request["start"]);
    made.end = nb::cast<MomentPair>(request["end"]);
    made.part = nb::cast<std::optional<std::pair<std::uint64_t, std::uint64_t>>>(request["part"]);
    made.progress = request["progress"];
    return made;
}

TraceReading::TraceReading(const TraceRequest& request, const ChannelMap& channels) {
    traces.channels() = channels;
    traces.onProgress([this] { position.store(traces.position(), std::memory_order_relaxed); });
    TraceSettings settings;
    if (request.part) {
        settings.part = {.from = request.part->first, .to = request.part->second};
    }
    for (const std::string& path : request.paths) {
        try {
            run([&] { traces.addFile(path, settings); });
        } catch (const Error& error) {
            setError(error, path);
            throw nb::python_error();
        }
    }
    traces.setWindow(
        {momentIn(request, request.start, channels), momentIn(request, request.end, channels), {}});
    size = traces.size();
    progress = request.progress;
}

void TraceReading::run(const std::function<void()>& work) {
    std::future<void> done;
    {
        const nb::gil_scoped_release others;
        done = std::async(std::launch::async, work);
        while (done.wait_for(glance) != std::future_status::ready) {
            const nb::gil_scoped_acquire held;
            try {
                if (PyErr_CheckSignals() != 0) {
                    throw nb::python_error();
                }
                tellProgress();
            } catch (...) {
                traces.stop();
                const nb::gil_scoped_release againOthers;
                done.wait();
                throw;
            }
        }
    }
    done.get();
    if (PyErr_CheckSignals() != 0) {
        throw nb::python_error();
    }
    position = traces.position();
    tellProgress();
}

void TraceReading::tellProgress() {
    if (!progress.is_none()) {
        progress(position.load(std::memory_order_relaxed), size);
    }
}

nb::list TraceReading::remarks() const {
    nb::list list;
    for (std::size_t i = 0; i < traces.count(); ++i) {
        const RemarkList& remarks = traces.report(i).remarks;
        for (const Remark& remark : remarks) {
            list.append(remarkTuple(remark));
        }
        if (remarks.omitted() > 0) {
            const std::string rest = std::to_string(remarks.omitted()) + " more of the kind";
            list.append(nb::make_tuple(pathOf(traces.name(i)), nb::none(), severityName(Severity::Error),
                                       rest.c_str()));
        }
    }
    return list;
}

void bindTraceReading(nb::module_& module) {
    module.def("is_divisible", &isDivisible, nb::arg("definitions"), nb::arg("request"));
}

} // namespace rksignal::python
