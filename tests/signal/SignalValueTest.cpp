/// \file
/// Slot, writing and reading of private signals, and their text form.
#include "support/CapturedOutput.h"
#include "support/SignalTest.h"

#include <cstring>
#include <functional>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

namespace {

using SignalValue = SignalTest;

/// The slot's bytes `[from, to)` as hexadecimal digits.
std::string bytes(const signalSlot_t& slot, std::size_t from, std::size_t to) {
    unsigned char image[104];
    std::memcpy(image, &slot, sizeof image);
    std::string digits;
    for (std::size_t i = from; i < to; ++i)
        (digits += "0123456789abcdef"[image[i] >> 4]) += "0123456789abcdef"[image[i] & 0xF];
    return digits;
}

TEST_F(SignalValue, SlotByteByByte) {
    static_assert(sizeof(signalSlot_t) == 104);
    BaseSignal signal(byteDefinition("S", "AZ"));
    EXPECT_EQ(bytes(*signal.slot, 0, 88), "6800000000000000415a" + std::string(156, '0'));
    EXPECT_EQ(bytes(*signal.slot, 88, 104), "aaaaaaaa000000005555555500000000");
    signal.writeRaw(0x0102030405060708, 0x1112131415161718);
    EXPECT_EQ(bytes(*signal.slot, 40, 48), "0100000000000000");
    EXPECT_EQ(bytes(*signal.slot, 88, 104), "08070605040302011817161514131211");
    signal.value = 5;
    signal.clear();
    EXPECT_EQ(signal.value, 0.0);
    EXPECT_EQ(bytes(*signal.slot, 0, 104), "6800000000000000415a" + std::string(188, '0'));
    for (const std::size_t length : {0U, 30U, 31U, 32U, 40U}) {
        const BaseSignal named(byteDefinition("N", std::string(length, 'n')));
        EXPECT_EQ(std::string(named.slot->name), std::string(std::min<std::size_t>(length, 31), 'n'));
        EXPECT_EQ(named.def.signal.size(), length);
    }
}

TEST_F(SignalValue, FreshSignalAndItsGetters) {
    baseSignalDef_t definition = byteDefinition("S");
    definition.unit = "km/h";
    definition.scale = 0.25;
    definition.offset = -3;
    definition.bits = 200;
    definition.type = signalValue_t::Double;
    definition.valueDescriptions = {{0, "off"}, {~0UL, "invalid"}};
    const BaseSignal signal(definition);
    EXPECT_EQ(signal.slot, &signal.privateSlot);
    EXPECT_TRUE(signal.initSmData);
    EXPECT_EQ(signal.key, 0);
    EXPECT_EQ(signal.shmId, -1);
    EXPECT_FALSE(signal.shmem);
    EXPECT_FALSE(signal.isModified());
    EXPECT_EQ(signal.value, 0.0);
    EXPECT_EQ(signal.id, 0U);
    EXPECT_EQ(signal.storage, &BaseSignal::defSignalStorage);
    EXPECT_EQ(signal.getUnit(), "km/h");
    EXPECT_EQ(signal.getScaleFactor(), 0.25);
    EXPECT_EQ(signal.getOffset(), -3);
    EXPECT_EQ(signal.getBits(), 200);
    EXPECT_EQ(signal.getType(), signalValue_t::Double);
    EXPECT_EQ(signal.getValueDescription(0), "off");
    EXPECT_EQ(signal.getValueDescription(~0UL), "invalid");
    EXPECT_EQ(signal.getValueDescription(1), "");
}

/// One after another on one signal of 32 bits from bit 4, with scale 0.5; each row says what both reads give
/// afterwards, and what the operation prints besides the lines of decoding.
TEST_F(SignalValue, WritingReadingAndTheirDebugLines) {
    baseSignalDef_t definition = byteDefinition("S");
    definition.startbit = 4;
    definition.bits = 32;
    definition.scale = 0.5;
    BaseSignal signal(definition);
    const unsigned char two[] = {0xA0, 0x02};
    unsigned long raw = 0, timestamp = 0;
    double value = 0;
    const struct {
        const char* name;
        std::function<bool()> operation;
        bool modified, valid;
        unsigned long raw, timestamp;
        double value;
        const char* line; ///< head of the debug line
    } rows[] = {
        {"time stamp alone", [&] { return signal.writeTS(3); }, false, false, 0xaaaaaaaa, 3, 1431655765,
         nullptr},
        {"write of the fill pattern", [&] { return signal.write(0xaaaaaaaaaUL << 4, 1UL); }, false, true,
         0xaaaaaaaa, 1, 1431655765, "write() (no change) "},
        {"write", [&] { return signal.write(0x2A0UL, 16UL); }, true, true, 42, 16, 21, "write() "},
        {"time stamp after a change", [&] { return signal.writeTS(~0UL); }, true, true, 42, ~0UL, 21,
         nullptr},
        {"the same in other bytes", [&] { return signal.write(two, 2, 17); }, false, true, 42, 17, 21,
         "write() (no change) "},
        {"raw value", [&] { return signal.writeRaw(~0UL, 18); }, true, true, ~0UL, 18, 9223372036854775808.0,
         "writeRaw() "},
        {"raw value again", [&] { return signal.writeRaw(~0UL, 19); }, false, true, ~0UL, 19,
         9223372036854775808.0, "writeRaw() (no change) "},
        {"clear", [&] { return signal.clear(), true; }, true, false, 0, 0, 0, nullptr},
        {"write of what clear left", [&] { return signal.writeRaw(0, 7); }, false, true, 0, 7, 0,
         "writeRaw() (no change) "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CapturedOutput output;
        BaseSignal::debug = 1;
        EXPECT_TRUE(row.operation());
        std::string text = output.out.take();
        text.erase(0, text.find("[DEBUG] BaseSignal::write"));
        std::ostringstream shown;
        shown << signal << '\n';
        EXPECT_EQ(text, row.line == nullptr ? "" : "[DEBUG] BaseSignal::" + (row.line + shown.str()));
        EXPECT_TRUE(output.out.isFlushed());
        EXPECT_EQ(signal.isModified(), row.modified);

        EXPECT_EQ(signal.read(raw, timestamp), row.valid);
        EXPECT_EQ(raw, row.raw);
        EXPECT_EQ(timestamp, row.timestamp);
        EXPECT_EQ(signal.value, row.value) << "debugging computes it";
        timestamp = ~row.timestamp;
        EXPECT_EQ(signal.read(value, timestamp), row.valid);
        EXPECT_EQ(value, row.value);
        EXPECT_EQ(timestamp, row.timestamp);
        shown.str("");
        shown << "[DEBUG] BaseSignal::read() " << signal << '\n';
        EXPECT_EQ(output.out.text(), shown.str() + shown.str());
        EXPECT_EQ(signal.isModified(), row.modified);
        BaseSignal::debug = 0;
    }
}

TEST_F(SignalValue, BytesAreZeroFilledAndCutToEight) {
    baseSignalDef_t definition = byteDefinition("S");
    definition.bits = 64;
    BaseSignal signal(definition);
    const unsigned char data[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    for (unsigned long length = 0; length <= std::size(data); ++length) {
        SCOPED_TRACE(length);
        // An exact copy, so that a byte read too many is found.
        const std::vector<unsigned char> exact(data, data + length);
        EXPECT_TRUE(signal.write(exact.data(), length, 100 + length));
        EXPECT_EQ(signal.slot->raw, 0x0807060504030201 & (length < 8 ? (1UL << 8 * length) - 1 : ~0UL));
        EXPECT_EQ(signal.slot->timestamp, 100 + length);
    }
}

TEST_F(SignalValue, TextForm) {
    baseSignalDef_t definition = byteDefinition("Motor.Speed", "Speed");
    definition.scale = 0.1;
    BaseSignal signal(definition);
    std::ostringstream out;
    out << std::hex << std::noboolalpha << signal << '\n';
    signal.write(42UL, 951'827'696'000'000'789UL);
    out << signal << " decimal and boolalpha: " << 255 << ' ' << true << '\n';
    signal.physical();
    signal.shmem = true;
    out << signal << '\n';
    signal.shmem = false;
    EXPECT_EQ(out.str(), "instance=Motor.Speed,signal=Speed,shmem=false,valid=false,value=0 (0xaaaaaaaa),"
                         "timestamp=1970-01-01 00:00:01.431655765 (0x55555555)\n"
                         "instance=Motor.Speed,signal=Speed,shmem=false,valid=true,value=0 (0x2a),"
                         "timestamp=2000-02-29 12:34:56.000000789 (0xd35923f1b756315)"
                         " decimal and boolalpha: 255 true\n"
                         "instance=Motor.Speed,signal=Speed,shmem=true,valid=true,value=4.2 (0x2a),"
                         "timestamp=2000-02-29 12:34:56.000000789 (0xd35923f1b756315)\n");
}

TEST_F(SignalValue, LinesOfSeveralThreadsDoNotInterleave) {
    constexpr std::size_t reads = 200;
    std::vector<std::unique_ptr<BaseSignal>> signals;
    for (const char* const name : {"A", "B", "C", "D"})
        signals.push_back(std::make_unique<BaseSignal>(byteDefinition(name)));
    const CapturedOutput output;
    BaseSignal::debug = 1;
    std::vector<std::thread> threads;
    for (const auto& signal : signals)
        threads.emplace_back([&signal = *signal] {
            unsigned long raw = 0, timestamp = 0;
            for (std::size_t i = 0; i < reads; ++i)
                signal.read(raw, timestamp);
        });
    for (std::thread& thread : threads)
        thread.join();
    BaseSignal::debug = 0;
    std::map<std::string, std::size_t> counts;
    std::istringstream lines(output.out.text());
    for (std::string line; std::getline(lines, line);)
        ++counts[line];
    EXPECT_EQ(counts.size(), signals.size());
    for (const auto& signal : signals) {
        std::ostringstream line;
        line << "[DEBUG] BaseSignal::read() " << *signal;
        EXPECT_EQ(counts[line.str()], reads);
    }
}

} // namespace
