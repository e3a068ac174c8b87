#include "definition/dbc/DbcNames.h"

#include "text/DbcWords.h"

#include <algorithm>

namespace rksignal {
namespace {

constexpr std::size_t longest = 32;
constexpr const char* placeholder = "Vector__XXX"; // for no node

std::string identifierOf(const std::string& name) {
    std::string identifier = name.substr(0, longest);
    for (char& character : identifier) {
        if (!isDbcIdentifier(std::string_view(&character, 1)) && !isDigit(character)) {
            character = '_';
        }
    }
    if (!isDbcIdentifier(identifier) || isDbcKeyword(identifier) || identifier == placeholder) {
        identifier = ("_" + identifier).substr(0, longest);
    }
    return identifier;
}

} // namespace

std::string DbcNames::add(const std::string& wanted) {
    const std::string identifier = identifierOf(wanted);
    std::string name = identifier;
    while (!names.insert(name).second) {
        unsigned& number = numbers.try_emplace(identifier, 1).first->second;
        const std::string ending = "_" + std::to_string(++number);
        name = identifier.substr(0, longest - ending.size()) + ending;
    }
    return name;
}

std::vector<std::string> DbcNames::add(const std::vector<std::string>& wanted) {
    std::vector<std::string> found(wanted.size());
    for (const bool fits : {true, false}) {
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            if ((identifierOf(wanted[i]) == wanted[i]) == fits) {
                found[i] = add(wanted[i]);
            }
        }
    }
    return found;
}

} // namespace rksignal
