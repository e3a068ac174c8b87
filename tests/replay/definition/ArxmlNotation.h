/// \file
/// A short notation of AUTOSAR XML for tests.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// `A(B=1 C())` stands for `<A><B>1</B><C></C></A>`; all of it lies in the package `x`.
inline std::string arxml(std::string_view notation) {
    const std::string text =
        "AUTOSAR(AR-PACKAGES(AR-PACKAGE(SHORT-NAME=x ELEMENTS(" + std::string(notation) + "))))";
    std::string xml;
    std::vector<std::string> open;
    for (std::size_t i = 0; i < text.size();) {
        if (text[i] == ')') {
            xml += "</" + open.back() + ">";
            open.pop_back();
        }
        if (text[i] == ')' || text[i] == ' ' || text[i] == '\n') {
            ++i;
            continue;
        }
        const std::size_t end = text.find_first_of("(=", i);
        const std::string tag = text.substr(i, end - i);
        i = text.find_first_of(text[end] == '(' ? "(" : " )\n", i);
        xml += "<" + tag + ">";
        if (text[end] == '(') {
            open.push_back(tag);
            ++i;
        } else {
            xml += text.substr(end + 1, i - end - 1) + "</" + tag + ">";
        }
    }
    return xml;
}

} // namespace rksignal
