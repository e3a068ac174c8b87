#include "replay/Catalog.h"

#include <gmock/gmock.h>

#include <sstream>

namespace rksignal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> names(const Catalog& catalog) {
    std::vector<std::string> result;
    for (const auto& signal : catalog.signals()) {
        result.push_back(signal->def.instance);
    }
    return result;
}

std::vector<std::string> notes(const Catalog& catalog) {
    std::vector<std::string> result;
    for (const DbcNote& note : catalog.notes()) {
        std::ostringstream text;
        text << note;
        result.push_back(text.str());
    }
    return result;
}

DbcFile file(const std::string& path, const std::string& text) {
    return parseDbc(text, path);
}

constexpr const char* engine = "BO_ 256 Engine: 8 ECU\n"
                               " SG_ Speed : 0|16@1+ (0.25,0) [0|0] \"rpm\" ECU\n";
constexpr const char* otherEngine = "BO_ 256 Engine: 8 ECU\n"
                                    " SG_ Speed : 0|16@1+ (0.5,0) [0|0] \"rpm\" ECU\n";

TEST(Catalog, DefinitionRecordsHoldWhatTheFileSays) {
    SignalStorage storage;
    Catalog catalog(storage);
    catalog.add(file("a.dbc", "BU_: ECU\n"
                              "BO_ 2566844926 Lamps: 8 ECU\n"
                              " SG_ Mode M : 7|4@0- (2,-1) [0|0] \"\xC2\xB0\" ECU\n"
                              " SG_ Level m5 : 8|12@1+ (1,0) [0|0] \"\" ECU\n"
                              "CM_ SG_ 2566844926 Level \"how bright\";\n"
                              "VAL_ 2566844926 Mode 1 \"On\" -1 \"Error\" ;\n"),
                3);
    ASSERT_THAT(notes(catalog), IsEmpty());
    ASSERT_THAT(names(catalog), ElementsAre("Lamps.Mode", "Lamps.Level"));
    EXPECT_EQ(storage.instancesByName.at("Lamps.Mode"), catalog.signals()[0].get());
    std::ostringstream text;
    text << catalog.signals()[1]->definition;
    EXPECT_EQ(text.str(),
              "instance=Lamps.Level,signal=Level,channel=3,unit=,type=unsigned,startbit=8,bits=12,"
              "scale=1,offset=0,endian=LITTLE,multiplexed=yes,mux=5,tslId=0,msgId=419361278,"
              "extended=yes,canFD=no,message=Lamps,sender=ECU,pduId=none,startByte=0,numBytes=0");
    const canSignalDef_t& mode = catalog.signals()[0]->definition;
    EXPECT_EQ(mode.unit, "\xC2\xB0");
    EXPECT_EQ(mode.type, signalValue_t::Signed);
    EXPECT_EQ(mode.multiplexer, 1);
    EXPECT_EQ(mode.offset, -1);
    EXPECT_EQ(catalog.signals()[0]->getValueDescription(~0UL), "Error");
    EXPECT_EQ(catalog.signals()[1]->definition.comment, "how bright");
}

TEST(Catalog, DescriptionsOfFloatsAreFoundByTheirBits) {
    SignalStorage storage;
    Catalog catalog(storage);
    catalog.add(file("a.dbc", "BO_ 1 A: 8 X\n"
                              " SG_ F : 0|32@1- (1,0) [0|0] \"\" X\n"
                              "SIG_VALTYPE_ 1 F : 1;\n"
                              "VAL_ 1 F 1 \"one\" -2 \"minus two\" ;\n"),
                std::nullopt);
    EXPECT_EQ(catalog.signals()[0]->getValueDescription(0x3F800000), "one");
    EXPECT_EQ(catalog.signals()[0]->getValueDescription(0xC0000000), "minus two");
    EXPECT_EQ(catalog.signals()[0]->getValueDescription(1), "");
}

TEST(Catalog, NamesThatAreTakenGetTheirChannelOrANumber) {
    SignalStorage storage;
    Catalog catalog(storage);
    catalog.add(file("a.dbc", engine), 0);
    catalog.add(file("a.dbc", engine), 1);
    catalog.add(file("b.dbc", otherEngine), std::nullopt);
    catalog.add(file("c.dbc", otherEngine), 1);
    EXPECT_THAT(names(catalog),
                ElementsAre("Engine.Speed", "Engine.Speed@1", "Engine.Speed#2", "Engine.Speed@1#2"));
    EXPECT_THAT(
        notes(catalog),
        ElementsAre("a.dbc:1: 1 of its instance names were taken, so Engine.Speed became Engine.Speed@1",
                    "b.dbc:1: 1 of its instance names were taken, so Engine.Speed became Engine.Speed#2",
                    "c.dbc:1: message Engine has the identifier of Engine, defined otherwise; frames are "
                    "decoded by both",
                    "c.dbc:1: 1 of its instance names were taken, so Engine.Speed became "
                    "Engine.Speed@1#2"));
}

TEST(Catalog, DefinedTwiceAlikeIsUsedOnce) {
    SignalStorage storage;
    Catalog catalog(storage);
    catalog.add(file("a.dbc", engine), std::nullopt);
    catalog.add(file("b.dbc", std::string("VERSION \"\"\n\n") + engine), std::nullopt);
    EXPECT_THAT(names(catalog), ElementsAre("Engine.Speed"));
    EXPECT_THAT(notes(catalog), ElementsAre("b.dbc:3: message Engine is already defined exactly so"));
}

TEST(Catalog, SignalsThatCannotBeDecodedAreLeftOutWithANote) {
    SignalStorage storage;
    Catalog catalog(storage);
    catalog.add(file("a.dbc", "BO_ 1 Fd: 64 X\n"
                              " SG_ Wide M : 4|64@1+ (1,0) [0|0] \"\" X\n"
                              " SG_ Selected m0 : 80|8@1+ (1,0) [0|0] \"\" X\n"
                              " SG_ Last : 504|8@1+ (1,0) [0|0] \"\" X\n"),
                std::nullopt);
    EXPECT_THAT(names(catalog), ElementsAre("Fd.Last"));
    EXPECT_THAT(
        notes(catalog),
        ElementsAre(
            "a.dbc:2: signal Fd.Wide is not decoded: it touches more than 8 bytes",
            "a.dbc:3: signal Fd.Selected is not decoded: it depends on a multiplexer that is dropped"));
}

TEST(Catalog, ClassicSignalsBeyondEightBytesAreLeftOut) {
    DbcFile definitions;
    definitions.path = "a.dbc";
    DbcMessage message;
    message.id = 1;
    message.name = "Classic";
    message.length = 8;
    DbcSignal signal;
    signal.name = "Past";
    signal.startbit = 60;
    signal.bits = 8;
    signal.line = 7;
    message.signals = {signal};
    definitions.messages = {message};
    SignalStorage storage;
    Catalog catalog(storage);
    catalog.add(definitions, std::nullopt);
    EXPECT_THAT(names(catalog), IsEmpty());
    EXPECT_THAT(notes(catalog),
                ElementsAre("a.dbc:7: signal Classic.Past is not decoded: it reaches beyond the "
                            "8 bytes of a classic frame"));
}

TEST(Catalog, IdentifiersLeadToSignalsWhateverWasBuiltBefore) {
    SignalStorage storage;
    Catalog catalog(storage);
    catalog.add(file("a.dbc", engine), 0);
    const CANSignal other(catalog.signals()[0]->definition, false, nullptr);
    catalog.add(file("a.dbc", engine), 1);
    ASSERT_EQ(catalog.signals().size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(catalog.indexOf(catalog.signals()[i]->id), i);
    }
}

TEST(Catalog, LeavesTheLibraryAsItWas) {
    const std::size_t entries = CANSignal::canContainer.size();
    SignalStorage storage;
    {
        Catalog catalog(storage);
        catalog.add(file("a.dbc", "BO_ 1 A: 8 X\n"
                                  " SG_ M M : 0|8@1+ (1,0) [0|0] \"\" X\n"
                                  " SG_ S m0 : 8|8@1+ (1,0) [0|0] \"\" X\n"),
                    std::nullopt);
        EXPECT_EQ(CANSignal::canContainer.size(), entries + 2);
    }
    EXPECT_EQ(CANSignal::canContainer.size(), entries);
    EXPECT_THAT(storage.instancesByName, IsEmpty());
    EXPECT_THAT(storage.instancesById, IsEmpty());
}

} // namespace
} // namespace rksignal
