// What stands between the scanner and the parser of expressions: tokens one way, error messages the other.

#include "expression/ExpGrammar.h"
#include "expression/ExpLexer.h"
#include "expression/ExpParser.h"

#include <clocale>
#include <cstdlib>
#include <cstring>

namespace {

ExpParser& expressionOf(void* parser) {
    return *static_cast<ExpParser*>(parser);
}

ExpLexer& lexerOf(void* parser) {
    return static_cast<ExpLexer&>(*expressionOf(parser).lexer);
}

/// Always with a decimal point, whatever the process's locale has. Not std::from_chars, which leaves a number
/// that is too large or too small for a double to the caller.
double numberOf(const char* digits) {
    static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtod_l(digits, nullptr, classic);
}

} // namespace

int ExpLexer::next() {
    excerptBegin = tokenBegin;
    excerptLine = lineno();
    const int code = yylex();
    tokenBegin = position - (code == YYEOF ? 0 : static_cast<std::size_t>(YYLeng()));
    return code;
}

ExpError ExpLexer::errorAtToken(ExpError::Kind kind, const char* message, const std::string& text) const {
    return {.kind = kind,
            .message = message,
            .line = excerptLine,
            .excerpt = excerpt(text),
            .name = kind == ExpError::Kind::LongName ? YYText() : ""};
}

std::string ExpLexer::excerpt(const std::string& text) const {
    const bool isOfText = excerptBegin <= text.size(); // a client may have given the scanner another text
    return isOfText ? text.substr(excerptBegin, position - excerptBegin) : std::string();
}

void ExpLexer::release() {
    yypop_buffer_state();
    yyin.rdbuf(&nothing);
    yy_init = 0; // makes a new buffer if it is asked for another token
    yytext = &noText;
    yyleng = 0;
}

void reportAtToken(void* parser, ExpError::Kind kind, const char* message) {
    ExpParser& expression = expressionOf(parser);
    expression.report(lexerOf(parser).errorAtToken(kind, message, expression.expression + '\n'));
}

int explex(YYSTYPE* value, void* parser) {
    ExpLexer& lexer = lexerOf(parser);
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
