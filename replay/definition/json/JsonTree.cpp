#include "definition/json/JsonTree.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

/// The parser's message without its number and its own form of the position.
std::string reasonOf(const std::exception& error) {
    const std::string text = error.what();
    const std::size_t column = text.find("column ");
    const std::size_t number = text.find("] ");
    const std::size_t start = column != text.npos ? text.find(": ", column) : number;
    return start != text.npos ? text.substr(start + 2) : text;
}

/// Builds the tree as the parser goes along. Values are held by the pointers on the stack.
class TreeBuilder : public nlohmann::json_sax<JsonValue> {
  public:
    TreeBuilder(std::string_view text, Findings& findings) : text(text), findings(findings) {}

    JsonValue take() { return std::move(root); }

    bool null() override { return put(nullptr); }
    bool boolean(bool value) override { return put(value); }
    bool number_integer(number_integer_t value) override { return put(value); }
    bool number_unsigned(number_unsigned_t value) override { return put(value); }
    bool number_float(number_float_t value, const string_t& /*token*/) override { return put(value); }
    bool string(string_t& value) override { return put(std::move(value)); }
    bool binary(binary_t& /*value*/) override { return false; } // JSON text has none

    bool start_object(std::size_t /*size*/) override { return open(JsonValue::object()); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t /*size*/) override { return open(JsonValue::array()); }
    bool end_array() override { return close(); }

    bool key(string_t& name) override {
        if (stack.back().value->contains(name)) {
            findings.add(findings.isFull() ? Place() : place() / name,
                         "expected a member name once, found it again");
        }
        stack.back().member = std::move(name);
        return true;
    }

    bool parse_error(std::size_t position, const std::string& /*token*/,
                     const nlohmann::detail::exception& error) override {
        const std::string_view before = text.substr(0, std::min(position, text.size()));
        const auto line = std::count(before.begin(), before.end(), '\n') + 1;
        const std::size_t column = before.size() - (before.rfind('\n') + 1); // npos + 1 is 0
        findings.addAt(static_cast<std::size_t>(line), std::max(column, std::size_t{1}), reasonOf(error));
        return false;
    }

  private:
    struct Open {
        JsonValue* value;
        std::string member; ///< of an object: the name that was read last
    };

    template <class Value>
    bool put(Value&& value) {
        place(std::forward<Value>(value));
        return true;
    }

    bool open(JsonValue&& value) {
        JsonValue& placed = place(std::move(value));
        stack.push_back({&placed, {}});
        return true;
    }

    bool close() {
        stack.pop_back();
        return true;
    }

    template <class Value>
    JsonValue& place(Value&& value) {
        if (stack.empty()) {
            return root = std::forward<Value>(value);
        }
        JsonValue& parent = *stack.back().value;
        return parent.is_array() ? parent.emplace_back(std::forward<Value>(value))
                                 : parent[stack.back().member] = std::forward<Value>(value);
    }

    /// Of the object that is open.
    Place place() const {
        Place result;
        for (std::size_t i = 0; i + 1 < stack.size(); ++i) {
            const Open& parent = stack[i];
            result.push_back(parent.value->is_array() ? std::to_string(parent.value->size() - 1)
                                                      : parent.member);
        }
        return result;
    }

    std::string_view text;
    Findings& findings;
    JsonValue root;
    std::vector<Open> stack;
};

} // namespace

std::optional<JsonValue> parseJson(std::string_view text, Findings& findings) {
    TreeBuilder builder(text, findings);
    if (!JsonValue::sax_parse(text.begin(), text.end(), &builder)) {
        return std::nullopt;
    }
    return builder.take();
}

} // namespace rksignal
