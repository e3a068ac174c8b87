#include "FrameReading.h"

#include <nanobind/stl/shared_ptr.h>

namespace rksignal::python {

std::shared_ptr<Batch> FrameReading::next() {
    const auto frames = std::make_shared<FrameColumns>(rows);
    Trace& trace = reading.trace();
    reading.run([&] {
        while (!frames->isFull() && trace.next()) {
            trace.deliver(*frames);
        }
    });
    return frames->size() > 0 ? std::make_shared<Batch>("", schema, frames->array()) : nullptr;
}

void bindFrameReading(nb::module_& module) {
    nb::class_<FrameReading>(module, "FrameReading")
        .def("next", &FrameReading::next)
        .def("schema_capsule", &FrameReading::schemaCapsule)
        .def("remarks", &FrameReading::remarks);
    module.def(
        "read_frames",
        [](const nb::dict& request, std::size_t batchRows) {
            return std::make_shared<FrameReading>(traceRequest(request), batchRows);
        },
        nb::arg("request"), nb::arg("batch_rows"));
}

} // namespace rksignal::python
