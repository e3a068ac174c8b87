#include "ColumnReading.h"

#include "text/Remark.h"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/shared_ptr.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <utility>

namespace rksignal::python {
namespace {

/// The signals with these names; instances for senders are made for those that name one.
std::vector<std::size_t> indicesOf(Catalog& catalog, const std::vector<std::string>& names) {
    std::vector<std::size_t> indices;
    for (const std::string& name : names) {
        catalog.addSources(name);
        const auto& signals = catalog.storage().instancesByName;
        const auto found = signals.find(name);
        if (found == signals.end()) {
            throw Error("there is no signal " + name);
        }
        indices.push_back(catalog.indexOf(found->second->id));
    }
    return indices;
}

ColumnLayout layoutOf(const std::string& name) {
    return name == "message" ? ColumnLayout::Message
           : name == "long"  ? ColumnLayout::Long
                             : ColumnLayout::Intervals;
}

std::shared_ptr<ColumnReading> readColumns(const Definitions& definitions, const nb::dict& request,
                                           const nb::dict& settings) {
    ColumnSettings made{.layout = layoutOf(nb::cast<std::string>(settings["layout"]))};
    made.batchRows = nb::cast<std::size_t>(settings["batch_rows"]);
    made.raw = nb::cast<std::optional<bool>>(settings["raw"]);
    made.text = nb::cast<bool>(settings["text"]);
    made.gap = nb::cast<std::optional<std::uint64_t>>(settings["gap"]);
    const auto signals = nb::cast<std::optional<std::vector<std::string>>>(settings["signals"]);
    return std::make_shared<ColumnReading>(definitions, traceRequest(request), std::move(made), signals);
}

} // namespace

ColumnReading::ColumnReading(const Definitions& definitions, const TraceRequest& request,
                             ColumnSettings settings, const std::optional<std::vector<std::string>>& signals)
    : reading(request, definitions.channels()) {
    const nb::gil_scoped_release others;
    catalog = definitions.catalog();
    if (signals) {
        settings.signals = indicesOf(*catalog, *signals);
    }
    stream = std::make_unique<ColumnStream>(*catalog, reading.trace(), settings);
}

std::shared_ptr<Batch> ColumnReading::next() {
    Array array;
    std::optional<std::size_t> table;
    reading.run([&] { table = stream->next(*array); });
    if (!table) {
        return nullptr;
    }
    return std::make_shared<Batch>(stream->tables()[*table].name, schemaOf(*table), std::move(array));
}

std::shared_ptr<const Schema> ColumnReading::schemaOf(std::size_t table) {
    if (schemas.size() <= table) {
        schemas.resize(table + 1);
    }
    if (!schemas[table]) {
        Schema made;
        stream->schema(table, *made);
        schemas[table] = std::make_shared<const Schema>(std::move(made));
    }
    return schemas[table];
}

nb::list ColumnReading::tables() const {
    nb::list list;
    for (std::size_t table = 0; table < stream->tables().size(); ++table) {
        Schema schema;
        stream->schema(table, *schema);
        list.append(nb::make_tuple(textOf(stream->tables()[table].name), capsuleOf(std::move(schema))));
    }
    return list;
}

nb::list ColumnReading::remarks() const {
    nb::list list = reading.remarks();
    const ReplayStatistics& statistics = stream->statistics();
    if (statistics.messages() > 0 && ReplayStatistics::sum(statistics.decoded) == 0) {
        const std::string text =
            "none of " + std::to_string(statistics.messages()) + " messages has a definition";
        list.append(nb::make_tuple(pathOf(reading.trace().name(0)), nb::none(),
                                   severityName(Severity::Warning), text.c_str()));
    }
    return list;
}

void bindColumnReading(nb::module_& module) {
    nb::class_<ColumnReading>(module, "ColumnReading")
        .def("next", &ColumnReading::next)
        .def("tables", &ColumnReading::tables)
        .def("remarks", &ColumnReading::remarks);
    module.def("read_columns", &readColumns, nb::arg("definitions"), nb::arg("request"), nb::arg("settings"));
}

} // namespace rksignal::python
