#include "ExprTkCondition.h"

// What a condition has no use for, and would take long to compile.
#define exprtk_disable_string_capabilities
#define exprtk_disable_rtl_io_file
#define exprtk_disable_caseinsensitivity
#include <exprtk.hpp>

#include <stdexcept>
#include <utility>

namespace {

/// ExprTk spells the operators of conditions as words.
void respell(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

} // namespace

struct ExprTkCondition::Compiled {
    exprtk::symbol_table<double> symbols;
    exprtk::expression<double> expression;
};

ExprTkCondition::ExprTkCondition(std::string text, const std::vector<std::string>& names,
                                 std::vector<double>& variables)
    : compiled(std::make_unique<Compiled>()) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        compiled->symbols.add_variable(names[i], variables[i]);
    }
    compiled->expression.register_symbol_table(compiled->symbols);
    respell(text, "&&", " and ");
    respell(text, "||", " or ");
    if (exprtk::parser<double> parser; !parser.compile(text, compiled->expression)) {
        throw std::runtime_error("ExprTk: " + parser.error() + ": " + text);
    }
}
ExprTkCondition::ExprTkCondition(ExprTkCondition&&) noexcept = default;
ExprTkCondition::~ExprTkCondition() = default;

double ExprTkCondition::value() const {
    return compiled->expression.value();
}
