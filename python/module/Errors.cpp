#include "Errors.h"

#include <algorithm>

namespace rksignal::python {
namespace {

/// The file of a remark: its place without what says where in the file.
std::string_view fileOf(const Remark& remark) {
    const std::string_view place = remark.place;
    if (remark.line == 0) {
        return place.substr(0, place.find("#/"));
    }
    const std::string line = ":" + std::to_string(remark.line);
    const std::size_t last = place.rfind(':');
    const std::size_t before = last != 0 && last != place.npos ? place.rfind(':', last - 1) : place.npos;
    if (before != place.npos && place.substr(before, last - before) == line) {
        return place.substr(0, before);
    }
    return last != place.npos && place.substr(last) == line ? place.substr(0, last) : place;
}

/// The first remark of what cannot be used.
const Remark* firstError(const RemarkList& remarks) {
    const auto found = std::find_if(remarks.begin(), remarks.end(),
                                    [](const Remark& remark) { return remark.severity == Severity::Error; });
    return found != remarks.end() ? &*found : nullptr;
}

} // namespace

nb::tuple remarkTuple(const Remark& remark) {
    const nb::object line = remark.line != 0 ? nb::object(nb::int_(remark.line)) : nb::none();
    return nb::make_tuple(pathOf(fileOf(remark)), line, severityName(remark.severity),
                          textOf(remark.message()));
}

nb::list remarkTuples(const RemarkList& remarks) {
    nb::list list;
    for (const Remark& remark : remarks) {
        list.append(remarkTuple(remark));
    }
    return list;
}

void setError(const Error& error, const std::string& path) {
    nb::object file = path.empty() ? nb::none() : pathOf(path);
    nb::object line = nb::none();
    const auto* const remarks = dynamic_cast<const RemarkError*>(&error);
    if (const Remark* const first = remarks != nullptr ? firstError(remarks->remarks()) : nullptr) {
        const nb::tuple told = remarkTuple(*first);
        file = told[0];
        line = told[1];
    }
    const nb::object made =
        nb::module_::import_("rksignal._errors").attr("error_of")(pathOf(error.what()), file, line);
    PyErr_SetObject(made.type().ptr(), made.ptr());
}

void bindErrors(nb::module_& /*module*/) {
    nb::register_exception_translator(
        [](const std::exception_ptr& thrown, void* /*unused*/) {
            try {
                std::rethrow_exception(thrown);
            } catch (const Error& error) {
                setError(error);
            }
        },
        nullptr);
}

} // namespace rksignal::python
