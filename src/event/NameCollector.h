/// \file
/// Enters names into an ordered set, at little cost when most have been entered before.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// A hash table with open addressing in front of a set. Holds pointers into the set, from which nothing may
/// be removed meanwhile. Only a new name allocates.
class NameCollector {
  public:
    explicit NameCollector(std::set<std::string>& names) : names(names), slots(64) {}

    /// \return whether this collector had not entered the name before
    bool enter(std::string_view name) {
        const std::string** const slot = find(name);
        if (*slot != nullptr) {
            return false;
        }
        *slot = &*names.emplace(name).first;
        if (++used > slots.size() / 2) {
            grow();
        }
        return true;
    }

  private:
    /// The slot that holds the name, or the empty one where it belongs.
    const std::string** find(std::string_view name) {
        std::size_t at = std::hash<std::string_view>{}(name) & (slots.size() - 1);
        while (slots[at] != nullptr && *slots[at] != name) {
            at = (at + 1) & (slots.size() - 1);
        }
        return &slots[at];
    }
    void grow() {
        std::vector<const std::string*> former(slots.size() * 2);
        former.swap(slots);
        for (const std::string* name : former) {
            if (name != nullptr) {
                *find(*name) = name;
            }
        }
    }

    std::set<std::string>& names;
    std::vector<const std::string*> slots; ///< a power of two of them, at most half in use
    std::size_t used = 0;
};
