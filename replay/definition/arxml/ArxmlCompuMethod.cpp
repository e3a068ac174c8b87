#include "definition/arxml/ArxmlCompuMethod.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

constexpr std::uint64_t mostTextsOfScale = 256; ///< values of one range that get the same text

struct Line {
    double scale = 1;
    double offset = 0;

    friend bool operator==(const Line&, const Line&) = default;
};

std::vector<double> coefficients(pugi::xml_node part) {
    std::vector<double> values;
    for (const pugi::xml_node each : part.children("V")) {
        values.push_back(arxmlNumber(each.child_value()).value_or(0));
    }
    while (!values.empty() && values.back() == 0) {
        values.pop_back();
    }
    return values;
}

/// The rational function as a line; nothing if it is none.
std::optional<Line> lineOf(pugi::xml_node coefficientsOfScale, bool isInverse) {
    const std::vector<double> numerator = coefficients(coefficientsOfScale.child("COMPU-NUMERATOR"));
    const pugi::xml_node divisor = coefficientsOfScale.child("COMPU-DENOMINATOR");
    const std::vector<double> denominator = divisor.child("V") ? coefficients(divisor) : std::vector{1.0};
    if (numerator.size() != 2 || denominator.size() != 1) {
        return std::nullopt;
    }
    const Line line = isInverse ? Line{denominator[0] / numerator[1], -numerator[0] / numerator[1]}
                                : Line{numerator[1] / denominator[0], numerator[0] / denominator[0]};
    return std::isfinite(line.scale) && std::isfinite(line.offset) ? std::optional(line) : std::nullopt;
}

bool isOpen(pugi::xml_node limit) {
    return std::string_view(limit.attribute("INTERVAL-TYPE").value()) == "OPEN";
}

/// Reads the scales of one method into one record.
class CompuScales {
  public:
    CompuScales(ArxmlModel& model, pugi::xml_node method, baseSignalDef_t& record)
        : model(model), method(method), record(record) {}

    ArxmlLimits apply() {
        pugi::xml_node direction = method.child("COMPU-INTERNAL-TO-PHYS");
        const bool isInverse = !direction;
        direction = isInverse ? method.child("COMPU-PHYS-TO-INTERNAL") : direction;
        for (const pugi::xml_node scale : direction.child("COMPU-SCALES").children("COMPU-SCALE")) {
            if (scale.child("COMPU-CONST")) {
                isInverse ? model.leftOut(method, "texts of the inverse direction only are left out")
                          : addTexts(scale);
            } else {
                addLine(scale, isInverse);
            }
        }
        expandMasks();
        if (line) {
            record.scale = line->scale;
            record.offset = line->offset;
        }
        return isInverse ? ArxmlLimits() : limits;
    }

  private:
    struct Masked {
        std::uint64_t mask, value;
        std::string text;
    };

    void addLine(pugi::xml_node scale, bool isInverse) {
        const pugi::xml_node rational = scale.child("COMPU-RATIONAL-COEFFS");
        const std::optional<Line> piece = rational ? lineOf(rational, isInverse) : Line();
        if (!piece || scale.child("COMPU-GENERIC-MATH")) {
            return model.leftOut(method, "is not linear; physical values are the raw ones");
        }
        if (line && *line != *piece) {
            return model.leftOut(method, "has several linear pieces; only the first is taken");
        }
        const ArxmlLimits piecewise = arxmlLimits(scale);
        limits.lower = line && limits.lower && piecewise.lower ? std::min(*limits.lower, *piecewise.lower)
                       : line                                  ? std::nullopt
                                                               : piecewise.lower;
        limits.upper = line && limits.upper && piecewise.upper ? std::max(*limits.upper, *piecewise.upper)
                       : line                                  ? std::nullopt
                                                               : piecewise.upper;
        line = piece;
    }

    /// The text of a value, or of a range of values; that of a table of numbers is the number.
    void addTexts(pugi::xml_node scale) {
        const pugi::xml_node constant = scale.child("COMPU-CONST");
        std::string_view text = arxmlText(constant, {"VT", "V", "VF"});
        text = text.empty() ? arxmlText(scale, {"SHORT-LABEL"}) : text;
        const pugi::xml_node lower = arxmlChild(scale, {"LOWER-LIMIT", "UPPER-LIMIT"});
        const pugi::xml_node upper = arxmlChild(scale, {"UPPER-LIMIT", "LOWER-LIMIT"});
        const auto first = arxmlRawWord(lower.child_value(), record.type);
        const auto last = arxmlRawWord(upper.child_value(), record.type);
        if (!first || !last) {
            return model.leftOut(method,
                                 "text \"" + std::string(text) + "\" has no range of values; left out");
        }
        if (const auto mask = arxmlUnsigned(arxmlText(scale, {"MASK"}))) {
            masked.push_back({*mask, *first, std::string(text)});
            return;
        }
        const bool isPoint = *first == *last;
        const std::uint64_t begin = *first + (isOpen(lower) && !isPoint ? 1 : 0);
        const std::uint64_t count = *last - begin + (isOpen(upper) && !isPoint ? 0 : 1);
        const bool isReal = record.type == signalValue_t::Float || record.type == signalValue_t::Double;
        if (count - 1 >= mostTextsOfScale || (isReal && !isPoint)) {
            return model.leftOut(method, "text \"" + std::string(text) + "\" is that of more than " +
                                             std::to_string(mostTextsOfScale) + " values; left out");
        }
        for (std::uint64_t i = 0; i < count; ++i) {
            record.valueDescriptions.emplace(begin + i, text);
        }
    }

    /// The texts of all parts that a raw value has, joined as ASAM MCD-2 does.
    void expandMasks() {
        constexpr unsigned mostBits = 8;
        if (masked.empty()) {
            return;
        }
        if (record.bits > mostBits) {
            return model.leftOut(method, "texts of single bits are left out for signals of more than 8 bits");
        }
        for (std::uint64_t raw = 0; raw < std::uint64_t{1} << record.bits; ++raw) {
            std::string text;
            for (const Masked& each : masked) {
                if ((raw & each.mask) == each.value) {
                    text.append(text.empty() ? "" : "|").append(each.text);
                }
            }
            if (!text.empty()) {
                record.valueDescriptions.emplace(raw, std::move(text));
            }
        }
    }

    ArxmlModel& model;
    pugi::xml_node method;
    baseSignalDef_t& record;
    std::optional<Line> line;
    ArxmlLimits limits;
    std::vector<Masked> masked;
};

} // namespace

std::optional<std::uint64_t> arxmlRawWord(std::string_view number, signalValue_t type) {
    if (type == signalValue_t::Unsigned || type == signalValue_t::Signed) {
        const bool isNegative = number.starts_with('-');
        const auto magnitude = arxmlUnsigned(number.substr(isNegative ? 1 : 0));
        return magnitude && isNegative ? std::optional(0 - *magnitude) : magnitude;
    }
    const auto value = arxmlNumber(number);
    if (!value) {
        return std::nullopt;
    }
    return type == signalValue_t::Float ? std::bit_cast<std::uint32_t>(static_cast<float>(*value))
                                        : std::bit_cast<std::uint64_t>(*value);
}

ArxmlLimits arxmlLimits(pugi::xml_node element) {
    const auto finite = [element](const char* tag) {
        const auto limit = arxmlNumber(element.child(tag).child_value());
        return limit && std::isfinite(*limit) ? limit : std::nullopt;
    };
    return {finite("LOWER-LIMIT"), finite("UPPER-LIMIT")};
}

ArxmlLimits applyCompuMethod(ArxmlModel& model, pugi::xml_node method, baseSignalDef_t& record) {
    const std::string_view category = arxmlText(method, {"CATEGORY"});
    if (category == "TAB_INTP" || category == "FORMULA") {
        model.leftOut(method, "is not linear; physical values are the raw ones");
        return {};
    }
    return CompuScales(model, method, record).apply();
}

} // namespace rksignal
