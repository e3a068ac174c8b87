/* The grammar of the expression language. The rules are numbered as a trace names them. Every action adds one step
   to the expression, operands before their operator. */
%code top {
// Names that clients know; bison's own are macros within this file alone.
#define yyparse expparse
#define yylex explex
#define yyerror reportDeepNesting
#define yydebug expdebug
#define YYDEBUG 1
}
%code {
#include "expression/ExpLexer.h"
#include "expression/ExpParser.h"
#include "expression/ParserTrace.h"
#define YYSTYPE_IS_DECLARED 1
#define YYSTYPE_IS_TRIVIAL 1 // the stacks may grow

static void add(void* parser, ExpParser::Operation operation) {
    static_cast<ExpParser*>(parser)->add(operation);
}

static void add(void* parser, double constant) {
    static_cast<ExpParser*>(parser)->add(constant);
}

// The error that bison reports by itself: its stacks are full.
static void reportDeepNesting(void* parser, const char* message) {
    reportAtToken(parser, ExpError::Kind::DeepNesting, message);
}
}
%define api.pure full
%define api.header.include {"expression/ExpGrammar.h"}
%define parse.error custom
%define parse.trace
%parse-param {void* parser}
%lex-param {void* parser}

%token YYEOF 0 "$end"
%token <number> NUM 258
%token <text> STRING 259
%token FC_RELEASED 260 FC_PRESSED 261 FC_PRESSED_LONG 262 HIGH 263 LOW 264
%token LOGGER_OK 265 LOGGER_ERROR 266 LOGGER_NOSYNC 267 LOGGER_WARNING 268 LOGGER_FW_UPDATE 269 LOGGER_MEM 270
%token LOGGER_RING 271
%token TRUE 272 FALSE 273
%token D2BOOL 274
%token LOR 275 LAND 276
%token LE 277 GE 278 EQ 279 NE 280

/* From the loosest binding to the tightest. A number is taken as a boolean only where nothing else fits: the level
   of AS_BOOLEAN is below all that may follow a number. */
%precedence AS_BOOLEAN
%precedence '\n' ')'
%left LOR LAND     /* one level, on purpose */
%left EQ NE        /* between booleans */
%precedence '!'        /* next come the comparisons, which cannot chain and so need no level */
%left '+' '-'
%left '*' '/' '%'
%precedence NEG 281
%token '^'         /* no operator */
%%
line:
    boolexp '\n'
|   exp '\n'
;
boolexp:
    exp %prec AS_BOOLEAN        { add(parser, &ExpParser::opnz); }
|   exp NE exp                  { add(parser, &ExpParser::opdne); }
|   exp LE exp                  { add(parser, &ExpParser::ople); }
|   exp '<' exp                 { add(parser, &ExpParser::oplt); }
|   exp GE exp                  { add(parser, &ExpParser::opge); }
|   exp '>' exp                 { add(parser, &ExpParser::opgt); }
|   exp EQ exp                  { add(parser, &ExpParser::opdeq); }
|   '!' boolexp                 { add(parser, &ExpParser::opnot); }
|   boolexp LOR boolexp         { add(parser, &ExpParser::oplor); }
|   boolexp LAND boolexp        { add(parser, &ExpParser::opland); }
|   boolexp EQ boolexp          { add(parser, &ExpParser::opbeq); }
|   boolexp NE boolexp          { add(parser, &ExpParser::opbne); }
|   '(' boolexp ')'
;
exp:
    CONST
|   NUM                         { add(parser, $1); }
|   STRING                      { static_cast<ExpParser*>(parser)->add(std::string($1)); }
|   exp '+' exp                 { add(parser, &ExpParser::opplus); }
|   exp '-' exp                 { add(parser, &ExpParser::opminus); }
|   exp '*' exp                 { add(parser, &ExpParser::opmult); }
|   exp '/' exp                 { add(parser, &ExpParser::opdiv); }
|   exp '%' exp                 { add(parser, &ExpParser::opmod); }
|   '-' exp %prec NEG           { add(parser, &ExpParser::opneg); }
|   '+' exp %prec NEG
|   '(' exp ')'
;
CONST:
    FC_RELEASED                 { add(parser, 0.0); }
|   FC_PRESSED                  { add(parser, 1.0); }
|   FC_PRESSED_LONG             { add(parser, 2.0); }
|   HIGH                        { add(parser, 1.0); }
|   LOW                         { add(parser, 0.0); }
|   LOGGER_OK                   { add(parser, 0.0); }
|   LOGGER_ERROR                { add(parser, 1.0); }
|   LOGGER_NOSYNC               { add(parser, 2.0); }
|   LOGGER_WARNING              { add(parser, 3.0); }
|   LOGGER_FW_UPDATE            { add(parser, 4.0); }
|   LOGGER_MEM                  { add(parser, 5.0); }
|   LOGGER_RING                 { add(parser, 6.0); }
|   TRUE                        { add(parser, 1.0); }
|   FALSE                       { add(parser, 0.0); }
;
%%
static int yyreport_syntax_error(const yypcontext_t*, void* parser) {
    reportAtToken(parser, ExpError::Kind::Syntax, "syntax error");
    return 0;
}
