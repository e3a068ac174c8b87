// What stands between the scanner and the parser of expressions: tokens one way, error messages the other.

#include "expression/ExpGrammar.h"
#include "expression/ExpLexer.h"
#include "expression/ExpParser.h"

#include <cstdlib>
#include <cstring>
#include <iostream>

namespace {

ExpParser& expressionOf(void* parser) {
    return *static_cast<ExpParser*>(parser);
}

ExpLexer& lexerOf(void* parser) {
    return static_cast<ExpLexer&>(*expressionOf(parser).lexer);
}

} // namespace

int ExpLexer::next() {
    excerptBegin = tokenBegin;
    excerptsLine = lineno();
    const int code = yylex();
    tokenBegin = position - (code == YYEOF ? 0 : static_cast<std::size_t>(YYLeng()));
    return code;
}

std::string ExpLexer::excerpt(const std::string& text) const {
    return excerptBegin == none ? std::string() : text.substr(excerptBegin, position - excerptBegin);
}

int explex(YYSTYPE* value, void* parser) {
    ExpLexer& lexer = lexerOf(parser);
    const int code = lexer.next();
    const auto length = static_cast<std::size_t>(lexer.YYLeng());
    if (code == NUM) {
        value->number = std::strtod(lexer.YYText(), nullptr);
    } else if (code == STRING) {
        if (length >= sizeof value->text) { // cut, it could be the name of another signal
            experror(parser, "name of 128 characters or more");
            return YYerror;
        }
        std::memcpy(value->text, lexer.YYText(), length + 1);
    }
    return code;
}

void experror(void* parser, const char* message) {
    const ExpLexer& lexer = lexerOf(parser);
    std::cerr << "[ERROR] expression parser: line " << lexer.excerptLine() << ' ' << message << " at '"
              << lexer.excerpt(expressionOf(parser).expression + '\n') << "'" << std::endl;
}
