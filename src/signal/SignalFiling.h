/// \file
/// Filing a signal in the tables of its kind, and taking it out again.
///
/// Every bus and input class keeps its signals in the same three places: the storage's table of the kind and
/// the storage's identifier table, both under the signal's identifier, and under the frame key a table that
/// is class-wide or the storage's own.
#pragma once

#include "signal/BaseSignal.h"
#include "signal/Diagnostics.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace filing {

/// The identifier of a signal whose definition was rejected.
constexpr std::uint64_t rejectedId = ~std::uint64_t{0};

/// The registry meant by a storage argument.
inline SignalStorage& storageOrDefault(SignalStorage* storage) {
    return storage != nullptr ? *storage : BaseSignal::defSignalStorage;
}

/// Gives `signal` the next identifier of its kind and enters it in `ofKind` and in the storage's identifier
/// table. An identifier that is already taken there is reported at `site`, after which `signal` keeps its
/// entry in `ofKind` but counts as rejected. `lineEnd` ends the report. \return whether the signal is to be
/// filed further
template <class Signal>
bool enter(Signal& signal, std::uint64_t kindBit, SignalTable<std::vector<Signal*>>& ofKind, LogSite site,
           bool endLine = true) {
    // Storages that stand alone count from several threads.
    signal.id = std::atomic_ref(BaseSignal::instanceCounter)++ + kindBit;
    ofKind.file(signal.id, &signal);
    if (signal.storage->instancesById.file(signal.id, &signal)) {
        return true;
    }
    LogLine line(LogLevel::Error);
    line.out() << site << "gpId 0x" << std::hex << signal.id << std::dec << " already exists"
               << (endLine ? "\n" : "");
    signal.storage->refusedIds[&signal] = signal.id;
    signal.id = rejectedId;
    return false;
}

/// The identifier under which the list of its kind keeps a signal that was refused because it was taken; 0 if
/// there is none. Told once.
inline std::uint64_t takeRefusedId(const BaseSignal& signal) {
    auto& refused = signal.storage->refusedIds;
    const auto entry = refused.empty() ? refused.end() : refused.find(&signal);
    if (entry == refused.end()) {
        return 0;
    }
    const std::uint64_t id = entry->second;
    refused.erase(entry);
    return id;
}

/// Takes `signal` out of `ofKind`, if it was refused too. A missing identifier is passed over: the signal was
/// rejected, or it is the child of a signal that has left. An identifier without the signal is reported at
/// `site`; `gap` stands between its name and the text.
template <class Signal>
void leave(Signal& signal, SignalTable<std::vector<Signal*>>& ofKind, LogSite site, const char* gap = " ") {
    const std::uint64_t refusedId = takeRefusedId(signal);
    const bool refused = signal.id == rejectedId && refusedId != 0;
    const auto result = ofKind.unfile(refused ? refusedId : signal.id, &signal);
    if (result == SignalTable<std::vector<Signal*>>::Unfiled::OthersOnly && !refused) {
        logError(site, signal.def.instance, gap, "instance not found in vector");
    }
}

/// Writes every list of `table` with the print forms of its signals, for debug output at `site`.
template <class Table>
void dump(const Table& table, LogSite site) {
    for (const auto& [key, signals] : table) {
        const std::lock_guard guard(LogUtil::logMutex);
        logDebug(site, std::hex, key, std::dec);
        LogLine line(LogLevel::Debug);
        line.out() << site << "[";
        for (const auto* signal : signals) {
            line.out() << *signal << ",";
        }
        line.out() << "]\n\n";
    }
}

/// The print form that all kinds share: the signal, its definition and its identifier, joined by `;`. Leaves
/// the stream in hexadecimal mode.
template <class Signal>
std::ostream& print(std::ostream& out, const Signal& signal) {
    return out << static_cast<const BaseSignal&>(signal) << ";" << signal.definition << ";index=" << std::hex
               << signal.id;
}

} // namespace filing
