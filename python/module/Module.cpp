#include "Module.h"

#include "Batch.h"
#include "ColumnReading.h"
#include "Definitions.h"
#include "Errors.h"
#include "Explain.h"
#include "FrameReading.h"
#include "TraceReading.h"
#include "TriggerReading.h"

namespace rksignal::python {

nb::object textOf(std::string_view text) {
    return nb::steal(PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"));
}

nb::object pathOf(std::string_view path) {
    return nb::steal(PyUnicode_DecodeFSDefaultAndSize(path.data(), static_cast<Py_ssize_t>(path.size())));
}

} // namespace rksignal::python

NB_MODULE(_rksignal, module) {
    module.doc() = "What the package rksignal is made from.";
    module.attr("__version__") = RKSIGNAL_VERSION;
    rksignal::python::bindErrors(module);
    rksignal::python::bindDefinitions(module);
    rksignal::python::bindBatch(module);
    rksignal::python::bindColumnReading(module);
    rksignal::python::bindFrameReading(module);
    rksignal::python::bindTraceReading(module);
    rksignal::python::bindTriggerReading(module);
    rksignal::python::bindExplain(module);
}
