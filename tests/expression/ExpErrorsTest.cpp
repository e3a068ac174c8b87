// What is said about texts that are no expressions, and while parsing is traced.

#include "expression/ExpressionTest.h"
#include "rkutil/LogUtil.h"

#include <future>

namespace {

/// Counts what it receives while no thread holds the log lock.
struct LockCheckingBuffer : std::streambuf {
    int overflow(int character) override {
        check();
        return character;
    }
    std::streamsize xsputn(const char*, std::streamsize size) override {
        check();
        return size;
    }
    int sync() override {
        check();
        return 0;
    }
    void check() {
        const auto isFree = [] { return std::unique_lock(LogUtil::logMutex, std::try_to_lock).owns_lock(); };
        unlocked += std::async(std::launch::async, isFree).get() ? 1 : 0;
        ++received;
    }
    int unlocked = 0;
    int received = 0;
};

const char* const kindNames[] = {"Syntax", "LongName", "DeepNesting", "UnknownSignal"};

std::string partsOf(const std::vector<ExpError>& errors) {
    std::ostringstream text;
    for (const ExpError& error : errors)
        text << kindNames[static_cast<int>(error.kind)] << " '" << error.message << "' line " << error.line
             << " at '" << error.excerpt << "' name '" << error.name << "' step " << error.step << '\n';
    return text.str();
}

} // namespace

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

TEST_F(ExpErrorsTest, AreKeptAsDataAndPrintedUnlessOnlyCollected) {
    const std::string tooLong(128, 'n');
    const struct {
        std::string text;
        bool isUsable;
        std::string errors;
    } rows[] = {
        {"# note\nx * 2 > y + a || x", true,
         "UnknownSignal 'Signal not found' line 2 at '' name 'x' step 0\n"
         "UnknownSignal 'Signal not found' line 2 at '' name 'y' step 3\n"
         "UnknownSignal 'Signal not found' line 2 at '' name 'x' step 7\n"},
        {"x > a & a", false,
         "UnknownSignal 'Signal not found' line 1 at '' name 'x' step 0\n"
         "Syntax 'syntax error' line 1 at 'a & a' name '' step 3\n"},
        {"a + " + tooLong, false,
         "LongName 'name of 128 characters or more' line 1 at '+ " + tooLong + "' name '" + tooLong +
             "' step 1\n"},
        {std::string(10'000, '('), false, "DeepNesting 'memory exhausted' line 1 at '((' name '' step 0\n"},
    };
    set("a", 1);
    CapturedOutput output;
    for (const auto& [text, isUsable, errors] : rows) {
        const ExpParser silent(text.c_str(), false, &storage, ExpErrors::Collect);
        EXPECT_EQ(output.err.take(), "") << text;
        EXPECT_EQ(partsOf(silent.errors()), errors);
        EXPECT_EQ(silent.isUsable(), isUsable) << text;
        std::ostringstream printed;
        for (const ExpError& error : silent.errors())
            printed << "[ERROR] " << error << '\n';
        EXPECT_EQ(partsOf(ExpParser(text.c_str(), false, &storage).errors()), errors);
        EXPECT_EQ(output.err.take(),
                  printed.str() + (isUsable ? "" : "[ERROR] parser error in ExpParser: " + text + "\n\n"));
    }
}

TEST_F(ExpErrorsTest, LinesAreWrittenUnderTheLogLock) {
    LockCheckingBuffer buffer;
    const CapturedOutput output;
    std::cout.rdbuf(&buffer);
    std::cerr.rdbuf(&buffer);
    ExpParser::debug = 1;
    ExpParser expression("nothing there", false, &storage);
    ExpParser::debug = 0;
    expression.add(1.0);
    EXPECT_EQ(result(expression), "unknown");
    EXPECT_GT(buffer.received, 5);
    EXPECT_EQ(buffer.unlocked, 0);
}

TEST_F(ExpErrorsTest, LinesFollowNoLocale) {
    CapturedOutput output;
    std::cerr.imbue(std::locale(std::cerr.getloc(), new LocalNumbers));
    ExpParser expression((std::string(1'233, '\n') + "1 1").c_str(), false);
    EXPECT_NE(output.err.take().find("line 1234 syntax"), std::string::npos);
    for (int i = 0; i < 4'320; ++i)
        expression.add(1.0);
    EXPECT_EQ(result(expression), "unknown");
    EXPECT_EQ(output.err.take(), "[ERROR] stack size wrong at end of program: 4321\n");
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
    EXPECT_EQ(
        ExpParser(("n" + zeros).c_str(), false, &storage, ExpErrors::Collect).errors().at(0).name.size(),
        zeros.size() + 1);
}

TEST_F(ExpErrorsTest, NothingIsLeftToReadAfterwards) {
    for (std::string text : {"a > 50 & d", "a > 50"}) {
        const bool isUsable = text == "a > 50";
        CapturedOutput output;
        set("a", 1);
        for (int i = 0; i < 10'000 && !isUsable; ++i)
            text += " + a";
        ExpParser expression(text.c_str(), false, &storage);
        YYSTYPE value;
        EXPECT_EQ(explex(&value, &expression), 0);
        EXPECT_EQ(explex(&value, &expression), 0);
        output.err.take();
        experror(&expression, "no more");
        EXPECT_EQ(output.err.take(), "[ERROR] expression parser: line " + std::string(isUsable ? "2" : "1") +
                                         " no more at ''\n");
        EXPECT_EQ(expression.errors().size(), isUsable ? 1U : 2U);
        EXPECT_EQ(expression.isUsable(), isUsable);
    }
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
    for (const char* const line : {"--accepting rule at line ", "Reducing stack by rule 17 (line ",
                                   "[ERROR] expression parser: line 1 syntax error at '1 ,'\n"})
        EXPECT_NE(trace.find(line), std::string::npos) << trace;
}
