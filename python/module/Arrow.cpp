#include "Arrow.h"

#include <cstring>

namespace rksignal::python {
namespace {

/// A tree whose inner structs stay where they are: what `private_data` of a schema or array points to.
template <class Struct, class Parts>
struct Holder {
    explicit Holder(Parts&& given) : parts(std::move(given)) {
        for (auto& child : parts.children) {
            children.push_back(&*child);
        }
    }

    Parts parts;
    std::vector<Struct*> children;

    static void release(Struct* released) {
        delete static_cast<Holder*>(released->private_data);
        released->release = nullptr;
    }
    /// Null if there is none.
    Struct* dictionary() { return parts.dictionary->release != nullptr ? &*parts.dictionary : nullptr; }
};

/// The number of bytes of metadata, which the interface does not tell.
std::size_t metadataBytes(const char* metadata) {
    std::size_t at = 0;
    const auto number = [&] {
        std::int32_t value = 0;
        std::memcpy(&value, metadata + at, sizeof value);
        at += sizeof value;
        return value;
    };
    for (std::int32_t texts = 2 * number(); texts > 0; --texts) {
        const std::int32_t length = number();
        at += static_cast<std::size_t>(length);
    }
    return at;
}

/// A consumer that takes the content of a capsule leaves it empty.
template <class Struct>
nb::object capsule(Owned<Struct> content, const char* name) {
    auto kept = std::make_unique<Struct>(content.take());
    PyObject* const made = PyCapsule_New(kept.get(), name, [](PyObject* object) {
        auto* const held = static_cast<Struct*>(PyCapsule_GetPointer(object, PyCapsule_GetName(object)));
        Owned<Struct> released;
        *released = *held;
        delete held;
    });
    if (made == nullptr) {
        throw nb::python_error();
    }
    static_cast<void>(kept.release()); // the capsule deletes it
    return nb::steal(made);
}

} // namespace

Schema makeSchema(SchemaParts parts) {
    using SchemaHolder = Holder<ArrowSchema, SchemaParts>;
    auto holder = std::make_unique<SchemaHolder>(std::move(parts));
    Schema made;
    made->format = holder->parts.format.c_str();
    made->name = holder->parts.name.c_str();
    made->metadata = holder->parts.metadata.empty() ? nullptr : holder->parts.metadata.data();
    made->flags = holder->parts.flags;
    made->n_children = static_cast<std::int64_t>(holder->children.size());
    made->children = holder->children.data();
    made->dictionary = holder->dictionary();
    made->release = &SchemaHolder::release;
    made->private_data = holder.release();
    return made;
}

Schema copySchema(const ArrowSchema& schema) {
    SchemaParts parts;
    parts.format = schema.format;
    parts.name = schema.name != nullptr ? schema.name : "";
    if (schema.metadata != nullptr) {
        parts.metadata.assign(schema.metadata, metadataBytes(schema.metadata));
    }
    parts.flags = schema.flags;
    for (std::int64_t i = 0; i < schema.n_children; ++i) {
        parts.children.push_back(copySchema(*schema.children[i]));
    }
    if (schema.dictionary != nullptr) {
        parts.dictionary = copySchema(*schema.dictionary);
    }
    return makeSchema(std::move(parts));
}

Array makeArray(ArrayParts parts) {
    using ArrayHolder = Holder<ArrowArray, ArrayParts>;
    auto holder = std::make_unique<ArrayHolder>(std::move(parts));
    Array made;
    made->length = holder->parts.length;
    made->null_count = holder->parts.nulls;
    made->offset = holder->parts.offset;
    made->n_buffers = static_cast<std::int64_t>(holder->parts.buffers.size());
    made->buffers = holder->parts.buffers.data();
    made->n_children = static_cast<std::int64_t>(holder->children.size());
    made->children = holder->children.data();
    made->dictionary = holder->dictionary();
    made->release = &ArrayHolder::release;
    made->private_data = holder.release();
    return made;
}

Array shareArray(const ArrowArray& array, const std::shared_ptr<const void>& owner) {
    ArrayParts parts{array.length, array.null_count, array.offset, {}, {}, {}, owner};
    parts.buffers.assign(array.buffers, array.buffers + array.n_buffers);
    for (std::int64_t i = 0; i < array.n_children; ++i) {
        parts.children.push_back(shareArray(*array.children[i], owner));
    }
    if (array.dictionary != nullptr) {
        parts.dictionary = shareArray(*array.dictionary, owner);
    }
    return makeArray(std::move(parts));
}

nb::object capsuleOf(Schema schema) {
    return capsule(std::move(schema), "arrow_schema");
}

nb::object capsuleOf(Array array) {
    return capsule(std::move(array), "arrow_array");
}

nb::object capsuleOf(Owned<ArrowArrayStream> stream) {
    return capsule(std::move(stream), "arrow_array_stream");
}

} // namespace rksignal::python
