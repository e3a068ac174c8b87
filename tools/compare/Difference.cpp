#include "compare/Difference.h"

#include "text/NumberText.h"

namespace rksignal {
namespace {

using nlohmann::ordered_json;

std::string dump(const ordered_json& json) {
    return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::string textOf(const nlohmann::json& value) {
    if (value.is_number_float()) {
        return doubleText(value.get<double>());
    }
    return value.is_null() ? "none" : dump(ordered_json(value));
}

} // namespace

void Comparison::writeText(OutputBuffer& out) const {
    for (const Difference& each : differences) {
        out.append(each.property.empty()
                       ? "only in " + (each.left.is_null() ? right : left) + ": " + each.object + '\n'
                       : each.object + ": " + each.property + ' ' + textOf(each.left) + " -> " +
                             textOf(each.right) + '\n');
        out.endRow();
    }
}

void Comparison::writeJson(OutputBuffer& out) const {
    ordered_json list = ordered_json::array();
    for (const Difference& each : differences) {
        ordered_json entry{{"object", each.object}};
        if (each.property.empty()) {
            entry["only_in"] = each.left.is_null() ? "right" : "left";
        } else {
            entry["property"] = each.property;
            entry["left"] = each.left;
            entry["right"] = each.right;
        }
        list.push_back(std::move(entry));
    }
    out.append(dump({{"kind", kind}, {"left", left}, {"right", right}, {"differences", list}}) + '\n');
}

} // namespace rksignal
