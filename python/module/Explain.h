/// \file
/// How a signal comes to its value, for Python.
#pragma once

#include "Module.h"

namespace rksignal::python {

void bindExplain(nb::module_& module);

} // namespace rksignal::python
