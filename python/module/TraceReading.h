/// \file
/// Traces that are read for Python.
#pragma once

#include "Module.h"

#include "trace/Trace.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rksignal::python {

/// A time, and whether it counts from the start of the traces.
using MomentPair = std::optional<std::pair<std::uint64_t, bool>>;

/// What is read: paths in the bytes of the file system.
struct TraceRequest {
    std::vector<std::string> paths;
    MomentPair start;
    MomentPair end;
    std::optional<std::pair<std::uint64_t, std::uint64_t>> part; ///< bytes, see TraceSettings::part
    nb::object
        progress; ///< called with bytes read and bytes in all, 0 if not known; None: nobody wants to know
};

/// Opens traces and reads them piece by piece, without the GIL. Ctrl-C ends what is being done within a
/// moment: it is done by a thread of its own, while the one that waits looks for signals. For one thread at a
/// time.
class TraceReading {
  public:
    /// \throws Error
    TraceReading(const TraceRequest& request, const ChannelMap& channels);
    TraceReading(const TraceReading&) = delete;
    TraceReading& operator=(const TraceReading&) = delete;

    Trace& trace() { return traces; }
    const Trace& trace() const { return traces; }

    /// Does `work`, which reads on. The GIL is held when it is called. \throws what `work` throws,
    /// nb::python_error after Ctrl-C
    void run(const std::function<void()>& work);

    /// What was remarkable in the traces: `(file, line, severity, text)`.
    nb::list remarks() const;

    /// Whether there is one trace, which can be read in parts.
    bool isDivisible() const { return traces.count() == 1 && traces.isDivisible(0); }

  private:
    void tellProgress();

    Trace traces;
    nb::object progress = nb::none(); ///< nobody is told while files are opened
    std::uint64_t size = 0;
    std::atomic<std::uint64_t> position = 0;
};

/// Takes apart what Python hands over.
TraceRequest traceRequest(const nb::dict& request);

void bindTraceReading(nb::module_& module);

} // namespace rksignal::python
