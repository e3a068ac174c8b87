// What is said about texts that are no expressions, and while parsing is traced.

#include "expression/ExpressionTest.h"

using ExpErrorsTest = ExpressionTest;

TEST_F(ExpErrorsTest, NameLineAndPlace) {
    const std::string longest(127, 'n');
    const std::string tooLong(128, 'n');
    const std::string wide(100'000, ' ');
    const struct {
        std::string text;
        std::string error; ///< behind "line "
    } rows[] = {
        {"a > 50 & d", "1 syntax error at '50 & d'"},
        {"a, d", "1 syntax error at 'a,'"},
        {"a ^ 2", "1 syntax error at 'a ^ 2'"},
        {"a-1.5", "1 syntax error at 'a-1.5'"},
        {"a < d < 3", "1 syntax error at 'd <'"},
        {"a < !d", "1 syntax error at '< !'"},
        {"-(!a)", "1 syntax error at '(!'"},
        {"a < d )", "1 syntax error at 'd )'"},
        {"a >", "1 syntax error at '>\n'"},
        {"", "1 syntax error at ''"},
        {") a", "1 syntax error at ''"},
        {"# note\n\n a d", "3 syntax error at 'a d'"},
        {"a\n\nd", "2 syntax error at '\n\nd'"},
        {"a >" + wide + "< d", "1 syntax error at '>" + wide + "<'"},
        {"# " + wide + "\n" + wide + "a d" + wide, "2 syntax error at 'a d'"},
        {longest + " d", "1 syntax error at '" + longest + " d'"},
        {"a > " + tooLong + " + d", "1 name of 128 characters or more at '> " + tooLong + "'"},
        {std::string(10'000, '('), "1 memory exhausted at '(('"},
    };
    set("a", 1);
    set("d", 1);
    set(longest, 1);
    CapturedOutput output;
    for (const auto& [text, error] : rows) {
        ExpParser expression(text.c_str(), false, &storage);
        EXPECT_EQ(output.err.take(), "[ERROR] expression parser: line " + error +
                                         "\n[ERROR] parser error in ExpParser: " + text + "\n\n");
        EXPECT_FALSE(ExpParser::allExpParsers.contains(&expression));
    }
    EXPECT_EQ(output.out.text(), "");
    EXPECT_THROW(ExpParser(nullptr, false), std::logic_error);
}

TEST_F(ExpErrorsTest, LongExpressionsAreParsedToTheEnd) {
    std::string text = "1";
    for (int i = 0; i < 100'000; ++i)
        text += " + 1";
    EXPECT_EQ(result(text + " == 100001"), "true");
    EXPECT_EQ(result(std::string(9'000, '(') + "1" + std::string(9'000, ')')), "true");
}

TEST_F(ExpErrorsTest, LongTokensTakeLinearTime) {
    const std::string zeros(8'000'000, '0'); // half a minute and more where time grows with the square
    EXPECT_EQ(result(zeros + "2.5 == 2.5"), "true");
    EXPECT_EQ(result("#" + zeros + "\n2.5"), "true");
}

TEST_F(ExpErrorsTest, DebugLinesAndTraces) {
    ExpParser::debug = 1;
    {
        CapturedOutput output;
        const ExpParser expression("1", false);
        EXPECT_EQ(output.out.text(), "[DEBUG] parsing 1\n\n[DEBUG] parsed\n");
        EXPECT_EQ(output.err.text(), "");
    }
    ExpParser::debug = 2;
    testing::internal::CaptureStderr();
    {
        const CapturedStream quiet(std::cout);
        const ExpParser expression("1 , 2", false);
    }
    ExpParser::debug = expdebug = 0;
    const std::string trace = testing::internal::GetCapturedStderr();
    std::size_t position = 0;
    for (const char* const line : {"Starting parse\n", "--accepting rule at line ", "Shifting token NUM (",
                                   "Reducing stack by rule 17 (line ", "Stack now 0 ",
                                   "[ERROR] expression parser: line 1 syntax error at '1 ,'\n",
                                   "Cleanup: discarding lookahead token $undefined ("}) {
        position = trace.find(line, position);
        ASSERT_NE(position, std::string::npos) << line << "is missing or out of order in\n" << trace;
    }
}
