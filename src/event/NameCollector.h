/// \file
/// Enters names into an ordered set, at little cost when most have been entered before.
#pragma once

#include "signal/HashIndex.h"

#include <functional>
#include <set>
#include <string>
#include <string_view>

/// A hash index in front of a set. Holds pointers into the set, from which nothing may be removed meanwhile.
/// Only a new name allocates.
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
