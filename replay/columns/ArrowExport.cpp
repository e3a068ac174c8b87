#include "columns/ArrowExport.h"

#include <algorithm>

namespace rksignal {
namespace {

/// What lies behind the `private_data` of a struct. Children are structs of their own, with owners of their
/// own: a consumer may move one out, which leaves it without `release`.
template <class Struct, class Content>
struct Owned {
    Owned(Content content, std::vector<Struct> parts, Struct* moved)
        : content(std::move(content)), children(std::move(parts)) {
        for (Struct& child : children) {
            pointers.push_back(&child);
        }
        if (moved != nullptr) {
            dictionary = *moved;
            moved->release = nullptr;
        }
    }

    Content content;
    std::vector<Struct> children;
    std::vector<Struct*> pointers;
    Struct dictionary{};
};

template <class Struct>
void releaseUnlessMoved(Struct& part) {
    if (part.release != nullptr) {
        part.release(&part);
    }
}

template <class Struct, class Content>
void releaseOwned(Struct* released) {
    auto* const owned = static_cast<Owned<Struct, Content>*>(released->private_data);
    std::ranges::for_each(owned->children, releaseUnlessMoved<Struct>);
    releaseUnlessMoved(owned->dictionary);
    delete owned;
    released->release = nullptr;
}

/// Fills what both structs have in common.
template <class Struct, class Content>
Content& own(Content content, std::vector<Struct> children, Struct* dictionary, Struct& out) {
    auto* const owned = new Owned<Struct, Content>(std::move(content), std::move(children), dictionary);
    out.n_children = static_cast<std::int64_t>(owned->children.size());
    out.children = owned->pointers.data();
    out.dictionary = dictionary != nullptr ? &owned->dictionary : nullptr;
    out.release = releaseOwned<Struct, Content>;
    out.private_data = owned;
    return owned->content;
}

std::string_view bytesOf(const std::int32_t& number) {
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

} // namespace

void ArrowMetadata::add(std::string_view key, std::string_view value) {
    if (value.empty()) {
        return;
    }
    ++count;
    for (const std::string_view text : {key, value}) {
        entries += bytesOf(static_cast<std::int32_t>(text.size()));
        entries += text;
    }
}

std::string ArrowMetadata::bytes() const {
    return count == 0 ? std::string() : std::string(bytesOf(count)) + entries;
}

void exportSchema(SchemaContent content, std::vector<ArrowSchema> children, ArrowSchema* dictionary,
                  ArrowSchema& out) {
    out = {};
    const SchemaContent& owned = own(std::move(content), std::move(children), dictionary, out);
    out.format = owned.format.c_str();
    out.name = owned.name.c_str();
    out.metadata = owned.metadata.empty() ? nullptr : owned.metadata.data();
    out.flags = owned.isNullable ? ARROW_FLAG_NULLABLE : 0;
}

void exportArray(ArrayContent content, std::vector<ArrowArray> children, ArrowArray* dictionary,
                 ArrowArray& out) {
    out = {};
    ArrayContent& owned = own(std::move(content), std::move(children), dictionary, out);
    out.length = static_cast<std::int64_t>(owned.length);
    out.null_count = static_cast<std::int64_t>(owned.nulls);
    out.n_buffers = static_cast<std::int64_t>(owned.buffers.size());
    out.buffers = owned.buffers.data();
}

} // namespace rksignal
