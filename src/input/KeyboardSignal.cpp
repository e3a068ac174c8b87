#include "input/KeyboardSignal.h"

#include "input/InputKey.h"

using input::keyboardBit;

std::map<std::string, std::uint64_t> KeyboardSignal::predefinedInputs = {
    {"RC.F1", keyboardBit + 1},   {"RC.F2", keyboardBit + 2},   {"RC.F3", keyboardBit + 3},
    {"RC.F4", keyboardBit + 4},   {"RC.F5", keyboardBit + 5},   {"RC.F6", keyboardBit + 6},
    {"RC.F7", keyboardBit + 7},   {"RC.F8", keyboardBit + 8},   {"RC.F9", keyboardBit + 9},
    {"RC.F10", keyboardBit + 10}, {"RC.TRG", keyboardBit + 16},
};

KeyboardSignal::KeyboardSignal(const inputSignalDef_t& def, bool shmem, SignalStorage* storage)
    : InputSignal(def, shmem, storage) {
    filePredefined(predefinedInputs, keyboardBit, "KeyboardSignal");
}
