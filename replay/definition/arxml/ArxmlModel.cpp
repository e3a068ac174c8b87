#include "definition/arxml/ArxmlModel.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace rksignal {
namespace {

constexpr std::uint64_t emptyPath = 0xCBF29CE484222325; // FNV-1a, 64 bits

/// The hash of a path that goes on with `text`.
std::uint64_t pathHash(std::uint64_t hash, std::string_view text) {
    constexpr std::uint64_t factor = 0x100000001B3;
    for (const char each : text) {
        hash = (hash ^ static_cast<unsigned char>(each)) * factor;
    }
    return hash;
}

bool isReferenceBase(pugi::xml_node base, std::string_view label) {
    return label.empty() ? arxmlText(base, {"IS-DEFAULT"}) == "true"
                         : arxmlText(base, {"SHORT-LABEL"}) == label;
}

} // namespace

ArxmlModel::ArxmlModel(std::vector<ArxmlText> texts) {
    for (ArxmlText& each : texts) {
        index(documents.emplace_back(std::move(each.text), std::move(each.path), remarks));
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry& left, const Entry& right) { return left.hash < right.hash; });
}

/// Walks the tree without recursion: the hashes of the paths of the elements around are on a stack.
void ArxmlModel::index(const XmlDocument& document) {
    const pugi::xml_node root = document.root();
    if (std::string_view(root.name()) != "AUTOSAR") {
        remarks.add({document.path(), Severity::Error, "not AUTOSAR XML: there is no element AUTOSAR"});
        return;
    }
    hasRoot = true;
    constexpr std::size_t deepest = 200; // the schema's elements are a few dozen levels deep
    bool isTooDeep = false;
    std::vector<std::uint64_t> hashes{emptyPath};
    pugi::xml_node element = root;
    while (element) {
        std::uint64_t hash = hashes.back();
        if (const std::string_view name = arxmlName(element); !name.empty()) {
            hash = pathHash(pathHash(hash, "/"), name);
            entries.push_back({hash, element});
        }
        if (element.first_child() && hashes.size() < deepest) {
            hashes.push_back(hash);
            element = element.first_child();
            continue;
        }
        isTooDeep = isTooDeep || element.first_child();
        while (element != root && !element.next_sibling()) {
            hashes.pop_back();
            element = element.parent();
        }
        element = element == root ? pugi::xml_node() : element.next_sibling();
    }
    if (isTooDeep) {
        remarks.add({document.path(), Severity::Warning,
                     "elements in more than " + std::to_string(deepest) + " others are left out"});
    }
}

std::vector<pugi::xml_node> ArxmlModel::elementsOf(std::initializer_list<std::string_view> tags) const {
    std::vector<pugi::xml_node> found;
    for (const Entry& entry : entries) {
        if (std::find(tags.begin(), tags.end(), entry.element.name()) != tags.end()) {
            found.push_back(entry.element);
        }
    }
    const auto inOrder = [this](pugi::xml_node left, pugi::xml_node right) {
        return std::pair(documentOf(left), left.offset_debug()) <
               std::pair(documentOf(right), right.offset_debug());
    };
    std::sort(found.begin(), found.end(), inOrder);
    return found;
}

/// Whether the names of the element and those around it, from the last to the first, make the path.
bool ArxmlModel::hasPath(pugi::xml_node element, std::string_view path) const {
    for (; element; element = element.parent()) {
        const std::string_view name = arxmlName(element);
        if (name.empty()) {
            continue;
        }
        if (!path.ends_with(name) || path.size() == name.size() ||
            path[path.size() - name.size() - 1] != '/') {
            return false;
        }
        path.remove_suffix(name.size() + 1);
    }
    return path.empty();
}

pugi::xml_node ArxmlModel::find(std::string_view path, std::string_view destination) const {
    const std::uint64_t hash = pathHash(emptyPath, path);
    auto entry = std::lower_bound(entries.begin(), entries.end(), hash,
                                  [](const Entry& each, std::uint64_t wanted) { return each.hash < wanted; });
    constexpr unsigned mostOfOnePath = 64; // files that are read together may repeat elements
    pugi::xml_node first;
    for (unsigned i = 0; i < mostOfOnePath && entry != entries.end() && entry->hash == hash; ++i, ++entry) {
        if (!hasPath(entry->element, path)) {
            continue;
        }
        if (destination.empty() || destination == entry->element.name()) {
            return entry->element;
        }
        first = first ? first : entry->element;
    }
    return first;
}

bool ArxmlModel::isFirst(pugi::xml_node element) const {
    return arxmlName(element).empty() ||
           documentOf(find(pathOf(element), element.name())) == documentOf(element);
}

/// The path of the package that relative references from `from` start at; empty if there is none.
std::string ArxmlModel::basePath(pugi::xml_node from, std::string_view label, unsigned depth) const {
    constexpr unsigned deepestBase = 8;
    for (pugi::xml_node around = from; around && depth < deepestBase; around = around.parent()) {
        if (std::string_view(around.name()) != "AR-PACKAGE") {
            continue;
        }
        for (const pugi::xml_node base : around.child("REFERENCE-BASES").children("REFERENCE-BASE")) {
            if (!isReferenceBase(base, label)) {
                continue;
            }
            const pugi::xml_node package = base.child("PACKAGE-REF");
            const std::string path = package.child_value();
            if (path.empty()) {
                return pathOf(around);
            }
            return path.starts_with('/')
                       ? path
                       : basePath(around.parent(), package.attribute("BASE").value(), depth + 1) + "/" + path;
        }
    }
    return {};
}

std::string ArxmlModel::referencePath(pugi::xml_node reference) const {
    std::string path = reference.child_value();
    if (path.starts_with('/')) {
        return path;
    }
    const std::string base = basePath(reference, reference.attribute("BASE").value(), 0);
    return base.empty() ? path : base + "/" + path;
}

pugi::xml_node ArxmlModel::follow(pugi::xml_node reference) {
    if (!reference) {
        return {};
    }
    const std::string_view destination = reference.attribute("DEST").value();
    const std::string_view text = reference.child_value();
    const pugi::xml_node found =
        text.starts_with('/') ? find(text, destination) : find(referencePath(reference), destination);
    if (!found) {
        const std::string path = referencePath(reference);
        if (said.insert(pathHash(emptyPath, path)).second) {
            remarks.add({placeOf(reference), Severity::Warning,
                         path + ": " + reference.name() + " leads to no element of these files"});
        }
    }
    return found;
}

pugi::xml_node ArxmlModel::target(pugi::xml_node parent, std::initializer_list<const char*> tags) {
    return follow(arxmlChild(parent, tags));
}

std::string ArxmlModel::pathOf(pugi::xml_node element) const {
    std::vector<std::string_view> names;
    for (; element; element = element.parent()) {
        if (const std::string_view name = arxmlName(element); !name.empty()) {
            names.push_back(name);
        }
    }
    std::string path;
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        path.append("/").append(*name);
    }
    return path;
}

std::string ArxmlModel::placeOf(pugi::xml_node element) const {
    return documents[documentOf(element)].placeOf(element);
}

std::size_t ArxmlModel::documentOf(pugi::xml_node element) const {
    const auto document = std::find_if(documents.begin(), documents.end(),
                                       [element](const XmlDocument& each) { return each.holds(element); });
    return static_cast<std::size_t>(document - documents.begin());
}

void ArxmlModel::remark(pugi::xml_node element, Severity severity, std::string_view text) {
    std::string whole = pathOf(element).append(": ").append(text);
    if (said.insert(pathHash(emptyPath, whole)).second) {
        remarks.add({placeOf(element), severity, std::move(whole)});
    }
}

bool ArxmlModel::takeRepeated(pugi::xml_node element, std::size_t count) {
    if (count <= repetitionsLeft) {
        repetitionsLeft -= count;
        return true;
    }
    if (repetitionsLeft != 0) {
        leftOut(element, "too many places of PDUs in all: this and what comes later is left out");
        repetitionsLeft = 0;
    }
    return false;
}

void ArxmlModel::note(std::string text) {
    remarks.add({documents.front().path(), Severity::Note, std::move(text)});
}

} // namespace rksignal
