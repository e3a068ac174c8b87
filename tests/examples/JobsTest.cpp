// The demo's drive in all its formats, read by several threads: they are not to be seen.

#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

TEST(Jobs, DoNotShowInTheDrive) {
    const rksignal::TemporaryFolder folder;
    folder.run("ln -s " PROJECT_FOLDER "/examples/drive/* .; " MAKE_DRIVE
               " --output drive.log --records drive.rktrace --nmea drive.nmea --capture drive.pcapng\n"
               "for format in asc blf rktrace pcapng; do rksignal convert drive.log can.$format; done");
    const std::string buses = "--dbc 0=drive.dbc --dbc 1=body.dbc ";
    const std::string others = "--definitions drive.ldf --definitions drive.arxml ";
    for (const std::string& command : std::initializer_list<std::string>{
             "decode drive.log " + buses, "decode can.asc " + buses, "decode can.blf " + buses,
             "decode can.rktrace " + buses, "decode can.pcapng " + buses,
             "decode --changed drive.log " + buses, "decode --last drive.rktrace " + buses,
             "decode drive.rktrace --signals logger.json " + buses, "decode drive.rktrace " + others + buses,
             "decode --strict drive.pcapng --signals logger.json " + others,
             "decode drive.log drive.pcapng --gps drive.nmea --signals logger.json " + buses,
             "info drive.rktrace", "audit drive.log " + buses,
             "report drive.rktrace --signals logger.json -o page.html " + buses}) {
        const auto outputOf = [&](const char* jobs) {
            const auto run = folder.run("rm -f page.html; rksignal " + command + " --jobs " + jobs +
                                        " > rows; cat rows page.html 2> cat.txt > both; cksum both");
            return run.messages + run.output;
        };
        const std::string expected = outputOf("1");
        EXPECT_GT(std::filesystem::file_size(folder.path("both")), std::uintmax_t{1000})
            << command << expected;
        for (const char* const jobs : {"2", "5"}) {
            EXPECT_TRUE(outputOf(jobs) == expected) << command << jobs;
        }
    }
}

} // namespace
