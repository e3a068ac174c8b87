#include "condition/ConditionLanguage.h"

#include "condition/ConditionTokens.h"
#include "condition/SignalRange.h"
#include "text/ClosestNames.h"
#include "text/DbcWords.h"
#include "text/NumberText.h"
#include "text/ParseNumber.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

using ValueTable = std::map<std::uint64_t, std::string>;

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

std::string quotedText(std::string_view text) {
    std::string quoted = "\"";
    for (const char character : text) {
        quoted += character == '"' ? "\\\"" : std::string(1, character);
    }
    return quoted + '"';
}

/// What is commonly written for an operator, and the operator; empty if the token is none of these.
std::string_view operatorFor(std::string_view token) {
    constexpr std::pair<std::string_view, std::string_view> operators[] = {
        {"and", "&&"}, {"or", "||"}, {"not", "!"}, {"=", "=="},  {"===", "=="},
        {"!==", "!="}, {"<>", "!="}, {"=>", ">="}, {"=<", "<="},
    };
    const auto* const entry =
        std::find_if(std::begin(operators), std::end(operators),
                     [token](const auto& each) { return equalsIgnoringCase(each.first, token); });
    return entry != std::end(operators) ? entry->second : std::string_view();
}

bool isComparisonSymbol(const Token& token) {
    constexpr std::string_view symbols[] = {
        "==", "!=", "<", "<=", ">", ">=", "=", "===", "!==", "<>", "=>", "=<"};
    return token.kind == TokenKind::Symbol &&
           std::find(std::begin(symbols), std::end(symbols), token.text) != std::end(symbols);
}

bool isArithmetic(const Token& token) {
    return token.kind == TokenKind::Symbol && token.text.find_first_of("+-*/%") == 0;
}

/// A value table as the end of a remark: `its texts are "Off" (0), "On" (1)`, with the values to compare
/// with.
std::string textList(const BaseSignal& signal) {
    constexpr std::size_t maxTexts = 20;
    const ValueTable& table = signal.def.valueDescriptions;
    SignalRange range(signal);
    std::string list;
    std::size_t count = 0;
    for (const auto& [raw, text] : table) {
        if (++count > maxTexts) {
            return list + " and " + std::to_string(table.size() - maxTexts) + " more";
        }
        list += (list.empty() ? "its texts are " : ", ") + quotedText(text) + " (" +
                doubleText(range.valueOf(raw)) + ")";
    }
    return list;
}

/// Translates one expression.
class Translator {
  public:
    Translator(const std::string& expression, const std::string& origin, const SignalStorage& signals,
               RemarkList& remarks)
        : expression(expression), origin(origin), signals(signals), remarks(remarks),
          tokens(conditionTokens(expression)) {}

    std::optional<std::string> run() {
        for (at = 0; at < tokens.size(); ++at) {
            translate(tokens[at]);
        }
        if (!mistakes.empty()) {
            fail(mistakes, "write '" + edited(corrections) + "'");
        }
        return failed ? std::nullopt : std::optional(edited(translations));
    }

  private:
    /// A token, and what stands in its place.
    struct Edit {
        std::string_view replaced;
        std::string replacement;
    };

    void translate(const Token& token) {
        switch (token.kind) {
        case TokenKind::Hexadecimal:
            return translateNumber(token);
        case TokenKind::Text:
            return translateText(token);
        case TokenKind::OpenText:
            return fail("the quote before " + std::string(token.text.substr(1)) + " is not closed");
        case TokenKind::Name:
        case TokenKind::Number:
            return isBareText(token) ? void() : correctOperator(token);
        case TokenKind::Symbol:
            return correctOperator(token);
        }
    }

    void translateNumber(const Token& token) {
        const auto value = parseNumber<std::uint64_t>(token.text.substr(2), 16);
        if (!value) {
            return fail(std::string(token.text) + " is not a hexadecimal number of at most 16 digits");
        }
        replaceByNumber(token.text, std::to_string(*value));
    }

    /// Of a text in quotes.
    void translateText(const Token& token) {
        const std::string text = unquoted(token.text.substr(1, token.text.size() - 2));
        const Token* const name = comparedName();
        if (name == nullptr) {
            return fail("the text " + quotedText(text) + " is not compared with a signal",
                        "write SIGNAL == " + quotedText(text));
        }
        const BaseSignal* const signal = find(name->text);
        if (signal == nullptr) {
            return fail("there is no signal " + std::string(name->text) +
                        closeSignals(std::string(name->text), signals));
        }
        if (const auto number = numberOf(*signal, text)) {
            replaceByNumber(token.text, *number);
        }
    }

    /// Keeps the number apart from what it would be one word with.
    void replaceByNumber(std::string_view token, const std::string& number) {
        const std::size_t start = offsetOf(token);
        const std::size_t end = start + token.size();
        const bool joinsBefore = start > 0 && !endsName(expression[start - 1]);
        const bool joinsBehind = end < expression.size() && !endsName(expression[end]);
        translations.push_back({token, (joinsBefore ? " " : "") + number + (joinsBehind ? " " : "")});
    }

    /// The name on the other side of the comparison that the token here is one side of; null if there is
    /// none.
    const Token* comparedName() const {
        const auto isName = [this](std::size_t index) {
            return index < tokens.size() && tokens[index].kind == TokenKind::Name;
        };
        const auto compares = [this](std::size_t index) {
            return index < tokens.size() && isComparisonSymbol(tokens[index]);
        };
        if (compares(at - 1) && isName(at - 2) &&
            !(at >= 3 && isArithmetic(tokens[at - 3]))) { // or beyond the end
            return &tokens[at - 2];
        }
        const bool isLeft = compares(at + 1) && isName(at + 2);
        const bool isAlone = at + 3 >= tokens.size() || !isArithmetic(tokens[at + 3]);
        return isLeft && isAlone ? &tokens[at + 2] : nullptr;
    }

    const BaseSignal* find(std::string_view name) const {
        const auto entry = signals.instancesByName.find(std::string(name));
        return entry != signals.instancesByName.end() ? entry->second : nullptr;
    }

    /// The value that a signal has with this text.
    std::optional<std::string> numberOf(const BaseSignal& signal, const std::string& text) {
        const ValueTable& table = signal.def.valueDescriptions;
        const auto hasText = [&text](const auto& entry) { return entry.second == text; };
        const auto entry = std::find_if(table.begin(), table.end(), hasText);
        if (entry == table.end()) {
            const std::string& name = signal.def.instance;
            fail(name + (table.empty() ? " has no texts, and not " : " has no text ") + quotedText(text),
                 textList(signal));
            return std::nullopt;
        }
        if (std::any_of(std::next(entry), table.end(), hasText)) {
            fail("several values of " + signal.def.instance + " have the text " + quotedText(text),
                 textList(signal));
            return std::nullopt;
        }
        return doubleText(SignalRange(signal).valueOf(entry->first));
    }

    /// Whether a text without quotes starts with the token: then corrects it, and passes over it.
    bool isBareText(const Token& token) {
        const bool isCompared = at >= 2 && isComparisonSymbol(tokens[at - 1]);
        const BaseSignal* const signal = isCompared ? find(tokens[at - 2].text) : nullptr;
        if (signal == nullptr || find(token.text) != nullptr || isNumberWord(token.text)) {
            return false;
        }
        const std::string_view rest = std::string_view(expression).substr(offsetOf(token.text));
        std::string_view longest;
        std::string_view found;
        for (const auto& [raw, text] : signal->def.valueDescriptions) {
            const std::string_view written = rest.substr(0, text.size());
            const bool isWhole = rest.size() == written.size() || endsName(rest[written.size()]);
            const bool isNumber = token.kind == TokenKind::Number && text.size() == token.text.size();
            if (text.size() > longest.size() && isWhole && !isNumber && equalsIgnoringCase(written, text)) {
                longest = text;
                found = written;
            }
        }
        if (found.empty()) {
            return false;
        }
        correct(found, quotedText(longest));
        while (at + 1 < tokens.size() && offsetOf(tokens[at + 1].text) < offsetOf(found) + found.size()) {
            ++at;
        }
        return true;
    }

    void correctOperator(const Token& token) {
        const std::string_view symbol = operatorFor(token.text);
        if (symbol.empty() || find(token.text) != nullptr) {
            return;
        }
        const bool isNot = symbol == "!" && at + 1 < tokens.size();
        const std::size_t end =
            isNot ? offsetOf(tokens[at + 1].text) : offsetOf(token.text) + token.text.size();
        correct(token.text, std::string(symbol));
        corrections.back().replaced =
            std::string_view(expression).substr(offsetOf(token.text), end - offsetOf(token.text));
    }

    void correct(std::string_view written, std::string right) {
        const std::string mistake = "'" + std::string(written) + "' is written " + right;
        if (mistakes.find(mistake) == mistakes.npos) {
            mistakes += (mistakes.empty() ? "" : ", ") + mistake;
        }
        corrections.push_back({written, std::move(right)});
    }

    std::size_t offsetOf(std::string_view part) const {
        return static_cast<std::size_t>(part.data() - expression.data());
    }

    std::string edited(const std::vector<Edit>& edits) const {
        std::string text;
        std::size_t copied = 0;
        for (const Edit& edit : edits) {
            const std::size_t start = offsetOf(edit.replaced);
            text.append(expression, copied, start - copied).append(edit.replacement);
            copied = start + edit.replaced.size();
        }
        return text.append(expression, copied);
    }

    void fail(std::string message, std::string suggestion = {}) {
        failed = true;
        remarks.add({origin, Severity::Error, std::move(message), std::move(suggestion)});
    }

    const std::string& expression;
    const std::string& origin;
    const SignalStorage& signals;
    RemarkList& remarks;
    std::vector<Token> tokens;
    std::size_t at = 0; ///< index of the token that is looked at
    std::vector<Edit> translations;
    std::vector<Edit> corrections; ///< of what is no expression
    std::string mistakes;          ///< what they are, for the remark
    bool failed = false;
};

} // namespace

std::optional<std::string> translateExpression(const std::string& expression, const std::string& origin,
                                               const SignalStorage& signals, RemarkList& remarks) {
    return Translator(expression, origin, signals, remarks).run();
}

std::string closeSignals(const std::string& name, const SignalStorage& signals) {
    std::vector<std::string_view> known;
    for (const auto& entry : signals.instancesByName) {
        known.emplace_back(entry.first);
    }
    return closestNames(name, known);
}

} // namespace rksignal
