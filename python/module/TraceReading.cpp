#include "TraceReading.h"

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

} // namespace

TraceRequest traceRequest(const nb::dict& request) {
    TraceRequest made;
    for (const nb::handle path : request["paths"]) {
        const auto bytes = nb::cast<nb::bytes>(path);
        made.paths.emplace_back(bytes.c_str(), bytes.size());
    }
    made.start = nb::cast<MomentPair>(request["start"]);
    made.end = nb::cast<MomentPair>(request["end"]);
    made.progress = request["progress"];
    return made;
}

TraceReading::TraceReading(const TraceRequest& request, const ChannelMap& channels) {
    traces.channels() = channels;
    traces.setWindow({momentOf(request.start), momentOf(request.end), {}});
    traces.onProgress([this] { position.store(traces.position(), std::memory_order_relaxed); });
    for (const std::string& path : request.paths) {
        try {
            run([&] { traces.addFile(path); });
        } catch (const Error& error) {
            setError(error, path);
            throw nb::python_error();
        }
    }
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

} // namespace rksignal::python
