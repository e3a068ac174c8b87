#include "input/AnalogSignal.h"

#include "input/InputKey.h"

AnalogSignal::AnalogSignal(const inputSignalDef_t& def, bool shmem, SignalStorage* storage)
    : InputSignal(def, shmem, storage) {
    if (enter(input::analogBit, "AnalogSignal")) {
        file(input::key(input::analogBit, definition.tslId, definition.channel));
        traceCreated("AnalogSignal");
    }
}
