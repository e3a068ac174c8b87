/// \file
/// Enters the names that an event description mentions into the tables of its scanner.
#pragma once

#include "event/EventParser.h"
#include "signal/HashIndex.h"

#include <charconv>
#include <climits>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

/// Enters names into an ordered set, at little cost when most have been entered before: a hash index in front
/// of the set. Holds pointers into the set, from which nothing may be removed meanwhile. Only a new name
/// allocates.
class NameCollector {
  public:
    explicit NameCollector(std::set<std::string>& names) : names(names) {}

    /// \return whether this collector had not entered the name before
    bool enter(std::string_view name) {
        if (index.find(name) != nullptr) {
            return false;
        }
        index.enter({&*names.emplace(name).first});
        return true;
    }

  private:
    struct Entry {
        const std::string* name = nullptr;
        std::string_view key() const { return *name; }
        bool isFree() const { return name == nullptr; }
    };

    std::set<std::string>& names;
    HashIndex<Entry, std::hash<std::string_view>> index;
};

/// The tables of one scanner while it scans. Each operation counts a mention and enters the name.
class NameTables {
  public:
    explicit NameTables(eventFlexer& tables) : tables(tables), names(tables.allSignals) {}

    void addSignal(std::uint16_t& count, std::string_view name) {
        ++count;
        names.enter(name);
    }
    void addRemoteKey(std::string_view name) { addNamed(tables.rcCount, tables.rcKeys, name); }
    void addLogger(std::string_view name) {
        if (name == "Logger.Timer") {
            ++tables.timerCount;
        }
        addNamed(tables.loggerCount, tables.loggerSignals, name);
    }
    void addGps(std::string_view name) { addNamed(tables.gpsCount, tables.gpsSignals, name); }
    void addDigital(std::string_view name) { addInput(tables.digitalCount, tables.digitalInputs, name); }
    void addAnalog(std::string_view name) { addInput(tables.analogCount, tables.analogInputs, name); }

  private:
    void addNamed(std::uint16_t& count, std::set<std::string>& kind, std::string_view name) {
        ++count;
        if (names.enter(name)) {
            kind.emplace(name);
        }
    }

    void addInput(std::uint16_t& count, std::map<int, std::string>& kind, std::string_view name) {
        constexpr std::size_t prefix = 3;
        ++count;
        indexPrefix.assign(name, 0, prefix);
        if (names.enter(name)) {
            kind.emplace(inputNumber(name.substr(prefix)), name);
        }
    }

    /// The number of an input, from its digits: octal after a leading zero, at most LONG_MAX, then cut to
    /// int.
    static int inputNumber(std::string_view digits) {
        long number = 0;
        const int base = digits.front() == '0' ? 8 : 10;
        const auto status = std::from_chars(digits.data(), digits.data() + digits.size(), number, base).ec;
        return static_cast<int>(status == std::errc::result_out_of_range ? LONG_MAX : number);
    }

    eventFlexer& tables;
    NameCollector names;
};
