/// \file
/// Makes the structs of the Arrow C data interface, with all that they own.
#pragma once

#include "columns/ArrowData.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace rksignal {

/// Keys and values of a schema, in the form of the interface: numbers of 32 bits in the byte order of the
/// machine, before each text its length.
class ArrowMetadata {
  public:
    /// Nothing is added where `value` is empty.
    void add(std::string_view key, std::string_view value);
    /// Empty if there is nothing.
    std::string bytes() const;

  private:
    std::string entries;
    std::int32_t count = 0;
};

struct SchemaContent {
    std::string format;
    std::string name;
    std::string metadata; ///< of ArrowMetadata
    bool isNullable = false;
};

/// `out` holds nothing before, here and below. `children` and `dictionary` are moved into it; `dictionary`
/// may be null.
void exportSchema(SchemaContent content, std::vector<ArrowSchema> children, ArrowSchema* dictionary,
                  ArrowSchema& out);

struct ArrayContent {
    std::size_t length = 0;
    std::size_t nulls = 0;
    std::vector<const void*> buffers;                ///< as the format wants them, validity first
    std::vector<std::shared_ptr<const void>> owners; ///< of the buffers
};

void exportArray(ArrayContent content, std::vector<ArrowArray> children, ArrowArray* dictionary,
                 ArrowArray& out);
inline void exportArray(ArrayContent content, ArrowArray& out) {
    exportArray(std::move(content), {}, nullptr, out);
}

} // namespace rksignal
