#include "signal/Diagnostics.h"

#include <string_view>

namespace {

const char* tagOf(LogLevel level) {
    switch (level) {
    case LogLevel::Error:
        return "[ERROR] ";
    case LogLevel::Info:
        return "[INFO] ";
    case LogLevel::Debug:
        break;
    }
    return "[DEBUG] ";
}

std::string_view withoutLineEnds(std::string_view text) {
    return text.substr(0, text.find_last_not_of('\n') + 1);
}

} // namespace

LogLine::LogLine(LogLevel level, std::ostream& standard, Tag tag)
    : guard(LogUtil::logMutex), level(level), stream(LogUtil::receiver() ? text.emplace() : standard),
      formerLocale(stream.getloc()) {
    if (formerLocale != std::locale::classic()) {
        stream.imbue(std::locale::classic());
    }
    if (!text && tag == Tag::Level) {
        stream << tagOf(level);
    }
}

LogLine::~LogLine() {
    if (text) {
        LogUtil::receiver()(level, withoutLineEnds(text->view()));
        return;
    }
    stream.flush();
    if (formerLocale != std::locale::classic()) {
        stream.imbue(formerLocale);
    }
}
