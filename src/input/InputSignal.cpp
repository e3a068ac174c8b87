#include "input/InputSignal.h"

#include "signal/Diagnostics.h"
#include "signal/SignalFiling.h"

#include <ostream>

FrameTable<InputSignal> InputSignal::inputContainer;

namespace {

/// All classes of inputs report as this one.
constexpr LogSite siteOf(const char* operation) {
    return {"InputSignal", operation};
}

} // namespace

InputSignal::InputSignal(const inputSignalDef_t& def, bool shmem, SignalStorage* storage)
    : InputSignal(def, DefUse::Refer, shmem, storage) {}

InputSignal::InputSignal(const inputSignalDef_t& def, DefUse use, bool shmem, SignalStorage* storage)
    : Defined{def}, BaseSignal(definition, use, shmem, storage) {}

InputSignal::~InputSignal() {
    filing::leave(*this, storage->inputSignals, siteOf("~InputSignal"));
    FrameTable<InputSignal>& container = containerOf(storage);
    container.unfile(inputKey, this);
    container.unfileByHand(this);
}

bool InputSignal::enter(std::uint64_t kindBit, const char* className) {
    return filing::enter(*this, kindBit, storage->inputSignals, siteOf(className));
}

void InputSignal::file(std::uint64_t key) {
    inputKey = key;
    containerOf(storage).file(key, this);
}

bool InputSignal::filePredefined(const std::map<std::string, std::uint64_t>& inputs, std::uint64_t kindBit,
                                 const char* className) {
    const auto entry = inputs.find(definition.instance);
    if (entry == inputs.end()) {
        logError(siteOf(className), definition.instance, " not found in predefined input lists, gpId = 0");
        return true;
    }
    if (!enter(kindBit, className)) {
        return false;
    }
    file(entry->second);
    traceCreated(className);
    return true;
}

void InputSignal::traceCreated(const char* className) const {
    if (debug) {
        logDebug(siteOf(className), definition.instance, " created ", shmem ? "(shared memory)" : "", *this,
                 std::dec);
    }
}

std::ostream& operator<<(std::ostream& out, const inputSignalDef_t& definition) {
    return out << static_cast<const baseSignalDef_t&>(definition);
}

std::ostream& operator<<(std::ostream& out, const InputSignal& signal) {
    return filing::print(out, signal);
}
