/// \file
/// The parts of the module _rksignal: what the Python package is made from. Its names are for that package
/// alone; what users call stands in rksignal/*.py.
#pragma once

#include <nanobind/nanobind.h>

#include <string>
#include <string_view>

namespace rksignal::python {

namespace nb = nanobind;

/// Text of a file, which may be anything: what is no UTF-8 becomes U+FFFD.
nb::object textOf(std::string_view text);
/// A path as Python has it: what is no UTF-8 as lone surrogates (PEP 383).
nb::object pathOf(std::string_view path);

} // namespace rksignal::python
