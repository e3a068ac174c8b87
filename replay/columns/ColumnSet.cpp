#include "columns/ColumnSet.h"

#include "columns/ArrowExport.h"

#include <utility>

namespace rksignal {
namespace {

struct TypeForm {
    const char* format; ///< of the Arrow C data interface
    std::size_t width;  ///< in bytes
};

TypeForm formOf(CellType type) {
    static constexpr TypeForm forms[] = {{"c", 1}, {"C", 1}, {"s", 2}, {"S", 2}, {"i", 4},      {"I", 4},
                                         {"l", 8}, {"L", 8}, {"f", 4}, {"g", 8}, {"tsn:UTC", 8}};
    return forms[static_cast<std::size_t>(type)];
}

ArrowSchema schemaOf(const ColumnField& field) {
    ArrowSchema texts{};
    if (field.texts) {
        exportSchema({.format = "u", .name = "", .metadata = ""}, {}, nullptr, texts);
    }
    ArrowSchema schema{};
    exportSchema({formOf(field.type).format, field.name, field.metadata, field.isNullable}, {},
                 field.texts ? &texts : nullptr, schema);
    return schema;
}

ArrowArray arrayOf(const ColumnField& field, Column& column, std::size_t rows) {
    column.skipTo(rows);
    const auto content = std::make_shared<Column::Content>(column.take());
    const void* const validity = content->nulls > 0 ? content->validity.data() : nullptr;
    ArrowArray texts{};
    if (field.texts) {
        field.texts->exportTo(texts);
    }
    ArrowArray array{};
    exportArray({.length = rows,
                 .nulls = content->nulls,
                 .buffers = {validity, content->cells.data()},
                 .owners = {content}},
                {}, field.texts ? &texts : nullptr, array);
    return array;
}

} // namespace

std::size_t ColumnSet::add(ColumnField field) {
    const std::size_t width = formOf(field.type).width;
    bytes += width;
    columns.emplace_back(width);
    fields.push_back(std::move(field));
    return fields.size() - 1;
}

void ColumnSet::putInteger(std::size_t column, std::uint64_t value) {
    switch (columns[column].cellBytes()) {
    case 1:
        return put(column, static_cast<std::uint8_t>(value));
    case 2:
        return put(column, static_cast<std::uint16_t>(value));
    case 4:
        return put(column, static_cast<std::uint32_t>(value));
    default:
        return put(column, value);
    }
}

void ColumnSet::schema(ArrowSchema& out) const {
    std::vector<ArrowSchema> children;
    for (const ColumnField& field : fields) {
        children.push_back(schemaOf(field));
    }
    exportSchema({.format = "+s", .name = "", .metadata = metadata}, std::move(children), nullptr, out);
}

void ColumnSet::take(ArrowArray& out) {
    std::vector<ArrowArray> children;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        children.push_back(arrayOf(fields[i], columns[i], count));
    }
    for (const ColumnField& field : fields) {
        if (field.texts) {
            field.texts->forget();
        }
    }
    exportArray({.length = count, .buffers = {nullptr}, .owners = {}}, std::move(children), nullptr, out);
    count = 0;
}

} // namespace rksignal
