/// \file
/// Numbers in expressions mean the same in every locale.
#include "expression/ExpressionTest.h"

#include <clocale>
#include <cstdlib>
#include <filesystem>

using ExpLocaleTest = ExpressionTest;

/// Few machines have a locale with decimal commas ready, but most can make one.
TEST_F(ExpLocaleTest, NumbersHaveADecimalPoint) {
    const auto folder = std::filesystem::path(testing::TempDir()) / ("locale" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    std::system(
        ("localedef -i de_DE -f ISO-8859-1 " + (folder / "comma").string() + " >/dev/null 2>&1").c_str());
    setenv("LOCPATH", folder.c_str(), 1);
    const bool isSet = std::setlocale(LC_ALL, "comma") != nullptr && *std::localeconv()->decimal_point == ',';
    const std::string compiled = program(ExpParser("1.25 + .5e1 - 1e400 > -1.5 + 1e-400", false));
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
    std::filesystem::remove_all(folder);
    if (!isSet)
        GTEST_SKIP() << "this machine cannot make a locale with decimal commas";
    EXPECT_EQ(compiled, "0 opdouble 1.25;1 opdouble 5;2 opplus;3 opdouble inf;4 opminus;5 opdouble -1.5;"
                        "6 opdouble 0;7 opplus;8 opgt;");
}
