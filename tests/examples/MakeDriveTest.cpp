// What make_drive writes is the same everywhere.

#include "tools/ProgramRun.h"

#include <gmock/gmock.h>

namespace {

std::string makeDrive(const std::string& options) {
    return rksignal::TemporaryFolder().run(MAKE_DRIVE " " + options).output;
}

/// Whatever the compiler, its options and the machine. A change of the model changes the numbers.
TEST(MakeDrive, IsTheSameEverywhere) {
    const std::pair<const char*, const char*> rows[] = {
        {"--seconds 310", "e61dcf32760cbb31a1f1f96a59a4f681570e518f"},
        {"--seconds 310 --records -", "ba9da61400599d29cadcd1b86c0d9acb5e2b79b1"},
        {"--seconds 310 --capture -", "853ad1d94b9ecb55eafd0ab2943e596018b71b02"},
        {"--seconds 10 --start 1709251199 --nmea -", "6eaca0a903c07995f7711bea8a7b7084f7add392"}};
    for (const auto& [options, digest] : rows) {
        EXPECT_EQ(makeDrive(std::string(options) + " | sha1sum | cut -c -40"), std::string(digest) + '\n');
    }
    EXPECT_NE(makeDrive("--seconds 10 --seed 2"), makeDrive("--seconds 10"));
    EXPECT_THAT(makeDrive("--hours 0.01"), testing::StartsWith(makeDrive("--seconds 20")));
    EXPECT_NEAR(static_cast<double>(makeDrive("--seconds 20 --load 10").size()),
                10 * static_cast<double>(makeDrive("--seconds 20").size()), 5000);
}

/// LIN by an LDF file, FlexRay and Ethernet by an ARXML file, row by row as by a JSON file. What the battery
/// sends lies in containers that AUTOSAR has not.
TEST(MakeDrive, IsDecodedByItsLdfAndArxmlFilesAsByJson) {
    const rksignal::TemporaryFolder folder;
    folder.run(MAKE_DRIVE " --seconds 60 --output drive.log --records drive.rktrace");
    const auto rows = [&folder](const std::string& definitions) {
        return folder.run(
            "cd " PROJECT_FOLDER "/examples/drive; rksignal decode --dbc 0=drive.dbc " + definitions +
            " $OLDPWD/drive.rktrace | grep -E ',(can|lin|flexray|ethernet),' | grep -v ,Energy");
    };
    const std::string byJson = rows("--definitions logger.json").output;
    EXPECT_EQ(rows("--definitions drive.ldf --definitions drive.arxml").output, byJson);
    for (const char* row : {"lin,Seat.Backrest,", "flexray,Control.Mode,", "ethernet,Journey.Odometer,"}) {
        EXPECT_THAT(byJson, testing::HasSubstr(row));
    }
}

TEST(MakeDrive, RefusesWhatItCannotDo) {
    const std::pair<const char*, const char*> rows[] = {
        {"--output /nowhere/a.log", "make_drive: cannot write /nowhere/a.log: No such file or directory\n"},
        {"--output /dev/full", "make_drive: cannot write /dev/full: No space left on device\n"},
        {"--capture /dev/full", "make_drive: cannot write /dev/full: No space left on device\n"},
        {"--load 0", "--load: Value 0 not in range 1 to 100\nRun with --help for more information.\n"}};
    for (const auto& [options, message] : rows) {
        const auto result =
            rksignal::TemporaryFolder().run(MAKE_DRIVE " --seconds 1 " + std::string(options));
        EXPECT_EQ(result.messages, message);
        EXPECT_EQ(result.status, 2) << options;
    }
}

} // namespace
