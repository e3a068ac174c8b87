/// \file
/// The keywords of the DBC format, and the form of its names and texts.
#include "text/DbcWords.h"

#include <iterator>
#include <unordered_set>

namespace rksignal {

namespace {

constexpr std::string_view keywordNames[] = {
    "VERSION",
    "NS_",
    "BS_",
    "BU_",
    "BO_",
    "SG_",
    "CM_",
    "VAL_",
    "VAL_TABLE_",
    "BA_",
    "BA_DEF_",
    "BA_DEF_DEF_",
    "BA_REL_",
    "BA_DEF_REL_",
    "BA_SGTYPE_",
    "BA_DEF_SGTYPE_",
    "BA_DEF_DEF_REL_",
    "BO_TX_BU_",
    "BU_SG_REL_",
    "BU_EV_REL_",
    "BU_BO_REL_",
    "EV_",
    "EV_DATA_",
    "ENVVAR_DATA_",
    "SGTYPE_",
    "SGTYPE_VAL_",
    "SIG_GROUP_",
    "SIG_VALTYPE_",
    "SIGTYPE_VALTYPE_",
    "SIG_TYPE_REF_",
    "SG_MUL_VAL_",
    "CAT_",
    "CAT_DEF_",
    "FILTER",
    "NS_DESC_",
};

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

} // namespace

bool isDbcKeyword(std::string_view word) {
    static const std::unordered_set<std::string_view> keywords(std::begin(keywordNames),
                                                               std::end(keywordNames));
    return keywords.contains(word);
}

bool isDbcIdentifier(std::string_view word) {
    for (const char c : word)
        if (!isLetter(c) && !isDigit(c))
            return false;
    return !word.empty() && !isDigit(word.front());
}

std::string unquoted(std::string_view quoted) {
    std::string out;
    out.reserve(quoted.size());
    for (std::size_t i = 0; i < quoted.size(); ++i) {
        const std::string_view pair = quoted.substr(i, 2);
        if (pair != "\\\"" && pair != "\r\n")
            out += quoted[i];
    }
    return out;
}

} // namespace rksignal
