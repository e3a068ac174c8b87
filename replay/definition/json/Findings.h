/// \file
/// Places in a JSON document, and what is wrong there.
#pragma once

#include "text/Remark.h"

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

namespace rksignal {

using JsonValue = nlohmann::json;          ///< as it is read
using JsonOutput = nlohmann::ordered_json; ///< as it is written: members keep their order

/// The way to a value, e.g. `/can/3/bits` (RFC 6901); the empty one leads to the whole document.
using Place = JsonValue::json_pointer;

/// Collects everything that is wrong with one document, in the order in which it is found.
class Findings {
  public:
    /// `file` is what the remarks call the document.
    explicit Findings(std::string file) : name(std::move(file)) {}

    std::size_t count() const { return remarks.count(Severity::Error); }
    /// Whether further findings are only counted, so that their places do not matter.
    bool isFull() const { return remarks.omitted() > 0; }
    std::string placeText(const Place& place) const { return name + "#" + place.to_string(); }

    void add(const Place& place, std::string text) {
        remarks.add({isFull() ? std::string() : placeText(place), Severity::Error, std::move(text)});
    }
    /// `expected WHAT, found VALUE`
    void expected(const std::string& what, const JsonValue& found, const Place& place);
    void addAt(std::size_t line, std::size_t column, std::string text);

    /// \throws RemarkError if there is anything
    void throwIfAny();

  private:
    static constexpr std::size_t maxKept = 20;

    std::string name;
    RemarkList remarks{maxKept};
};

/// A value as a message shows it: short, on one line.
std::string shownValue(const JsonValue& value);

} // namespace rksignal
