#include "Batch.h"

#include <nanobind/ndarray.h>
#include <nanobind/stl/shared_ptr.h>

#include <cstring>
#include <string_view>

namespace rksignal::python {
namespace {

using Bytes = nb::ndarray<nb::numpy, const std::uint8_t, nb::ndim<1>>;

/// A view of `size` bytes of a batch, which lives as long as the view.
nb::object bytesOf(const std::shared_ptr<const void>& owner, const void* buffer, std::size_t size) {
    if (buffer == nullptr) {
        return nb::none();
    }
    auto kept = std::make_unique<std::shared_ptr<const void>>(owner);
    const nb::capsule capsule(
        kept.get(), [](void* held) noexcept { delete static_cast<std::shared_ptr<const void>*>(held); });
    static_cast<void>(kept.release()); // the capsule deletes it
    return nb::cast(Bytes(static_cast<const std::uint8_t*>(buffer), {size}, capsule));
}

bool isText(std::string_view format) {
    return format == "u" || format == "z";
}

/// Bytes a cell, of formats with cells of one width; 0 of bits.
std::size_t cellBytes(std::string_view format) {
    switch (format.front()) {
    case 'b':
        return 0;
    case 'c':
    case 'C':
        return 1;
    case 's':
    case 'S':
        return 2;
    case 'i':
    case 'I':
    case 'f':
        return 4;
    default:
        return 8;
    }
}

nb::object cells(const ArrowArray& array, std::string_view format, const std::shared_ptr<const void>& owner) {
    const auto rows = static_cast<std::size_t>(array.length + array.offset);
    const std::size_t width = cellBytes(format);
    return bytesOf(owner, array.buffers[1], width == 0 ? (rows + 7) / 8 : rows * width);
}

/// The bytes of all cells, and where each begins, and the last one ends.
nb::tuple pieces(const ArrowArray& array, const std::shared_ptr<const void>& owner) {
    const auto rows = static_cast<std::size_t>(array.length + array.offset);
    std::int32_t end = 0;
    if (array.buffers[1] != nullptr) {
        std::memcpy(&end, static_cast<const std::int32_t*>(array.buffers[1]) + rows, sizeof end);
    }
    return nb::make_tuple(bytesOf(owner, array.buffers[1], (rows + 1) * sizeof(std::int32_t)),
                          bytesOf(owner, array.buffers[2], static_cast<std::size_t>(end)));
}

/// `(name, format, nullable, offset, length, validity, cells, dictionary)`: buffers as they are, in bytes.
/// `cells` of texts are
/// `(offsets, bytes)`.
nb::tuple columnTuple(const ArrowSchema& schema, const ArrowArray& array,
                      const std::shared_ptr<const void>& owner) {
    const std::string_view format = schema.format;
    const auto rows = static_cast<std::size_t>(array.length + array.offset);
    const nb::object content =
        isText(format) ? nb::object(pieces(array, owner)) : cells(array, format, owner);
    const nb::object validity =
        array.null_count != 0 ? bytesOf(owner, array.buffers[0], (rows + 7) / 8) : nb::none();
    const nb::object dictionary = schema.dictionary != nullptr
                                      ? nb::object(columnTuple(*schema.dictionary, *array.dictionary, owner))
                                      : nb::none();
    const bool isNullable = (schema.flags & ARROW_FLAG_NULLABLE) != 0;
    return nb::make_tuple(textOf(schema.name != nullptr ? schema.name : ""), nb::str(schema.format),
                          isNullable, array.offset, array.length, validity, content, dictionary);
}

nb::list columnTuples(const Batch& batch) {
    nb::list columns;
    for (std::int64_t i = 0; i < batch.array().n_children; ++i) {
        columns.append(columnTuple(*batch.schema().children[i], *batch.array().children[i], batch.owner()));
    }
    return columns;
}

const ArrowSchema& schemaIn(const nb::capsule& capsule) {
    return *static_cast<const ArrowSchema*>(capsule.data());
}

/// `(name, format, nullable)` of each column; the format of a dictionary is `dictionary`.
nb::list schemaTuples(const ArrowSchema& schema) {
    nb::list columns;
    for (std::int64_t i = 0; i < schema.n_children; ++i) {
        const ArrowSchema& column = *schema.children[i];
        const bool isNullable = (column.flags & ARROW_FLAG_NULLABLE) != 0;
        columns.append(nb::make_tuple(textOf(column.name),
                                      nb::str(column.dictionary != nullptr ? "dictionary" : column.format),
                                      isNullable));
    }
    return columns;
}

/// A stream of the batches that a Python iterator gives. Called by whoever consumes it, in any thread.
class PulledStream {
  public:
    PulledStream(nb::object iterator, Schema schema)
        : iterator(std::move(iterator)), schema(std::move(schema)) {}

    static Owned<ArrowArrayStream> make(nb::object iterator, Schema schema) {
        Owned<ArrowArrayStream> stream;
        stream->private_data = new PulledStream(std::move(iterator), std::move(schema));
        stream->get_schema = [](ArrowArrayStream* self, ArrowSchema* out) {
            *out = copySchema(*of(self).schema).take();
            return 0;
        };
        stream->get_next = [](ArrowArrayStream* self, ArrowArray* out) { return of(self).next(*out); };
        stream->get_last_error = [](ArrowArrayStream* self) -> const char* { return of(self).error.c_str(); };
        stream->release = [](ArrowArrayStream* self) {
            const nb::gil_scoped_acquire held;
            delete &of(self);
            self->release = nullptr;
        };
        return stream;
    }

  private:
    static PulledStream& of(ArrowArrayStream* stream) {
        return *static_cast<PulledStream*>(stream->private_data);
    }

    int next(ArrowArray& out) {
        const nb::gil_scoped_acquire held;
        out = {};
        try {
            const nb::object item = nb::steal(PyIter_Next(iterator.ptr()));
            if (item.is_valid()) {
                const auto& batch = nb::cast<const Batch&>(item.attr("_batch"));
                out = shareArray(batch.array(), batch.owner()).take();
                return 0;
            }
            if (PyErr_Occurred() == nullptr) {
                return 0;
            }
            throw nb::python_error();
        } catch (nb::python_error& raised) {
            return fail(raised);
        } catch (const std::exception& thrown) {
            error = thrown.what();
            return EIO;
        }
    }

    /// A consumer takes only the text of an error. Ctrl-C is raised again as soon as it has returned.
    int fail(nb::python_error& raised) {
        error = nb::cast<std::string>(nb::str(raised.value()));
        if (!raised.matches(PyExc_KeyboardInterrupt)) {
            return EIO;
        }
        PyErr_SetInterrupt();
        return EINTR;
    }

    nb::object iterator;
    Schema schema;
    std::string error;
};

} // namespace

void bindBatch(nb::module_& module) {
    nb::class_<Batch>(module, "Batch")
        .def_prop_ro("table", [](const Batch& batch) { return textOf(batch.table()); })
        .def("__len__", [](const Batch& batch) { return batch.array().length; })
        .def("columns", &columnTuples)
        .def("schema_capsule", [](const Batch& batch) { return capsuleOf(copySchema(batch.schema())); })
        .def("array_capsule",
             [](const Batch& batch) { return capsuleOf(shareArray(batch.array(), batch.owner())); });
    module.def(
        "schema_columns", [](const nb::capsule& schema) { return schemaTuples(schemaIn(schema)); },
        nb::arg("schema"));
    module.def(
        "schema_capsule", [](const nb::capsule& schema) { return capsuleOf(copySchema(schemaIn(schema))); },
        nb::arg("schema"), "A copy of a schema.");
    module.def(
        "stream_capsule",
        [](nb::object batches, const nb::capsule& schema) {
            return capsuleOf(PulledStream::make(std::move(batches), copySchema(schemaIn(schema))));
        },
        nb::arg("batches"), nb::arg("schema"), "A stream of the batches that an iterator gives.");
}

} // namespace rksignal::python
