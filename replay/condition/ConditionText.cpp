#include "condition/ConditionText.h"

#include "trace/TraceFormat.h"
#include "trace/log/LineReader.h"

#include <string_view>

namespace rksignal {
namespace {

constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";
constexpr std::string_view nameCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_.-0123456789";

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

/// The name before a single `=`, or nothing.
std::string_view leadingName(std::string_view text) {
    const std::string_view name = trimmed(text.substr(0, text.find('=')));
    const std::size_t equals = text.find('=');
    const bool isSingle = equals != text.npos && text.substr(equals, 2) != "==";
    const bool isName = !name.empty() && letters.find(name.front()) != letters.npos &&
                        name.find_first_not_of(nameCharacters) == name.npos;
    return isSingle && isName ? name : std::string_view();
}

ConditionText parse(std::string_view text) {
    const std::string_view name = leadingName(text);
    const std::string_view expression = trimmed(name.empty() ? text : text.substr(text.find('=') + 1));
    return {std::string(name.empty() ? expression : name), std::string(expression), {}, !name.empty()};
}

/// Why a line cannot hold a condition, or null.
const char* whyUnusable(std::string_view line, bool tooLong) {
    if (tooLong) {
        return "line is too long";
    }
    return line.find('\0') != line.npos ? "line holds a NUL character" : nullptr;
}

} // namespace

ConditionText parseCondition(const std::string& argument, const std::string& place) {
    ConditionText condition = parse(argument);
    condition.origin = place + ' ' + (condition.isNamed ? condition.name : "'" + condition.expression + "'");
    return condition;
}

std::vector<ConditionText> readConditions(const std::string& path, RemarkList& remarks) {
    if (const auto format = path != "-" ? detectTrace(path) : std::nullopt) {
        throw Error(path + " is " + formatName(*format) + ", not a file of conditions");
    }
    InputFile file(path);
    LineReader reader(file);
    std::vector<ConditionText> conditions;
    std::string_view line;
    while (reader.next(line)) {
        const std::string_view text = trimmed(line);
        const std::string origin = path + ":" + std::to_string(reader.lineNumber());
        if (const char* const reason = whyUnusable(line, reader.tooLong())) {
            remarks.add({origin, Severity::Error, reason, {}, reader.lineNumber()});
        } else if (!text.empty() && text.front() != '#') {
            conditions.push_back(parse(text));
            conditions.back().origin = origin;
        }
    }
    return conditions;
}

} // namespace rksignal
