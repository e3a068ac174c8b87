/// \file
/// The structs of the Arrow C data interface, made and shared: each consumer gets a tree of its own, over the
/// same buffers. Columns stay where they are.
#pragma once

#include "Module.h"

#include "columns/ArrowData.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace rksignal::python {

/// One of ArrowSchema, ArrowArray and ArrowArrayStream, which is released with the object. Empty while
/// `release` is null.
template <class Struct>
class Owned {
  public:
    Owned() = default;
    Owned(Owned&& other) noexcept : content(std::exchange(other.content, {})) {}
    Owned& operator=(Owned&& other) noexcept {
        std::swap(content, other.content);
        return *this;
    }
    ~Owned() {
        if (content.release != nullptr) {
            content.release(&content);
        }
    }

    Struct& operator*() { return content; }
    const Struct& operator*() const { return content; }
    Struct* operator->() { return &content; }
    const Struct* operator->() const { return &content; }
    /// Gives the content to whoever releases it.
    Struct take() { return std::exchange(content, {}); }

  private:
    Struct content{};
};

using Schema = Owned<ArrowSchema>;
using Array = Owned<ArrowArray>;

/// What a column is, or a table: its children are the columns.
struct SchemaParts {
    std::string format;
    std::string name;
    std::string metadata; ///< as the interface has it; empty: none
    std::int64_t flags = 0;
    std::vector<Schema> children;
    Schema dictionary; ///< empty: none
};
Schema makeSchema(SchemaParts parts);
Schema copySchema(const ArrowSchema& schema);

/// The same of its content. `owner` keeps the buffers.
struct ArrayParts {
    std::int64_t length = 0;
    std::int64_t nulls = 0;
    std::int64_t offset = 0;
    std::vector<const void*> buffers;
    std::vector<Array> children;
    Array dictionary; ///< empty: none
    std::shared_ptr<const void> owner;
};
Array makeArray(ArrayParts parts);
/// An array over the buffers of another one, which `owner` keeps.
Array shareArray(const ArrowArray& array, const std::shared_ptr<const void>& owner);

/// Capsules as the Arrow PyCapsule interface names them: they own what they hold until a consumer takes it.
nb::object capsuleOf(Schema schema);
nb::object capsuleOf(Array array);
nb::object capsuleOf(Owned<ArrowArrayStream> stream);

} // namespace rksignal::python
