/// \file
/// Definition files: what they define, what is said about wrong ones, and that the schema agrees.
#include "definitions/DefinitionFile.h"
#include "definitions/DefinitionText.h"
#include "input/GPSSignal.h"
#include "input/KeyboardSignal.h"
#include "input/LoggerStatusSignal.h"
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

namespace rksignal {
namespace {

const std::filesystem::path project = PROJECT_FOLDER;

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The example of the manual.
std::string example() {
    const std::string manual = contentOf(project / "docs/rksignal.md");
    const std::size_t start = manual.find("```json\n") + 8;
    return manual.substr(start, manual.find("```", start) - start);
}

struct WrongDocument {
    const char* name;
    const char* text;
    const char* messages; ///< without the file name in front of each
    bool schemaAccepts = false;
};

const std::vector<WrongDocument> wrongDocuments = {
    {"not an object", "[]", "#: expected an object, found an array"},
    {"unknown kind", R"({"cans": [], "$schema": 1})",
     "#/$schema: expected a text, found 1\n"
     "#: expected a known member, found \"cans\"; close are can, analog, gps"},
    {"not an array", R"({"lin": {}})", "#/lin: expected an array, found an object"},
    {"not a definition", R"({"can": [null]})", "#/can/0: expected an object, found null"},
    {"members missing", R"({"can": [{"endian": "little"}]})",
     "#/can/0: expected a member \"instance\", found none\n"
     "#/can/0: expected a member \"bits\", found none\n"
     "#/can/0: expected a member \"msgId\", found none"},
    {"unknown member", R"({"lin": [{"instance": "L", "bits": 8, "msgId": 1, "startBit/": 0}]})",
     "#/lin/0: expected a known member, found \"startBit/\"; close are startbit, bits, instance"},
    {"wrong types", R"({"can": [{"instance": 5, "unit": 1, "scale": "2", "extended": 1, "bits": "8",
                                 "msgId": true, "valueDescriptions": [], "endian": "middle"}]})",
     "#/can/0/instance: expected a name without control characters, found 5\n"
     "#/can/0/unit: expected a text, found 1\n"
     "#/can/0/bits: expected an integer from 1 to 64, found \"8\"\n"
     "#/can/0/scale: expected a number, found \"2\"\n"
     "#/can/0/endian: expected \"little\" or \"big\", found \"middle\"\n"
     "#/can/0/valueDescriptions: expected an object with raw values and their texts, found an array\n"
     "#/can/0/msgId: expected an identifier from 0 to 536870911 or \"0x0\" to \"0x1FFFFFFF\", found true\n"
     "#/can/0/extended: expected true or false, found 1"},
    {"out of range", R"({"can": [{"instance": "A", "bits": 65, "startbit": 512, "channel": -1, "mux": 65536,
                                  "tslId": 1.5, "pduId": "0x1000000", "msgId": 536870912}],
                         "lin": [{"instance": "L", "bits": 0, "msgId": 64}]})",
     "#/can/0/channel: expected an integer from 0 to 255, found -1\n"
     "#/can/0/startbit: expected an integer from 0 to 511, found 512\n"
     "#/can/0/bits: expected an integer from 1 to 64, found 65\n"
     "#/can/0/mux: expected an integer from 0 to 65535, found 65536\n"
     "#/can/0/tslId: expected an integer from 0 to 255, found 1.5\n"
     "#/can/0/msgId: expected an identifier from 0 to 536870911 or \"0x0\" to \"0x1FFFFFFF\", found "
     "536870912\n"
     "#/can/0/pduId: expected an identifier from 0 to 16777215 or \"0x0\" to \"0xFFFFFF\", found "
     "\"0x1000000\"\n"
     "#/lin/0/bits: expected an integer from 1 to 64, found 0\n"
     "#/lin/0/msgId: expected an identifier from 0 to 63 or \"0x0\" to \"0x3F\", found 64"},
    {"identifier text", R"({"lin": [{"instance": "L", "bits": 1, "msgId": "0X1"}]})",
     "#/lin/0/msgId: expected an identifier from 0 to 63 or \"0x0\" to \"0x3F\", found \"0X1\""},
    {"names", R"({"digital": [{"instance": "", "bits": 1}, {"instance": "A\u0007", "bits": 1}]})",
     "#/digital/0/instance: expected a name without control characters, found \"\"\n"
     "#/digital/1/instance: expected a name without control characters, found \"A\\u0007\""},
    {"not predefined", R"({"status": [{"instance": "Logger.status"}], "gps": [{"instance": "RC.F1"}]})",
     "#/status/0/instance: expected \"Logger.ExtMemory\", \"Logger.IntMemory\", \"Logger.Start\", "
     "\"Logger.Status\" or \"Logger.Timer\", found \"Logger.status\"\n"
     "#/gps/0/instance: expected \"GPS.Altitude\", \"GPS.Course\", \"GPS.Date\", \"GPS.Latitude\", "
     "\"GPS.Longitude\", \"GPS.Satellites\", \"GPS.Speed\", \"GPS.Status\" or \"GPS.Time\", found "
     "\"RC.F1\""},
    {"value texts",
     R"({"analog": [{"instance": "A", "bits": 8, "valueDescriptions": {"0x1": "a", "2": 3}}]})",
     "#/analog/0/valueDescriptions/0x1: expected a raw value in decimal digits, found \"0x1\"\n"
     "#/analog/0/valueDescriptions/2: expected a text, found 3"},
    {"raw value given twice",
     R"({"analog": [{"instance": "A", "bits": 8, "valueDescriptions":
        {"-1": "a", "18446744073709551615": "b", "18446744073709551616": "c"}}]})",
     "#/analog/0/valueDescriptions/18446744073709551615: expected a raw value once, found it again\n"
     "#/analog/0/valueDescriptions/18446744073709551616: expected a raw value in decimal digits, found "
     "\"18446744073709551616\"",
     true},
    {"name given twice", R"({"lin": [{"instance": "A", "bits": 1, "msgId": 1}],
                             "digital": [{"instance": "B", "bits": 1}, {"instance": "A", "bits": 1}]})",
     "#/digital/1/instance: expected a name of its own, found that of #/lin/0", true},
    {"member given twice", R"({"digital": [{"instance": "A", "bits": 1},
        {"instance": "B", "bits": 1, "bits": 2, "valueDescriptions": {"1": "a", "1": "b"}}]})",
     "#/digital/1/bits: expected a member name once, found it again\n"
     "#/digital/1/valueDescriptions/1: expected a member name once, found it again",
     true},
    {"outside the frame", R"({"can": [{"instance": "A", "msgId": 1, "bits": 8, "startbit": 57},
        {"instance": "B", "msgId": 1, "bits": 64, "startbit": 1, "canFD": true},
        {"instance": "C", "msgId": 1, "bits": 8, "startbit": 56}],
        "lin": [{"instance": "D", "msgId": 1, "bits": 9, "startbit": 63, "endian": "big"}]})",
     "#/can/0: expected a field within 8 bytes, found 8 bits from startbit 57\n"
     "#/can/1: expected a field that touches at most 8 bytes, found 64 bits from startbit 1\n"
     "#/lin/0: expected a field within 8 bytes, found 9 bits from startbit 63",
     true},
    {"fields against each other", R"({"can": [{"instance": "A", "msgId": 2048, "bits": 8},
        {"instance": "B", "msgId": 1, "bits": 8, "pduId": 1},
        {"instance": "C", "msgId": 1, "bits": 8, "mux": 3},
        {"instance": "D", "msgId": 1, "bits": 16, "type": "float"},
        {"instance": "E", "msgId": 1, "bits": 32, "type": "double"}],
        "gps": [{"instance": "GPS.Speed", "type": "unsigned"}]})",
     "#/can/0: expected an 11-bit msgId unless extended is true, found 2048\n"
     "#/can/1: expected pduId where canFD is true only, found 1\n"
     "#/can/2: expected mux of a multiplexed signal only, found 3\n"
     "#/can/3: expected 32 bits of a float, found 16\n"
     "#/can/4: expected 64 bits of a double, found 32\n"
     "#/gps/0: expected type double of GPS.Speed, found another",
     true},
};

std::string messagesOf(const std::string& text) {
    try {
        parseSignalDefinitions(text, "");
    } catch (const DefinitionError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(DefinitionFile, SaysWhatIsWrongWhere) {
    for (const WrongDocument& document : wrongDocuments) {
        EXPECT_EQ(messagesOf(document.text), document.messages) << document.name;
    }
}

TEST(DefinitionFile, SaysWhereTextIsNotJson) {
    const std::string syntax = "syntax error while parsing ";
    const std::array<std::array<std::string, 2>, 4> rows = {{
        {"{\n  \"can\": [1, ]",
         ":2:14: " + syntax + "value - unexpected ']'; expected '[', '{', or a literal"},
        {"{\"can\": []", ":1:10: " + syntax + "object - unexpected end of input; expected '}'"},
        {"{\"scale\": 1e999}", ":1:15: number overflow parsing '1e999'"},
        {"", ":1:1: " + syntax + "value - unexpected end of input; expected '[', '{', or a literal"},
    }};
    for (const auto& [text, message] : rows) {
        EXPECT_EQ(messagesOf(text), message);
    }
}

TEST(DefinitionFile, ShowsTwentyFindings) {
    nlohmann::json wrong;
    wrong["lin"] = std::vector<int>(23, 7);
    const std::string messages = messagesOf(wrong.dump());
    EXPECT_EQ(std::count(messages.begin(), messages.end(), '\n'), 20);
    EXPECT_TRUE(messages.ends_with("#/lin/19: expected an object, found 7\n: 3 more errors")) << messages;
}

TEST(DefinitionFile, ReadsTheExampleOfTheManual) {
    const SignalDefinitions read = parseSignalDefinitions(example(), "x.json");
    std::ostringstream out;
    const auto show = [&out](const auto& list) {
        for (const auto& [record, place, anyChannel] : list) {
            out << place << (anyChannel ? " any " : " ") << record << '\n';
        }
    };
    show(read.can);
    show(read.lin);
    for (const auto* const list : {&read.digital, &read.analog, &read.keyboard, &read.status, &read.gps}) {
        show(*list);
    }
    const std::string plain = ",scale=1,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0";
    EXPECT_EQ(
        out.str(),
        "x.json#/can/0 any instance=Engine.Speed,signal=EngineSpeed,channel=0,unit=rpm,type=unsigned,"
        "startbit=7,bits=16,scale=0.25,offset=0,endian=BIG,multiplexed=no,mux=0,tslId=0,msgId=416,"
        "extended=no,canFD=no,message=Engine,sender=ECM,pduId=none,startByte=0,numBytes=0\n"
        "x.json#/can/1 instance=Battery.Current,signal=Battery.Current,channel=1,unit=A,type=signed,"
        "startbit=0,bits=12,scale=0.1,offset=0,endian=LITTLE,multiplexed=no,mux=0,tslId=0\n"
        "value description table\n18446744073709551615: not measured\n"
        ",msgId=419367648,extended=yes,canFD=yes,message=,sender=,pduId=1193046,startByte=0,numBytes=0\n"
        "x.json#/lin/0 instance=Seat.Heating,signal=Seat.Heating,channel=0,unit=,type=unsigned,"
        "startbit=4,bits=2" +
            plain +
            "\nvalue description table\n0: off\n1: low\n2: high\n,msgId=35\n"
            "x.json#/digital/0 instance=Door.Contact,signal=Door.Contact,channel=8,unit=,type=unsigned,"
            "startbit=0,bits=1" +
            plain +
            "\n"
            "x.json#/analog/0 instance=Cabin.Temperature,signal=Cabin.Temperature,channel=3,unit=°C,"
            "type=double,startbit=0,bits=64" +
            plain +
            "\n"
            "x.json#/keyboard/0 "
            "instance=RC.TRG,signal=RC.TRG,channel=0,unit=,type=unsigned,startbit=0,bits=32" +
            plain +
            "\n"
            "x.json#/status/0 instance=Logger.Status,signal=Logger.Status,channel=0,unit=,type=unsigned,"
            "startbit=0,bits=32" +
            plain +
            "\n"
            "x.json#/gps/0 "
            "instance=GPS.Speed,signal=GPS.Speed,channel=0,unit=,type=double,startbit=0,bits=64" +
            plain + "\n");
}

/// Definitions of all kinds with any values that are allowed.
class RandomDefinitions {
  public:
    explicit RandomDefinitions(unsigned seed) : random(seed) {}

    SignalDefinitions all() {
        SignalDefinitions definitions;
        for (int i = 0; i < 8; ++i) {
            definitions.can.push_back({anyCan(), {}, chance()});
            if (definitions.can.back().anyChannel) {
                definitions.can.back().record.channel = 0;
            }
            auto lin = any<linSignalDef_t>();
            lin.msgId = below(64);
            definitions.lin.push_back({lin, {}});
            definitions.digital.push_back({any<inputSignalDef_t>(), {}});
            definitions.analog.push_back({any<inputSignalDef_t>(), {}});
        }
        addPredefined(definitions.keyboard, KeyboardSignal::predefinedInputs);
        addPredefined(definitions.status, LoggerStatusSignal::predefinedInputs);
        addPredefined(definitions.gps, GPSSignal::gps_ids);
        return definitions;
    }

  private:
    unsigned below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(random); }
    bool chance() { return below(2) == 0; }

    double anyNumber() {
        const std::array numbers = {0.0,    -0.0,     1.0, -40.0, 0.1, 1e-300, 1.7976931348623157e308,
                                    0x1p53, 0.1 + 0.2};
        return numbers[below(numbers.size())];
    }

    std::string anyText() {
        const std::array texts = {"", "km/h", "\"\\/\n\t\u0001", "°C ⏻ 😀", "~"};
        return texts[below(texts.size())];
    }

    canSignalDef_t anyCan() {
        auto can = any<canSignalDef_t>();
        can.extended = chance();
        can.msgId = below(can.extended ? 0x20000000 : 0x800);
        can.canFD = chance();
        if (can.canFD) {
            can.startbit = static_cast<std::uint16_t>(can.startbit + 8 * below(56));
            can.pduId = chance() ? std::optional<std::uint32_t>(below(0x1000000)) : std::nullopt;
        }
        can.message = anyText();
        can.sender = anyText();
        return can;
    }

    template <class Record>
    Record any() {
        Record record;
        record.instance = "Signal " + std::to_string(++count);
        record.signal = chance() ? record.instance : anyText();
        record.reference = chance() ? 0 : ~below(5);
        record.channel = static_cast<std::uint8_t>(below(256));
        record.unit = anyText();
        record.type = static_cast<signalValue_t>(below(4));
        record.bits = record.type == signalValue_t::Float    ? std::uint8_t{32}
                      : record.type == signalValue_t::Double ? std::uint8_t{64}
                                                             : static_cast<std::uint8_t>(1 + below(64));
        record.endian = chance();
        // Against the border of a word of 8 bytes or away from it.
        const auto place = static_cast<std::uint16_t>(below(65U - record.bits));
        record.startbit = record.endian ? static_cast<std::uint16_t>(place / 8 * 8 + 7 - place % 8) : place;
        record.scale = anyNumber();
        record.offset = anyNumber();
        record.multiplexed = chance();
        record.mux = record.multiplexed ? static_cast<std::uint16_t>(below(65536)) : std::uint16_t{0};
        record.multiplexer = static_cast<std::uint8_t>(below(256));
        for (unsigned i = below(4); i > 0; --i) {
            record.valueDescriptions[chance() ? below(9) : ~std::uint64_t{0} << below(64)] = anyText();
        }
        record.udn = anyText();
        record.comment = anyText();
        record.tslId = static_cast<std::uint8_t>(below(256));
        return record;
    }

    template <class Table>
    void addPredefined(std::vector<PlacedDefinition<inputSignalDef_t>>& list, const Table& names) {
        for (const auto& entry : names) {
            auto record = any<inputSignalDef_t>();
            const auto type = GPSSignal::gpsSignalTypes.find(entry.first);
            record.instance = entry.first;
            record.type = type != GPSSignal::gpsSignalTypes.end() ? type->second : signalValue_t::Signed;
            record.startbit = record.type == signalValue_t::Double ? 0 : record.startbit;
            record.bits = record.type == signalValue_t::Double ? std::uint8_t{64} : record.bits;
            record.endian = record.endian && record.type != signalValue_t::Double;
            list.push_back({record, {}});
        }
    }

    std::mt19937 random;
    int count = 0;
};

auto fieldsOf(const baseSignalDef_t& r) {
    return std::tuple(r.instance, r.signal, r.reference, r.channel, r.unit, r.type, r.startbit, r.bits,
                      r.scale, r.offset, r.endian, r.multiplexed, r.multiplexer, r.mux, r.valueDescriptions,
                      r.udn, r.comment, r.tslId);
}

void expectSameField(const canSignalDef_t& left, const canSignalDef_t& right) {
    const auto own = [](const canSignalDef_t& r) {
        return std::tuple(r.msgId, r.extended, r.canFD, r.message, r.sender, r.pduId);
    };
    EXPECT_EQ(own(left), own(right));
}
void expectSameField(const linSignalDef_t& left, const linSignalDef_t& right) {
    EXPECT_EQ(left.msgId, right.msgId);
}
void expectSameField(const inputSignalDef_t& /*left*/, const inputSignalDef_t& /*right*/) {}

template <class Record>
void expectSame(const std::vector<PlacedDefinition<Record>>& left,
                const std::vector<PlacedDefinition<Record>>& right) {
    ASSERT_EQ(left.size(), right.size());
    for (std::size_t i = 0; i < left.size(); ++i) {
        EXPECT_EQ(fieldsOf(left[i].record), fieldsOf(right[i].record));
        EXPECT_EQ(left[i].anyChannel, right[i].anyChannel);
        expectSameField(left[i].record, right[i].record);
    }
}

TEST(DefinitionText, ReadsAsTheSameDefinitions) {
    for (unsigned seed = 0; seed < 40; ++seed) {
        const SignalDefinitions written = RandomDefinitions(seed).all();
        const SignalDefinitions read = parseSignalDefinitions(definitionText(written), "");
        expectSame(written.can, read.can);
        expectSame(written.lin, read.lin);
        for (const auto list :
             {&SignalDefinitions::digital, &SignalDefinitions::analog, &SignalDefinitions::keyboard,
              &SignalDefinitions::status, &SignalDefinitions::gps}) {
            expectSame(written.*list, read.*list);
        }
    }
}

TEST(DefinitionText, LeavesDefaultsOut) {
    const std::string text = R"({
  "can": [
    {
      "instance": "A",
      "channel": 0,
      "bits": 8,
      "scale": 0.1,
      "offset": -40,
      "multiplexed": true,
      "valueDescriptions": {
        "7": "seven",
        "-1": "minus one"
      },
      "msgId": "0x1A0"
    }
  ],
  "gps": [
    {
      "instance": "GPS.Date"
    }
  ]
}
)";
    EXPECT_EQ(definitionText(parseSignalDefinitions(text, "")), text);
}

TEST(DefinitionSchema, AgreesWithTheReader) {
    const TemporaryFolder folder;
    std::string files = " example.json";
    std::string expected = "example.json valid\n";
    folder.write("example.json", example());
    const auto add = [&](const std::string& name, const std::string& text, bool accepted) {
        folder.write(name, text);
        files += " '" + name + "'";
        expected += name + (accepted ? " valid\n" : " invalid\n");
    };
    for (unsigned seed = 100; seed < 105; ++seed) {
        add(std::to_string(seed), definitionText(RandomDefinitions(seed).all()), true);
    }
    for (const WrongDocument& document : wrongDocuments) {
        add(document.name, document.text, document.schemaAccepts);
    }
    ASSERT_EQ(folder.run("rksignal convert --schema > schema.json").status, 0);
    EXPECT_EQ(folder.read("schema.json"), contentOf(project / "docs/signals.schema.json"))
        << "write it anew with: rksignal convert --schema > docs/signals.schema.json";
    const ProgramResult result = folder.run(
        "python3 '" + (project / "tests/tools/definitions/validate.py").string() + "' schema.json" + files);
    if (result.messages.find("No module named 'jsonschema'") != std::string::npos) {
        GTEST_SKIP() << "the Debian package python3-jsonschema is not installed";
    }
    EXPECT_EQ(result.output, expected) << result.messages;
}

} // namespace
} // namespace rksignal
