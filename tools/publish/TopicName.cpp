#include "publish/TopicName.h"

#include <mosquitto.h>

namespace rksignal {
namespace {

bool isUtf8(std::string_view text) {
    return mosquitto_validate_utf8(text.data(), static_cast<int>(text.size())) == MOSQ_ERR_SUCCESS;
}

void appendEscaped(std::string& topic, unsigned char byte) {
    constexpr const char* digits = "0123456789ABCDEF";
    topic += '%';
    topic += digits[byte >> 4];
    topic += digits[byte & 0xF];
}

std::string escaped(std::string_view instance, bool keepsUpper) {
    constexpr std::string_view special("+#/%");
    std::string topic;
    for (const char letter : instance) {
        const auto byte = static_cast<unsigned char>(letter);
        const bool isKept =
            byte >= 0x80 ? keepsUpper : byte >= ' ' && byte != 0x7F && special.find(letter) == special.npos;
        if (!isKept) {
            appendEscaped(topic, byte);
        } else {
            topic += letter == '.' ? '/' : letter;
        }
    }
    return topic;
}

} // namespace

std::string topicOf(std::string_view prefix, std::string_view instance) {
    std::string levels = escaped(instance, true);
    if (!isUtf8(levels)) {
        levels = escaped(instance, false);
    }
    for (const std::string_view taken : {"status", "statistics", "values"}) {
        if (levels == taken) {
            levels.clear();
            appendEscaped(levels, static_cast<unsigned char>(taken.front()));
            levels += taken.substr(1);
            break;
        }
    }
    return std::string(prefix) + "/" + levels;
}

bool isTopicPrefix(std::string_view prefix) {
    return !prefix.empty() && prefix.size() < maxTopicLength / 2 &&
           prefix.find_first_of("+#") == prefix.npos && isUtf8(prefix);
}

} // namespace rksignal
