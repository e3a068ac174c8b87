#include "input/DigitalSignal.h"

#include "input/InputKey.h"

DigitalSignal::DigitalSignal(const inputSignalDef_t& def, bool shmem, SignalStorage* storage)
    : InputSignal(def, shmem, storage) {
    if (enter(input::digitalBit, "DigitalSignal")) {
        file(input::key(input::digitalBit, definition.tslId, definition.channel));
        traceCreated("DigitalSignal");
    }
}
