#include "Explain.h"

#include "Definitions.h"
#include "TraceReading.h"

#include "explain/SignalReport.h"
#include "explain/SignalWatch.h"
#include "text/ClosestNames.h"
#include "value/Replay.h"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>

#include <cerrno>
#include <sys/mman.h>
#include <unistd.h>

namespace rksignal::python {
namespace {

/// Where reports are written, which go to descriptors.
class MemoryFile {
  public:
    MemoryFile() : descriptor(memfd_create("explanation", MFD_CLOEXEC)) {
        if (descriptor < 0) {
            throw Error("cannot make a file in memory", errno);
        }
    }
    ~MemoryFile() { close(descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    int handle() const { return descriptor; }
    std::string text() const {
        std::string content(static_cast<std::size_t>(lseek(descriptor, 0, SEEK_END)), '\0');
        const ssize_t count = pread(descriptor, content.data(), content.size(), 0);
        content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return content;
    }

  private:
    int descriptor;
};

std::string closeNames(const Definitions& definitions, const std::string& instance) {
    std::vector<std::string_view> names;
    for (const MessageDefinition& message : definitions.messages()) {
        for (const SignalDefinition& signal : message.signals) {
            names.push_back(signal.common().instance);
        }
    }
    return closestNames(instance, names);
}

/// `(value or None, text, remarks)`
nb::tuple explain(const Definitions& definitions, const nb::dict& request, const std::string& instance,
                  std::size_t frames) {
    TraceReading reading(traceRequest(request), definitions.channels());
    const std::unique_ptr<Catalog> catalog = definitions.catalog();
    catalog->addSources(instance);
    const MemoryFile file;
    OutputBuffer out(file.handle());
    std::optional<double> value;
    const auto& signals = catalog->storage().instancesByName;
    if (const auto found = signals.find(instance); found != signals.end()) {
        const std::size_t index = catalog->indexOf(found->second->id);
        SignalWatch watch(*catalog, index, frames);
        Replay replay(*catalog, watch);
        watch.handOnTo(replay);
        reading.run([&] {
            reading.trace().run(watch);
            replay.finish();
        });
        const ReplayResult result{*catalog, replay.statistics(), reading.trace().channels()};
        if (writeExplanation(result, index, watch, {}, out)) {
            value = watch.values().back().value;
        }
    } else if (!writeDropped(*catalog, instance, out)) {
        throw Error("there is no signal " + instance + closeNames(definitions, instance));
    }
    out.flush();
    return nb::make_tuple(value ? nb::cast(*value) : nb::none(), textOf(file.text()), reading.remarks());
}

} // namespace

void bindExplain(nb::module_& module) {
    module.def("explain", &explain, nb::arg("definitions"), nb::arg("request"), nb::arg("instance"),
               nb::arg("frames"));
}

} // namespace rksignal::python
