// A slot in shared memory with arbitrary bytes, as another process may have left it: everything that reads or
// writes it comes back and stores what it should, whatever the mutex, the name and the value hold.

#include "FuzzInput.h"
#include "expression/ExpParser.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <sys/shm.h>
#include <unistd.h>

namespace {

baseSignalDef_t definition() {
    baseSignalDef_t definition;
    definition.instance = "fuzz_slot." + std::to_string(getpid());
    definition.signal = "Signal";
    definition.bits = 64;
    return definition;
}

/// The segment of the signal, which holds only what a run puts there.
class Segment {
  public:
    explicit Segment(const baseSignalDef_t& definition) : signal(definition, true) {
        if (signal.slot == &signal.privateSlot) {
            std::abort(); // no shared memory here
        }
    }
    /// Without the lock, at any moment: as somebody else writes there. A mutex for ever taken would be waited
    /// for.
    void fill(FuzzInput& input) {
        auto bytes = input.takeBytes(sizeof(signalSlot_t));
        bytes.resize(sizeof(signalSlot_t));
        std::memcpy(signal.slot, bytes.data(), bytes.size());
        if (signal.slot->mutex.__data.__kind == 0) {
            signal.slot->mutex.__data.__lock = 0;
        }
    }

  private:
    BaseSignal signal;
};

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void exercise(BaseSignal& signal, std::uint64_t raw) {
    std::ostringstream text;
    text << signal;
    unsigned long readRaw = 0;
    unsigned long timestamp = 0;
    double value = 0;
    const bool isValid = signal.read(readRaw, timestamp);
    require(readRaw == signal.slot->raw && isValid == (signal.slot->valid != 0));
    require(signal.read(value, timestamp) == isValid && timestamp == signal.slot->timestamp);
    signal.writeTS(raw);
    signal.write(raw, raw);
    require(signal.read(readRaw, timestamp) && readRaw == raw && timestamp == raw);
    signal.writeRaw(raw + 1, raw);
    require(signal.read(readRaw, timestamp) && readRaw == raw + 1);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::cout.setstate(std::ios::failbit); // the lines are not of interest
    std::cerr.setstate(std::ios::failbit);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool detach = BaseSignal::detachOnly = true;
    static Segment segment(definition());
    FuzzInput input(data, size);
    BaseSignal::debug = input.take<std::uint8_t>() % 3;
    const auto raw = input.take<std::uint64_t>();
    baseSignalDef_t reader = definition();
    reader.type = static_cast<signalValue_t>(input.take<std::uint8_t>() % 4);
    segment.fill(input);
    SignalStorage storage; // the segment's owner has the name in the default one
    BaseSignal signal(reader, true, &storage);
    require(signal.slot != &signal.privateSlot && detach);

    ExpParser expression((reader.instance + " + 1 > 2").c_str(), false, &storage);
    bool result = false;
    expression.getExpResult(result);
    exercise(signal, raw);
    segment.fill(input);
    expression.getExpResult(result);
    exercise(signal, raw);
    return 0;
}
