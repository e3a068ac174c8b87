/// \file
/// Finds signals by patterns of names.
#pragma once

#include "audit/AuditCheck.h"
#include "text/ClosestNames.h"
#include "text/Error.h"

#include <algorithm>
#include <fnmatch.h>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace rksignal {

/// Whether an instance name matches a pattern as of file names in a shell.
inline bool matchesInstance(const AuditContext& context, std::size_t signal, const std::string& pattern) {
    return fnmatch(pattern.c_str(), context.signal(signal).def.instance.c_str(), 0) == 0;
}

/// Whether the short name of a signal matches one of the patterns, in upper or lower case.
template <class Patterns>
bool matchesName(const AuditContext& context, std::size_t signal, const Patterns& patterns) {
    const std::string& name = context.catalog.origin(signal).definition().common().signal;
    return std::any_of(std::begin(patterns), std::end(patterns), [&name](const char* pattern) {
        return fnmatch(pattern, name.c_str(), FNM_CASEFOLD) == 0;
    });
}

/// \throws Error, with the closest names, unless a pattern matches a signal
inline void requireMatch(const AuditContext& context, const std::string& option, const std::string& pattern) {
    std::vector<std::string_view> names;
    for (std::size_t i = 0; i < context.catalog.signals().size(); ++i) {
        if (matchesInstance(context, i, pattern)) {
            return;
        }
        names.push_back(context.signal(i).def.instance);
    }
    throw Error(option + ' ' + pattern + " matches no signal" + closestNames(pattern, names));
}

} // namespace rksignal
