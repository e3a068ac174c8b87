/// \file
/// Parameter groups of SAE J1939: which definition decodes a frame, senders, and messages of several frames.
#include "condition/Condition.h"
#include "definition/json/DefinitionText.h"
#include "replay/CandumpFrame.h"
#include "value/Replay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace rksignal {
namespace {

/// Groups F004 (PDU2), 0000 (PDU1) and FECA, of any sender but for one.
constexpr const char* definitions =
    R"(BA_DEF_ BO_ "VFrameFormat" ENUM "StandardCAN","ExtendedCAN","reserved","J1939PG";
BA_DEF_DEF_ "VFrameFormat" "J1939PG";
BO_ 2364540158 EEC: 8 X
 SG_ S : 0|8@1+ (1,0) [0|0] ""
BO_ 2348810494 TSC: 8 X
 SG_ T : 0|8@1+ (1,0) [0|0] ""
BO_ 2348810245 TSC5: 8 X
 SG_ T : 0|8@1+ (1,0) [0|0] ""
BO_ 1 Short: 8 X
 SG_ U : 0|8@1+ (1,0) [0|0] ""
BO_ 2566834942 DM: 1785 X
 SG_ First : 0|8@1+ (1,0) [0|0] ""
 SG_ Big : 119|16@0+ (1,0) [0|0] ""
 SG_ Last : 14272|8@1+ (1,0) [0|0] ""
)";

struct Values : ValueSink {
    explicit Values(const Catalog& catalog) : catalog(catalog), size(catalog.signals().size()) {}
    void signalsAdded() override { size = catalog.signals().size(); }
    void written(const MessageInfo&, std::span<const unsigned long> ids) override {
        for (const unsigned long id : ids) {
            ASSERT_LT(catalog.indexOf(id), size) << "not announced";
            const BaseSignal& signal = *catalog.signals()[catalog.indexOf(id)];
            text << signal.def.instance << '=' << signal.slot->raw << ' ';
        }
    }

    const Catalog& catalog;
    std::size_t size;
    std::ostringstream text;
};

/// Replays frames, each behind its time in milliseconds.
/// \return the values in their order, then `| UNKNOWN FRAMES; MESSAGES PUT TOGETHER, INCOMPLETE, LOST, STRAY,
/// OPEN`.
std::string replayed(Catalog& catalog, const std::string& frames) {
    Values values(catalog);
    Replay replay(catalog, values);
    std::istringstream words(frames);
    for (std::string time, text; words >> time >> text;) {
        replay.receive(frameOf(text, std::stoull(time) * 1'000'000));
    }
    const TransportStatistics& transport = replay.statistics().transport;
    values.text << "| " << replay.statistics().unknown[0] << "; " << transport.messages << ' '
                << transport.incomplete << ' ' << transport.lostPackets << ' ' << transport.strayPackets
                << ' ' << transport.open;
    return values.text.str();
}

/// By hand from SAE J1939-21, sections 5.2 and 5.10.
TEST(ParameterGroup, FramesAndMessagesOfSeveralFramesAreDecoded) {
    const std::string announced = "0 18ECFF00#20140003FFCAFE00 "; // 20 bytes in 3 packets
    const std::string first = "50 18EBFF00#0101020304050607 ";
    const std::string second = "100 18EBFF00#0208090A0B0C0D0E ";
    const std::string third = "150 18EBFF00#030F1011121314FF ";
    const std::string values = "DM.First=1 DM.Big=3856 "; // 0x0F10
    const std::string request = "0 1CEC2100#10140003FFCAFE00 0 1CEC0021#110301FFFFCAFE00 ";
    std::string longest = "0 18ECFF00#20F906FFFFCAFE00 ";
    for (int packet = 1; packet <= 255; ++packet) {
        std::ostringstream digits;
        digits << std::hex << packet;
        const std::string byte = (packet < 16 ? "0" : "") + digits.str();
        longest += "1 18EBFF00#";
        for (int i = 0; i < 8; ++i) {
            longest += byte;
        }
        longest += ' ';
    }
    const struct {
        const char* name;
        std::string frames, expected;
    } rows[] = {
        {"priority does not matter", "0 0CF00403#01 0 18F00403#02", "EEC.S=1 EEC.S=2 | 0; 0 0 0 0 0"},
        {"nor does the destination of PDU1", "0 0C000B03#01 0 0C002103#02", "TSC.T=1 TSC.T=2 | 0; 0 0 0 0 0"},
        {"another group, another page, 11 bits", "0 0CF00503#01 0 0DF00403#01 0 001#05",
         "Short.U=5 | 2; 0 0 0 0 0"},
        {"senders, the null address too",
         "0 0CF00403#01 0 0CF00421#02 0 0CF00403#03 0 0CF004FE#04 0 0CF00421#05",
         "EEC.S=1 EEC.S@SA21=2 EEC.S=3 EEC.S@SAFE=4 EEC.S@SA21=5 | 0; 0 0 0 0 0"},
        {"a definition for the sender comes first", "0 0C000B05#01 0 0C000B06#02 0 0C000B07#03",
         "TSC5.T=1 TSC.T=2 TSC.T@SA07=3 | 0; 0 0 0 0 0"},
        {"broadcast", announced + first + second + third, values + "| 0; 1 0 0 0 0"},
        {"a packet is missing", announced + first + third, "| 0; 0 1 1 0 0"},
        {"the next broadcast takes its place", announced + first + announced + first + second + third,
         values + "| 0; 1 1 2 0 0"},
        {"too late", announced + first + "801 18EBFF00#0208090A0B0C0D0E", "| 1; 0 1 2 1 0"},
        {"a number that it does not have, a short packet",
         announced + first + "60 18EBFF00#04 60 18EBFF00#0208", "| 0; 0 0 0 2 1"},
        {"a size that does not fit its packets", "0 18ECFF00#20140004FFCAFE00 " + first, "| 1; 0 1 0 0 0"},
        {"a group without a definition", "0 18ECFF00#20140003FFCBFE00 " + first, "| 2; 0 0 0 0 0"},
        {"connection: again and in any order",
         request + "10 1CEB2100#030F1011121314FF 20 1CEB2100#0101020304050607 1200 1CEC0021#110102FFFFCAFE00 "
                   "2400 1CEB2100#0208090A0B0C0D0E 2410 1CEC0021#13140003FFCAFE00",
         values + "| 0; 1 0 0 0 0"},
        {"connection: aborted by the receiver",
         request + "10 1CEB2100#0101020304050607 20 1CEC0021#FF03FFFFFFCAFE00", "| 0; 0 1 0 0 0"},
        {"connection: acknowledged, but not recorded in full",
         request + "10 1CEB2100#0101020304050607 20 1CEB2100#030F1011121314FF 30 1CEC0021#13140003FFCAFE00",
         "| 0; 0 1 1 0 0"},
        {"side by side", announced + request + first + "55 1CEB2100#0101020304050607 " + second + third,
         values + "| 0; 1 0 0 0 1"},
        {"the longest message", longest, "DM.First=1 DM.Big=771 DM.Last=255 | 0; 1 0 0 0 0"},
    };
    for (const auto& [name, frames, expected] : rows) {
        Catalog catalog, converted;
        catalog.addDbcText(definitions, "t.dbc");
        converted.addJsonText(definitionText(catalog.decodedMessages()), "t.json");
        EXPECT_EQ(replayed(catalog, frames), expected) << name;
        EXPECT_EQ(replayed(converted, frames), expected) << name << ", converted";
    }
}

/// SAE J1939-71, section 5.1.4.
TEST(ParameterGroup, ReservedValuesAreCounted) {
    const struct {
        int bits;
        std::uint64_t lastValid, firstError, firstNotAvailable;
    } rows[] = {{2, 1, 2, 3},
                {4, 13, 14, 15},
                {8, 0xFD, 0xFE, 0xFF},
                {16, 0xFDFF, 0xFE00, 0xFF00},
                {32, 0xFDFFFFFF, 0xFE000000, 0xFF000000}};
    for (const auto& [bits, lastValid, firstError, firstNotAvailable] : rows) {
        Catalog catalog;
        catalog.addDbcText("BA_ \"ProtocolType\" \"J1939\";\nBO_ 2364540158 EEC: 8 X\n SG_ S : 0|" +
                               std::to_string(bits) + "@1+ (1,0) [0|0] \"\"\n",
                           "t.dbc");
        MessageDecoder& decoder = *catalog.decoders()[0];
        std::vector<unsigned long> ids;
        for (const std::uint64_t raw : {lastValid, firstError, firstNotAvailable}) {
            std::array<std::uint8_t, 4> bytes{};
            for (std::size_t i = 0; i < bytes.size(); ++i) {
                bytes[i] = static_cast<std::uint8_t>(raw >> (8 * i));
            }
            decoder.decode(MessageDecoder::Payload{bytes, 0, 0}, ids);
            EXPECT_EQ(catalog.signals()[0]->slot->raw, raw);
        }
        EXPECT_EQ(decoder.statistics().errors, 1U) << bits;
        EXPECT_EQ(decoder.statistics().notAvailable, 1U) << bits;
    }
}

/// An instance that a condition names is made before its sender is seen.
TEST(ParameterGroup, ConditionsNameSenders) {
    Catalog catalog;
    catalog.addDbcText(definitions, "t.dbc");
    Condition condition("EEC.S@SA21 > 1 && EEC.S == 5", catalog);
    ASSERT_TRUE(condition.isUsable()) << condition.remarks().kept()[0];
    EXPECT_EQ(replayed(catalog, "0 0CF00421#02 0 0CF00403#05 0 0CF00400#06"),
              "EEC.S@SA21=2 EEC.S=5 EEC.S@SA00=6 | 0; 0 0 0 0 0");
    EXPECT_EQ(condition.evaluate(), true);
    for (const char* const unknown :
         {"EEC.S@SA2 > 1", "EEC.S@SAXX > 1", "TSC5.T@SA21 > 1", "Short.U@SA21 > 1"}) {
        EXPECT_FALSE(Condition(unknown, catalog).isUsable()) << unknown;
    }
}

} // namespace
} // namespace rksignal
