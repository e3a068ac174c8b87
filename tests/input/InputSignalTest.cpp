// Digital and analog inputs, keys and the logger's own values, from definition to value.

#include "input/AnalogSignal.h"
#include "input/DigitalSignal.h"
#include "input/InputTest.h"
#include "input/KeyboardSignal.h"
#include "input/LoggerStatusSignal.h"
#include "support/Allocations.h"

#include <bit>
#include <memory>

using InputSignalTest = InputTest;

namespace {

constexpr std::uint64_t digitalBit = 0x0400000000000000;
constexpr std::uint64_t analogBit = 0x0200000000000000;
constexpr std::uint64_t keyboardBit = 0x0800000000000000;
constexpr std::uint64_t loggerBit = 0x0100000000000000;

TEST_F(InputSignalTest, DecodingSystemMessagesDoesNotAllocate) {
    const LoggerStatusSignal internal(wide("Logger.IntMemory"));
    const LoggerStatusSignal external(wide("Logger.ExtMemory"));
    const SystemUsageMessage message(5, 40, 50, 70);
    std::vector<unsigned long> ids;
    for (int round = 0; round < 2; ++round) { // the list of identifiers grows in the first
        const std::size_t before = allocationsSoFar();
        EXPECT_TRUE(InputSignal::decodeMessage(message, ids));
        EXPECT_TRUE(round == 0 || allocationsSoFar() == before);
    }
}

} // namespace

TEST_F(InputSignalTest, DigitalInputs) {
    inputSignalDef_t definition = wide("DI.3");
    definition.channel = 3;
    definition.tslId = 2;
    const DigitalSignal first(definition);
    definition.instance = "DI.3 high";
    definition.startbit = 4;
    definition.bits = 4;
    const DigitalSignal second(definition);
    const DigitalSignal zero(wide("DI.0"));

    const GpioTraceMessage message{.timestamp = 9, .elements = {{3, 0xFFF5, 0x00FF}, {0, 1, 1}}};
    EXPECT_THAT(decode(message, std::uint8_t{2}), ElementsAre(digitalBit, digitalBit + 1));
    EXPECT_EQ(first.slot->raw, 0xF5U);
    EXPECT_EQ(second.slot->raw, 0xFU);
    EXPECT_EQ(second.slot->timestamp, 9U);
    EXPECT_THAT(decode(message, std::uint8_t{1}), IsEmpty());
    EXPECT_THAT(decode(GpioTraceMessage()), ElementsAre(digitalBit + 2)) << "counts as input 0";
    EXPECT_EQ(zero.slot->raw, 0U);
    EXPECT_EQ(zero.slot->valid, 1U);
}

TEST_F(InputSignalTest, AnalogInputsByType) {
    using enum signalValue_t;
    const struct {
        const char* instance;
        signalValue_t type;
        std::uint8_t bits;
        double value;
        std::uint64_t raw;
    } rows[] = {{"unsigned", Unsigned, 16, 65411, 0xFF83},
                {"signed", Signed, 64, -125, 0xFFFFFFFFFFFFFF83},
                {"float after integer", Float, 64, -1.25, 0xFFFFFFFFBFA00000}, // the high half stays
                {"double", Double, 64, -1.25, 0xBFF4000000000000},
                {"float after double", Float, 32, -1.25, 0xBFA00000}};
    std::vector<std::unique_ptr<AnalogSignal>> signals;
    for (const auto& row : rows) {
        inputSignalDef_t definition = wide(row.instance, row.type);
        definition.bits = row.bits;
        definition.channel = 7;
        signals.push_back(std::make_unique<AnalogSignal>(definition));
    }
    EXPECT_THAT(decode(AnalogTraceMessage{.timestamp = 1, .elements = {{7, -125, -2}, {0, 1, 0}}}),
                ElementsAre(analogBit, analogBit + 1, analogBit + 2, analogBit + 3, analogBit + 4));
    for (std::size_t i = 0; i < signals.size(); ++i) {
        EXPECT_EQ(signals[i]->slot->raw, rows[i].raw) << rows[i].instance;
        EXPECT_EQ(read(*signals[i]), rows[i].value) << rows[i].instance;
    }
    EXPECT_THAT(decode(AnalogTraceMessage()), IsEmpty());
}

TEST_F(InputSignalTest, KeysByName) {
    const CapturedOutput output;
    KeyboardSignal key(wide("RC.F5", signalValue_t::Signed));
    const KeyboardSignal trigger(wide("RC.TRG"));
    const KeyboardSignal unknown(wide("RC.F11"));
    EXPECT_EQ(output.out.text(), "[ERROR] InputSignal::KeyboardSignal() RC.F11 not found in predefined input "
                                 "lists, gpId = 0\n");
    EXPECT_EQ(unknown.id, 0U);
    EXPECT_EQ(KeyboardSignal::predefinedInputs.size(), 11U);
    EXPECT_EQ(KeyboardSignal::predefinedInputs.at("RC.F10"), 0x080000000000000AU);
    EXPECT_THAT(decode(KeyboardMessage{.timestamp = 1, .keyCode = 5, .value = -2}), ElementsAre(keyboardBit));
    EXPECT_EQ(read(key), -2);
    EXPECT_THAT(decode(KeyboardMessage{.keyCode = 16, .value = 1}), ElementsAre(keyboardBit + 1));
    EXPECT_THAT(decode(KeyboardMessage{.keyCode = -1, .value = 1}), IsEmpty());
}

TEST_F(InputSignalTest, LoggerMessages) {
    LoggerStatusSignal status(wide("Logger.Status"));
    const LoggerStatusSignal start(wide("Logger.Start"));
    inputSignalDef_t timerDefinition = wide("Logger.Timer", signalValue_t::Signed);
    timerDefinition.unit = "min";
    LoggerStatusSignal timer(timerDefinition);
    const LoggerStatusSignal internal(wide("Logger.IntMemory"));
    const LoggerStatusSignal external(wide("Logger.ExtMemory"));

    EXPECT_THAT(decode(SystemMessage(4, 16, "3")), ElementsAre(loggerBit));
    EXPECT_EQ(status.getValueDescription(status.slot->raw), "Warning");
    EXPECT_THAT(decode(SystemMessage(4, 30, "x")), ElementsAre(loggerBit + 1));
    EXPECT_EQ(start.slot->raw, 0U);
    EXPECT_THAT(decode(SystemMessage(4, 31, "-12s")), ElementsAre(loggerBit + 2));
    EXPECT_EQ(read(timer), -12);
    EXPECT_EQ(timer.getUnit(), "s");
    EXPECT_THAT(decode(SystemMessage(4, 2, "1")), IsEmpty()) << "not a usage message";
    EXPECT_THAT(decode(SystemMessage(4, 17, "1")), IsEmpty());

    EXPECT_THAT(decode(SystemUsageMessage(5, 41, 255, 255)), ElementsAre(loggerBit + 3));
    EXPECT_EQ(external.slot->valid, 0U);
    EXPECT_THAT(decode(SystemUsageMessage(5, 40, 255, 70)), ElementsAre(loggerBit + 4, loggerBit + 3));
    EXPECT_EQ(external.slot->raw, 70U);
    EXPECT_EQ(internal.slot->raw, 40U);
    decode(SystemUsageMessage(5, 40, 50, 70));
    EXPECT_EQ(external.slot->raw, 50U);
    EXPECT_EQ(external.getUnit(), "%");
    EXPECT_EQ(internal.getValueDescription(255), "N/C");

    LoggerStatusSignal::updateTimestamp(99);
    EXPECT_EQ(start.slot->timestamp, 99U);
    EXPECT_EQ(status.slot->raw, 3U);
}

TEST_F(InputSignalTest, LoggerDefinitionsKeepWhatTheyBring) {
    const CapturedOutput output;
    inputSignalDef_t definition = wide("Logger.Status");
    definition.valueDescriptions = {{0, "fine"}};
    const LoggerStatusSignal status(definition);
    EXPECT_EQ(status.getValueDescription(0) + status.getValueDescription(1), "fine");
    BaseSignal::instanceCounter = 0;
    const LoggerStatusSignal clash(wide("Logger.Timer"));
    const LoggerStatusSignal unknown(wide("Logger.Mood"));
    EXPECT_EQ(output.out.text(),
              "[ERROR] InputSignal::LoggerStatusSignal() gpId 0x100000000000000 already exists\n"
              "[ERROR] InputSignal::LoggerStatusSignal() Logger.Mood not found in predefined input lists, "
              "gpId = 0\n");
    EXPECT_EQ(clash.getUnit(), "") << "not completed";
    EXPECT_EQ(LoggerStatusSignal::allInstancesLoggerStatusSignals.size(), 2U);
    EXPECT_THAT(decode(SystemMessage(1, 31, "5")), IsEmpty());
}

TEST_F(InputSignalTest, RecordsInUse) {
    inputSignalDef_t definition = wide("input");
    definition.tslId = 2;
    definition.channel = 4;
    unsigned char record[17] = {0, 0, 0, 19};
    const auto inUse = [&record](unsigned char type, unsigned char number, unsigned char mark,
                                 unsigned char module, std::ptrdiff_t length = 17) {
        record[3] = type;
        record[15] = number;
        record[16] = mark;
        return InputSignal::signalsInUse(record, record + length, module);
    };
    EXPECT_FALSE(inUse(19, 4, 1, 2)) << "no signals";
    const DigitalSignal digital(definition);
    definition.instance = "analog";
    definition.channel = 5;
    const AnalogSignal analog(definition);
    CapturedOutput output;
    BaseSignal::debug = 2;
    EXPECT_TRUE(inUse(19, 4, 1, 2) && inUse(18, 5, 1, 2));
    EXPECT_FALSE(inUse(19, 5, 1, 2) || inUse(19, 4, 1, 3));
    EXPECT_FALSE(inUse(18, 5, 0, 2) || inUse(19, 4, 2, 2) || inUse(20, 4, 1, 2) || inUse(19, 4, 1, 2, 16));
    record[2] = 0x80;
    EXPECT_FALSE(inUse(0x31, 4, 1, 2));
    InputSignal::inputContainer[keyboardBit + 0xE];
    EXPECT_TRUE(inUse(0x31, 4, 1, 0)) << "the one key that is asked for";
    InputSignal::inputContainer.erase(keyboardBit + 0xE);
    BaseSignal::debug = 0;
    EXPECT_EQ(filled(output.take(), {{"[DEBUG] InputSignal::signalsInUse() index = ", ""}}),
              "400000000020004 - found\n200000000020005 - found\n400000000020005 - not found\n"
              "400000000030004 - not found\n80000000000000e - not found\n80000000000000e - found\n");
}

TEST_F(InputSignalTest, SaysWhatItDoes) {
    CapturedOutput output;
    BaseSignal::debug = 1;
    const AnalogSignal analog(wide("a", signalValue_t::Double));
    const std::string created = output.out.take();
    EXPECT_NE(created.find("[DEBUG] InputSignal::AnalogSignal() a created instance=a,"), std::string::npos);
    EXPECT_TRUE(created.ends_with(";index=200000000000000\n")) << created;
    decode(AnalogTraceMessage{.timestamp = 1, .elements = {{0, 5, -1}}});
    EXPECT_TRUE(output.out.take().starts_with("[DEBUG] InputSignal::decodeMessage() Signal = a: 0.5\n"));
    decode(AnalogTraceMessage{.timestamp = 1, .elements = {{1, 5, -1}}});
    decode(KeyboardMessage{.keyCode = 1});
    BaseSignal::debug = 0;
    EXPECT_EQ(output.out.take(),
              "[DEBUG] InputSignal::decodeMessage() analog signal not found, index = 200000000000001\n"
              "[DEBUG] InputSignal::writeValue() signal not found, index = 800000000000001\n");
}
