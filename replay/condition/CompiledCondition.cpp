#include "condition/CompiledCondition.h"

#include "text/ClosestNames.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <string_view>
#include <utility>

namespace rksignal {
namespace {

/// Keeps what is written to std::cerr while it lives.
class CaughtErrors {
  public:
    CaughtErrors() : previous(std::cerr.rdbuf(lines.rdbuf())) {}
    ~CaughtErrors() { std::cerr.rdbuf(previous); }
    CaughtErrors(const CaughtErrors&) = delete;
    CaughtErrors& operator=(const CaughtErrors&) = delete;

    std::string text() const { return lines.str(); }

  private:
    std::ostringstream lines;
    std::streambuf* previous;
};

struct Compilation {
    std::unique_ptr<ExpParser> parser;
    std::string errors; ///< what the library said
};

Compilation compileText(const std::string& text, bool edgeTrigger, SignalStorage& storage) {
    const CaughtErrors caught;
    auto parser = std::make_unique<ExpParser>(text.c_str(), edgeTrigger, &storage);
    return {std::move(parser), caught.text()};
}

/// The library's syntax message without its frame: `syntax error at 'TEXT'`.
std::string syntaxMessage(const std::string& errors) {
    constexpr std::string_view frame = "[ERROR] expression parser: line ";
    const std::size_t line = errors.find(frame) + frame.size();
    const std::size_t begin = errors.find(' ', line) + 1;
    std::string message = errors.substr(begin, errors.find("'\n[ERROR] parser error", begin) + 1 - begin);
    const std::size_t place = message.find(" at '");
    if (message.ends_with("\n'")) {
        message.replace(message.size() - 2, 1, "");
        message.replace(place, 4, " at the end, behind ");
    } else if (message.ends_with(" at ''")) {
        message.replace(place, message.npos, " at the start");
    }
    return message;
}

/// The names that the library did not find, in its order, each once.
std::vector<std::string> missingNames(const std::string& errors) {
    constexpr std::string_view frame = "[ERROR] ExpParser::add: Signal not found: ";
    std::istringstream lines(errors);
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(frame)) {
            std::string name = line.substr(frame.size());
            if (std::find(names.begin(), names.end(), name) == names.end()) {
                names.push_back(std::move(name));
            }
        }
    }
    return names;
}

/// By step, the name for which the library has put the constant 0, or an empty one. The program does not tell
/// it from a 0 in the text; compiled with no other signals than these it does.
std::vector<std::string> missingBySteps(const ExpParser& parser, const std::vector<std::string>& names) {
    std::vector<std::string> bySteps(parser.program.size());
    if (names.empty()) {
        return bySteps;
    }
    SignalStorage storage;
    std::vector<std::unique_ptr<BaseSignal>> signals;
    for (const std::string& name : names) {
        baseSignalDef_t definition;
        definition.instance = name;
        signals.push_back(std::make_unique<BaseSignal>(definition, /*shmem=*/false, &storage));
    }
    const Compilation marked = compileText(parser.expression, false, storage);
    std::transform(marked.parser->program.begin(), marked.parser->program.end(), bySteps.begin(),
                   [](const ExpParser::Step& step) { return step.second.name; });
    return bySteps;
}

std::string closeTo(const std::string& name, const SignalStorage& storage) {
    if (name == "true" || name == "false") {
        return std::string("; the word is ") + (name == "true" ? "active" : "void");
    }
    std::vector<std::string_view> known;
    for (const auto& entry : storage.instancesByName) {
        known.emplace_back(entry.first);
    }
    return closestNames(name, known);
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
    Compilation result = compileText(text.expression, options.edgeTrigger, storage);
    if (!ExpParser::allExpParsers.contains(result.parser.get())) {
        remarks.add({text.origin, Severity::Error, syntaxMessage(result.errors)});
        return nullptr;
    }
    const std::vector<std::string> names = missingNames(result.errors);
    for (const std::string& name : names) {
        remarks.add(missingName(name, text, storage, options.allowUnknown));
    }
    if (!names.empty() && !options.allowUnknown) {
        return nullptr;
    }
    const std::vector<std::string> missing = missingBySteps(*result.parser, names);
    return std::unique_ptr<CompiledCondition>(new CompiledCondition(text, std::move(result.parser), missing));
}

CompiledCondition::CompiledCondition(ConditionText text, std::unique_ptr<ExpParser> parser,
                                     const std::vector<std::string>& missing)
    : source(std::move(text)), program(std::move(parser)), expressionTree(*program, missing),
      values(program->program.size()) {}

std::span<const double> CompiledCondition::evaluate() {
    ExpParser& machine = *program;
    machine.clearstack();
    auto value = values.begin();
    for (machine.pc = machine.program.begin(); machine.pc != machine.program.end(); ++machine.pc) {
        (machine.*machine.pc->first)();
        *value++ = *machine.stackTop;
    }
    return values;
}

} // namespace rksignal
