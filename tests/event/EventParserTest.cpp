// Names in event descriptions: texts with the names worked out by hand, and a model on random ones.

#include "event/EventModel.h"

#include <gtest/gtest.h>
#include <random>
#include <sstream>

namespace {

using namespace std::string_literals;
using Names = std::vector<std::string>;

TEST(EventParser, FindsTheNames) {
    const struct {
        std::string text;
        Names names;
    } rows[] = {
        {"", {}},
        {"CAN.signal3 > 5 && CAN.signal3 < 9 DI.0x1F", {"CAN.signal3", "CAN.signal3", "DI.0"}},
        {"LIN.signal2\nFLEXRAY.signal3MII.signal04", {"LIN.signal2", "FLEXRAY.signal3", "MII.signal04"}},
        {"DI.+5 AI.-3 AI. 7 CAN.signal gps.speed GPS.Spe Logger.Star RC.TR can.signal1", {}},
        {"xCAN.signal1y.5 CAN.sigCAN.signal1 RC.FLEXRAY.signal3 FLEXRAI.5",
         {"CAN.signal1", "CAN.signal1", "FLEXRAY.signal3", "AI.5"}},
        {"GPS.TimeGPS.Date RC.TRGPS.Speed AI.3DI.4.5CAN.signal6 .. LoggerGPS.Speed.Timer.",
         {"GPS.Time", "GPS.Date", "RC.TRG", "AI.3", "DI.4", "CAN.signal6", "GPS.Speed"}},
        {"\0LIN.signal1\xff\0DI.2\0"s, {"LIN.signal1", "DI.2"}},
    };
    for (const auto& [text, names] : rows) {
        EXPECT_EQ(EventMentions(text).names, names);
        for (const EventSearch search : {EventSearch::Points, EventSearch::Scanner})
            EXPECT_EQ(tablesOf(EventParser(text, search).scanner), EventMentions(text).tables()) << text;
    }
}

TEST(EventParser, FilesInputsUnderTheirNumbers) {
    const EventParser parser("DI.010 DI.8 DI.2147483648 AI.09 AI.4294967303 AI.99999999999999999999");
    using Inputs = std::map<int, std::string>;
    EXPECT_EQ(parser.scanner.digitalInputs, (Inputs{{8, "DI.010"}, {INT_MIN, "DI.2147483648"}}));
    EXPECT_EQ(parser.scanner.analogInputs,
              (Inputs{{0, "AI.09"}, {7, "AI.4294967303"}, {-1, "AI.99999999999999999999"}}));
    EXPECT_EQ(indexPrefix, "AI.");
    const EventParser later("AI.1 DI.2 RC.F3 AI.x");
    EXPECT_EQ(indexPrefix, "DI.");
}

/// Names, whole or cut anywhere, numbers and other bytes.
std::string randomText(std::mt19937& random, std::size_t fragments) {
    std::string text;
    for (; fragments > 0; --fragments) {
        const std::string_view name = eventNames[random() % std::size(eventNames)];
        text += name.substr(0, random() % 2 == 0 ? name.find('#') : random() % name.size());
        text +=
            random() % 2 == 0 ? std::to_string(random() % 100) : std::string(1, " 0+-.\n\0I"[random() % 8]);
    }
    return text;
}

TEST(EventParser, AgreesWithTheModelOnRandomTexts) {
    std::mt19937 random(81);
    for (std::size_t round = 0; round < 3000; ++round) {
        const std::string text = randomText(random, round % 1000 == 0 ? 20'000 : round % 40);
        const EventMentions mentions(text);
        for (const EventSearch search : {EventSearch::Points, EventSearch::Scanner})
            ASSERT_EQ(tablesOf(EventParser(text, search).scanner), mentions.tables()) << text;
    }
}

TEST(EventParser, ScansLongTextsAndNamesAndWrapsCounters) {
    std::string name = "CAN.signal";
    name.resize(4'000'000, '7');
    std::string text = "CAN.signal" + name;
    text.resize(63'000'000);
    for (int mention = 0; mention < 65'538; ++mention)
        text += "RC.TRG ";
    for (const EventSearch search : {EventSearch::Points, EventSearch::Scanner}) {
        const EventParser parser(text, search);
        EXPECT_EQ(parser.scanner.allSignals, (std::set<std::string>{name, "RC.TRG"}));
        EXPECT_EQ(parser.scanner.rcCount, 2);
    }
}

TEST(EventFlexer, AddsWhatAFurtherStreamHolds) {
    EventParser parser("RC.TRG");
    EXPECT_EQ(parser.scanner.yylex(), 0); // the text is gone
    std::istringstream further("DI.4 RC.TRG");
    parser.scanner.switch_streams(&further, nullptr);
    EXPECT_EQ(parser.scanner.yylex(), 0);
    EXPECT_EQ(tablesOf(parser.scanner), EventMentions("RC.TRG DI.4 RC.TRG").tables());
}

TEST(EventFlexerDeathTest, TheBaseScannerEndsTheProcess) {
    EXPECT_EXIT(EventParser("").scanner.eventFlexLexer::yylex(), testing::ExitedWithCode(2),
                "^yyFlexLexer::yylex invoked but %option yyclass used\n$");
}

} // namespace
