/// \file
/// Places in a JSON document, and what is wrong there.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace rksignal {

using JsonValue = nlohmann::json;          ///< as it is read
using JsonOutput = nlohmann::ordered_json; ///< as it is written: members keep their order

/// The way to a value, e.g. `/can/3/bits` (RFC 6901); the empty one leads to the whole document.
using Place = JsonValue::json_pointer;

/// Collects everything that is wrong with one document, in the order in which it is found.
class Findings {
  public:
    /// `file` is what the texts call the document.
    explicit Findings(std::string file) : name(std::move(file)) {}

    const std::string& file() const { return name; }
    std::size_t count() const { return total; }

    /// `FILE#PLACE: TEXT`
    void add(const Place& place, const std::string& text);
    /// `FILE#PLACE: expected WHAT, found VALUE`
    void expected(const std::string& what, const JsonValue& found, const Place& place);
    /// `FILE:LINE:COLUMN: TEXT`
    void addAt(std::size_t line, std::size_t column, const std::string& text);

    /// \throws DefinitionError if there is anything
    void throwIfAny() const;

  private:
    void keep(std::string text);

    std::string name;
    std::size_t total = 0;
    std::vector<std::string> texts; ///< the first of them
};

/// A value as a message shows it: short, on one line.
std::string shownValue(const JsonValue& value);

} // namespace rksignal
