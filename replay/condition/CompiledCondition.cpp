#include "condition/CompiledCondition.h"

#include "condition/ConditionLanguage.h"

#include <algorithm>
#include <utility>

namespace rksignal {
namespace {

/// Says a syntax error in one line: `syntax error at 'TEXT'`.
std::string syntaxMessage(const ExpError& error) {
    if (error.excerpt.empty()) {
        return error.message + " at the start";
    }
    if (error.excerpt.back() == '\n') {
        return error.message + " at the end, behind '" + error.excerpt.substr(0, error.excerpt.size() - 1) +
               "'";
    }
    return error.message + " at '" + error.excerpt + "'";
}

/// The names that no signal has, in their order, each once.
std::vector<std::string> missingNames(const ExpParser& parser) {
    std::vector<std::string> names;
    for (const ExpError& error : parser.errors()) {
        if (std::find(names.begin(), names.end(), error.name) == names.end()) {
            names.push_back(error.name);
        }
    }
    return names;
}

std::string closeTo(const std::string& name, const SignalStorage& storage) {
    if (name == "true" || name == "false") {
        return std::string("; the word is ") + (name == "true" ? "active" : "void");
    }
    return closeSignals(name, storage);
}

Remark missingName(const std::string& name, const ConditionText& text, const SignalStorage& storage,
                   bool allowed) {
    const std::string message =
        "there is no signal " + name + (allowed ? ", it counts as 0" : "") + closeTo(name, storage);
    return {text.origin, allowed ? Severity::Warning : Severity::Error, message};
}

} // namespace

std::unique_ptr<CompiledCondition> CompiledCondition::compile(const ConditionText& text,
                                                              SignalStorage& storage,
                                                              const ConditionOptions& options,
                                                              RemarkList& remarks) {
    if (text.expression.empty()) {
        remarks.add({text.origin, Severity::Error, "there is no expression"});
        return nullptr;
    }
    std::optional<std::string> translation =
        translateExpression(text.expression, text.origin, storage, remarks);
    if (!translation) {
        return nullptr;
    }
    auto parser =
        std::make_unique<ExpParser>(translation->c_str(), options.edgeTrigger, &storage, ExpErrors::Collect);
    if (!parser->isUsable()) {
        remarks.add({text.origin, Severity::Error, syntaxMessage(parser->errors().back())});
        return nullptr;
    }
    for (const std::string& name : missingNames(*parser)) {
        remarks.add(missingName(name, text, storage, options.allowUnknown));
    }
    if (!parser->errors().empty() && !options.allowUnknown) {
        return nullptr;
    }
    return std::unique_ptr<CompiledCondition>(
        new CompiledCondition(text, std::move(*translation), std::move(parser)));
}

CompiledCondition::CompiledCondition(ConditionText text, std::string translation,
                                     std::unique_ptr<ExpParser> parser)
    : source(std::move(text)), translated(std::move(translation)), program(std::move(parser)) {}

std::vector<double> CompiledCondition::evaluate() {
    ExpParser& machine = *program;
    auto steps = machine.program.copy(); // so that the program need not keep them
    std::vector<double> values(steps.size());
    machine.clearstack();
    auto value = values.begin();
    for (machine.pc = steps.begin(); machine.pc != steps.end(); ++machine.pc) {
        (machine.*machine.pc->first)();
        *value++ = *machine.stackTop;
    }
    machine.pc = {};
    return values;
}

} // namespace rksignal
