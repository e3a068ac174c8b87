// What stands between the scanner and the parser of expressions: tokens one way, error messages the other.

#include "expression/ExpGrammar.h"
#include "expression/ExpLexer.h"
#include "expression/ExpParser.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>

namespace {

ExpParser& expressionOf(void* parser) {
    return *static_cast<ExpParser*>(parser);
}

/// Always with a decimal point, whatever the process's locale has. Not std::from_chars, which leaves a number
/// that is too large or too small for a double to the caller.
double numberOf(const char* digits) {
    static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtod_l(digits, nullptr, classic);
}

/// Is always at the end: the code of each token is 0.
class SpentLexer : public expFlexLexer {
  public:
    SpentLexer() { yytext = &noText; }
    int yylex() override { return YYEOF; }

  private:
    char noText = '\0';
};

} // namespace

std::shared_ptr<expFlexLexer> spentLexer() {
    static SpentLexer spent;
    return {std::shared_ptr<void>(), &spent}; // owned by none of them
}

/// With a buffer that the text fits into, up to a size at which reading in pieces costs nothing.
ExpLexer::ExpLexer(std::string_view textToScan) : text(textToScan) {
    constexpr std::size_t largestBuffer = 16'384;
    constexpr std::size_t reserve = 2; // which the scanner leaves free
    const std::size_t size = std::min(text.size() + reserve, largestBuffer);
    yy_switch_to_buffer(yy_create_buffer(yyin, static_cast<int>(size)));
}

int ExpLexer::LexerInput(char* buffer, int size) {
    const std::size_t length = text.copy(buffer, static_cast<std::size_t>(size), handedOver);
    handedOver += length;
    return static_cast<int>(length);
}

int ExpLexer::next() {
    excerptBegin = tokenBegin;
    excerptLine = lineno();
    const int code = yylex();
    tokenBegin = position - (code == YYEOF ? 0 : static_cast<std::size_t>(YYLeng()));
    return code;
}

ExpError ExpLexer::errorAtToken(ExpError::Kind kind, const char* message) const {
    const std::size_t begin = std::min(excerptBegin, position);
    return {.kind = kind,
            .message = message,
            .line = excerptLine,
            .excerpt = std::string(text.substr(begin, position - begin)),
            .name = kind == ExpError::Kind::LongName ? YYText() : ""};
}

void reportAtToken(void* parser, ExpError::Kind kind, const char* message) {
    ExpParser& expression = expressionOf(parser);
    if (expression.scanner != nullptr) {
        expression.report(expression.scanner->errorAtToken(kind, message));
    } else {
        expression.report(
            {.kind = kind, .message = message, .line = expression.line(), .excerpt = {}, .name = {}});
    }
}

int explex(YYSTYPE* value, void* parser) {
    ExpLexer* const scanner = expressionOf(parser).scanner;
    if (scanner == nullptr) {
        return YYEOF;
    }
    ExpLexer& lexer = *scanner;
    const int code = lexer.next();
    const auto length = static_cast<std::size_t>(lexer.YYLeng());
    if (code == NUM) {
        value->number = numberOf(lexer.YYText());
    } else if (code == STRING) {
        if (length >= sizeof value->text) { // cut, it could be the name of another signal
            reportAtToken(parser, ExpError::Kind::LongName, "name of 128 characters or more");
            return YYerror;
        }
        std::memcpy(value->text, lexer.YYText(), length + 1);
    }
    return code;
}

void experror(void* parser, const char* message) {
    reportAtToken(parser, ExpError::Kind::Syntax, message);
}
