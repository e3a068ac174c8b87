/// \file
/// How errors and remarks of the library come to Python.
#pragma once

#include "Module.h"

#include "text/Remark.h"

namespace rksignal::python {

/// `(file, line, severity, text)`: the line is None where the place is none.
nb::tuple remarkTuple(const Remark& remark);
nb::list remarkTuples(const RemarkList& remarks);

/// Sets the exception of rksignal._errors that says what `error` says. `path` is the file that was being
/// read, empty if the text alone tells it.
void setError(const Error& error, const std::string& path = {});

void bindErrors(nb::module_& module);

} // namespace rksignal::python
