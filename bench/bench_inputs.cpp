// The logger's inputs, GPS sentences and raw records: decoding each, asking whether a record is wanted, and
// reading a file of mixed records with all values kept.

#include "bus/CANSignal.h"
#include "bus/LINSignal.h"
#include "input/AnalogSignal.h"
#include "input/DigitalSignal.h"
#include "input/GPSSignal.h"
#include "input/KeyboardSignal.h"
#include "input/LoggerStatusSignal.h"
#include "rktrace/TraceRecord.h"

#include <benchmark/benchmark.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr unsigned frames = 32;
constexpr unsigned signalsPerFrame = 4;

template <class Definition>
Definition fieldOf(unsigned frame, unsigned signal) {
    Definition definition;
    definition.instance = std::to_string(frame) + "." + std::to_string(signal);
    definition.msgId = frame;
    definition.startbit = static_cast<std::uint16_t>(16 * signal + 3);
    definition.bits = 11;
    return definition;
}

inputSignalDef_t inputNamed(const std::string& instance, std::uint8_t number = 0) {
    inputSignalDef_t definition;
    definition.instance = instance;
    definition.channel = number;
    definition.bits = 64;
    return definition;
}

/// One signal of every input, and of LIN and CAN a few in each of some frames.
class Vehicle {
  public:
    Vehicle() {
        for (unsigned frame = 0; frame < frames; ++frame) {
            for (unsigned signal = 0; signal < signalsPerFrame; ++signal) {
                add<CANSignal>(fieldOf<canSignalDef_t>(frame, signal));
                linSignalDef_t lin = fieldOf<linSignalDef_t>(frame, signal);
                lin.instance += " LIN";
                add<LINSignal>(lin);
            }
        }
        add<DigitalSignal>(inputNamed("DI.3", 3));
        add<AnalogSignal>(inputNamed("AI.3", 3));
        add<KeyboardSignal>(inputNamed("RC.TRG"));
        add<LoggerStatusSignal>(inputNamed("Logger.Status"));
        for (const auto& [name, kind] : GPSSignal::gps_ids) {
            add<GPSSignal>(inputNamed(name));
        }
    }

  private:
    template <class Signal, class Definition>
    void add(const Definition& definition) {
        signals.push_back(std::make_unique<Signal>(definition));
    }
    std::vector<std::unique_ptr<BaseSignal>> signals;
};

const CANExtTraceMessage canFrame{1, 0, 0, 8, 7, {1, 2, 3, 4, 5, 6, 7, 8}};
const LINTraceMessage linFrame{1, {1, 2, 3, 4, 5, 6, 7, 8}, 0, 7};
const GpioTraceMessage gpio{1, {{3, 1, 1}}};
const AnalogTraceMessage analog{1, {{3, 1250, -2}}};
const KeyboardMessage key{1, 16, 1};
const SystemMessage status(1, SystemMessage::Status, "3");
const GPSTraceMessage fix{1, "$GPRMC,092204.999,A,4250.5589,S,14718.5084,E,10.00,89.68,211200,,*14\r\n"
                             "$GPGGA,092204.999,4250.5589,S,14718.5084,E,1,04,24.4,-19.7,M,,,,0000*32\r\n"};

template <class Class, class Message>
void decode(benchmark::State& state, const Message& message) {
    const Vehicle vehicle;
    std::vector<unsigned long> ids;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Class::decodeMessage(message, ids));
    }
}

template <class Class, class Message>
void query(benchmark::State& state, const Message& message) {
    const Vehicle vehicle;
    std::vector<std::uint8_t> record;
    encodeRecord(message, record);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Class::signalsInUse(record.data(), record.data() + record.size(), 0));
    }
}

/// 100,000 records, a quarter of them of CAN and LIN frames that nobody decodes.
std::string mixedFile() {
    std::ostringstream file;
    TraceRecordWriter writer(file);
    std::vector<std::uint8_t> record;
    const auto write = [&](const auto& message) {
        encodeRecord(message, record);
        writer.write(record);
    };
    for (unsigned i = 0; i < 100'000; ++i) {
        CANExtTraceMessage can = canFrame;
        LINTraceMessage lin = linFrame;
        can.canId = i % 4 == 0 ? 0x400 : i % frames;
        lin.protectedId = static_cast<std::uint8_t>(i % 4 == 0 ? 40 : i % frames);
        switch (i % 50) {
        case 9:
            write(gpio);
            break;
        case 19:
            write(analog);
            break;
        case 29:
            write(key);
            break;
        case 39:
            write(status);
            break;
        case 49:
            i % 1000 == 49 ? write(fix) : write(can);
            break;
        default:
            i % 5 == 0 ? write(lin) : write(can);
        }
    }
    return file.str();
}

/// Makes records messages and messages values.
class Router {
  public:
    void route(std::span<const std::uint8_t> record) {
        const unsigned char* const begin = record.data();
        const unsigned char* const end = begin + record.size();
        switch (recordType(record)) {
        case RecordType::Can:
            return decodeIf<CANSignal>(CANSignal::signalsInUse(begin, end, 0), record, can);
        case RecordType::Lin:
            return decodeIf<LINSignal>(LINSignal::signalsInUse(begin, end, 0), record, lin);
        case RecordType::FlexRay:
            return; // none in the file
        case RecordType::Gpio:
            return decodeIf<InputSignal>(InputSignal::signalsInUse(begin, end, 0), record, digital);
        case RecordType::Analog:
            return decodeIf<InputSignal>(InputSignal::signalsInUse(begin, end, 0), record, measured);
        case RecordType::Keyboard:
            return decodeIf<InputSignal>(true, record, pressed);
        case RecordType::System:
            return decodeIf<InputSignal>(true, record, said);
        case RecordType::SystemUsage:
            return decodeIf<InputSignal>(true, record, usage);
        case RecordType::Gps:
            return decodeIf<GPSSignal>(true, record, position);
        case RecordType::Ethernet:
        case RecordType::Mii:
            return; // none in the file
        }
    }

  private:
    template <class Class, class Message>
    void decodeIf(bool isWanted, std::span<const std::uint8_t> record, Message& message) {
        if (isWanted && decodeRecord(record, message)) {
            Class::decodeMessage(message, ids);
        }
    }

    CANExtTraceMessage can;
    LINTraceMessage lin;
    GpioTraceMessage digital;
    AnalogTraceMessage measured;
    KeyboardMessage pressed;
    SystemMessage said;
    SystemUsageMessage usage;
    GPSTraceMessage position;
    std::vector<unsigned long> ids;
};

template <class Use>
void readFile(benchmark::State& state, Use use) {
    const std::string content = mixedFile();
    std::uint64_t records = 0;
    for (auto _ : state) {
        std::istringstream file(content);
        TraceRecordReader reader(file);
        while (reader.next()) {
            use(reader.record());
        }
        records += reader.records();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(records));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(content.size()));
}

void readRecords(benchmark::State& state) {
    readFile(state, [](std::span<const std::uint8_t> record) { benchmark::DoNotOptimize(record.data()); });
}

void routeRecords(benchmark::State& state) {
    const Vehicle vehicle;
    Router router;
    readFile(state, [&router](std::span<const std::uint8_t> record) { router.route(record); });
}

CANExtTraceMessage otherCan() {
    CANExtTraceMessage frame = canFrame;
    frame.canId = 0x400;
    return frame;
}

LINTraceMessage otherLin() {
    LINTraceMessage frame = linFrame;
    frame.protectedId = 40;
    return frame;
}

template <class Run>
void add(const char* name, Run run) {
    benchmark::RegisterBenchmark(name, run);
}

template <class Class, class Message>
void addDecode(const char* name, const Message& message) {
    add(name, [message](benchmark::State& state) { decode<Class>(state, message); });
}

template <class Class, class Message>
void addQuery(const char* name, const Message& message) {
    add(name, [message](benchmark::State& state) { query<Class>(state, message); });
}

} // namespace

int main(int argc, char** argv) {
    addDecode<InputSignal>("InputDecode/digital", gpio);
    addDecode<InputSignal>("InputDecode/analog", analog);
    addDecode<InputSignal>("InputDecode/key", key);
    addDecode<InputSignal>("InputDecode/status", status);
    addDecode<GPSSignal>("GpsDecode/rmc_gga", fix);
    addQuery<CANSignal>("RecordInUse/can/hit", canFrame);
    addQuery<CANSignal>("RecordInUse/can/miss", otherCan());
    addQuery<LINSignal>("RecordInUse/lin/hit", linFrame);
    addQuery<LINSignal>("RecordInUse/lin/miss", otherLin());
    addQuery<InputSignal>("RecordInUse/digital/hit", gpio);
    addQuery<InputSignal>("RecordInUse/digital/miss", GpioTraceMessage());
    add("RecordFile/read", readRecords);
    add("RecordFile/route", routeRecords);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
