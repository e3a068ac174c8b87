/// \file
/// What `rksignal events` writes, as whole texts.
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

ProgramResult events(const std::string& text, const std::string& option = "") {
    const TemporaryFolder folder;
    folder.write("event.txt", text);
    return folder.run("rksignal events event.txt " + option);
}

TEST(EventsCommand, ListsSignalsBySource) {
    const ProgramResult result = events("CAN.signal3 > 5 && CAN.signal12 < 9 || CAN.signal3 == DI.010\n"
                                        "Logger.Timer gps.speed GPS.Speed AI.-1 AI.2147483647");
    EXPECT_EQ(result.output, R"(source          count      number  signal
CAN                 3              CAN.signal12
                                   CAN.signal3
digital inputs      1           8  DI.010
analog inputs       1  2147483647  AI.2147483647
logger              1              Logger.Timer
logger timer        1              Logger.Timer
GPS                 1              GPS.Speed
)");
    EXPECT_EQ(nlohmann::json::parse(events("RC.TRG DI.5 RC.TRG", "--json").output), R"([
        {"source": "remote control", "count": 2, "signals": [{"name": "RC.TRG"}]},
        {"source": "digital inputs", "count": 1, "signals": [{"name": "DI.5", "number": 5}]}])"_json);
    EXPECT_EQ(events("nothing", "--json").output, "[]\n");
}

} // namespace
} // namespace rksignal
