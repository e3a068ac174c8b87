#include "export/MatVariables.h"

#include <algorithm>
#include <iterator>

namespace rksignal {
namespace {

constexpr std::size_t longestVariable = 63;

bool isAsciiLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isKeyword(std::string_view text) {
    constexpr std::string_view keywords[] = {"break",  "case",   "catch",     "classdef", "continue",
                                             "else",   "elseif", "end",       "for",      "function",
                                             "global", "if",     "otherwise", "parfor",   "persistent",
                                             "return", "spmd",   "switch",    "try",      "while"};
    return std::find(std::begin(keywords), std::end(keywords), text) != std::end(keywords);
}

} // namespace

std::string MatVariables::add(std::string_view name) {
    std::string variable;
    for (const char character : name) {
        const bool isDigit = character >= '0' && character <= '9';
        variable += isAsciiLetter(character) || isDigit ? character : '_';
    }
    if (variable.empty() || !isAsciiLetter(variable.front()) || isKeyword(variable)) {
        variable.insert(0, "x");
    }
    variable.resize(std::min(variable.size(), longestVariable));
    std::string free = variable;
    for (std::size_t n = 2; !taken.insert(free).second; ++n) {
        const std::string number = "_" + std::to_string(n);
        free = variable.substr(0, longestVariable - number.size()) + number;
    }
    return free;
}

} // namespace rksignal
