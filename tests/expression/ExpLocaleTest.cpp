// Numbers in expressions mean the same in every locale.

#include "expression/ExpressionTest.h"

#include <clocale>
#include <cstdlib>
#include <filesystem>

namespace {

/// Makes a locale with decimal commas, as few machines have one ready, and sets it for the process. Whether
/// that succeeds depends on the machine.
class CommaLocale {
  public:
    CommaLocale() {
        std::filesystem::create_directories(folder);
        const std::string command = "localedef -i de_DE -f ISO-8859-1 " + (folder / "comma").string();
        isMade = std::system((command + " >/dev/null 2>&1").c_str()) == 0;
        setenv("LOCPATH", folder.c_str(), 1);
        isSet =
            isMade && std::setlocale(LC_ALL, "comma") != nullptr && *std::localeconv()->decimal_point == ',';
    }
    ~CommaLocale() {
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
        std::filesystem::remove_all(folder);
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    bool isSet = false;

  private:
    std::filesystem::path folder =
        std::filesystem::path(testing::TempDir()) / ("locale" + std::to_string(getpid()));
    bool isMade = false;
};

} // namespace

using ExpLocaleTest = ExpressionTest;

TEST_F(ExpLocaleTest, NumbersHaveADecimalPoint) {
    const CommaLocale locale;
    if (!locale.isSet)
        GTEST_SKIP() << "this machine cannot make a locale with decimal commas";
    const ExpParser expression("1.25 + .5e1 - 1e400 > -1.5 + 1e-400", false);
    EXPECT_EQ(program(expression), "0 opdouble 1.25;1 opdouble 5;2 opplus;3 opdouble inf;4 opminus;"
                                   "5 opdouble -1.5;6 opdouble 0;7 opplus;8 opgt;");
}
