/// \file
/// Writes the parser's trace in its traditional wording, whatever words this bison uses.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <cstring>

/// bison's `fprintf`.
[[gnu::format(printf, 2, 3)]] inline void traceParser(std::FILE* out, const char* format, ...) {
    if (std::strcmp(format, "Reading a token\n") == 0) {
        std::fputs("Reading a token: ", out);
        return;
    }
    char text[256];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const bool isUndefined = std::strcmp(text, "token invalid token (") == 0;
    std::fputs(isUndefined ? "token $undefined (" : text, out);
}

#define YYFPRINTF traceParser
