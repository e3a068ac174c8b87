#include "plot/SvgText.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace rksignal {
namespace {

/// `text` begins with a character that UTF-8 can hold and XML cannot: U+FFFE, U+FFFF or a control character.
std::size_t forbiddenLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x20 && first != '\t' && first != '\n' && first != '\r') {
        return 1;
    }
    return text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF") ? 3 : 0;
}

void appendTenths(std::string& out, long tenths) {
    if (tenths < 0) {
        out += '-';
    }
    const long magnitude = std::abs(tenths);
    if (magnitude >= 10 || magnitude == 0) {
        out += std::to_string(magnitude / 10);
    }
    if (magnitude % 10 != 0) {
        out += '.';
        out += static_cast<char>('0' + magnitude % 10);
    }
}

long tenthsOf(double length) {
    constexpr double limit = 1e6;
    return std::lround(std::clamp(length, -limit, limit) * 10);
}

} // namespace

void appendXml(std::string& out, std::string_view text) {
    while (!text.empty()) {
        std::size_t length = forbiddenLength(text);
        if (length > 0) {
            out += "\uFFFD";
        } else {
            length = 1;
            switch (text.front()) {
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '&':
                out += "&amp;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += text.front();
            }
        }
        text.remove_prefix(length);
    }
}

void appendPixels(std::string& out, double length) {
    appendTenths(out, tenthsOf(length));
}

SvgPath::Place SvgPath::rounded(double x, double y) {
    return {tenthsOf(x), tenthsOf(y)};
}

void SvgPath::moveTo(double x, double y) {
    if (hasWaiting) {
        drawTo(waiting);
    }
    waiting = rounded(x, y);
    hasWaiting = isMove = true;
}

void SvgPath::lineTo(double x, double y) {
    const Place place = rounded(x, y);
    if (isMove) {
        drawTo(waiting);
        waiting = place;
        return;
    }
    const Place before{waiting.x - drawn.x, waiting.y - drawn.y};
    const Place after{place.x - waiting.x, place.y - waiting.y};
    const bool goesOn = before.x * after.x >= 0 && before.y * after.y >= 0;
    if (before.x * after.y != before.y * after.x || !goesOn) {
        drawTo(waiting);
    }
    waiting = place;
}

void SvgPath::drawTo(const Place& place) {
    const long x = place.x - drawn.x;
    const long y = place.y - drawn.y;
    const char next = isMove ? 'm' : y == 0 ? 'h' : x == 0 ? 'v' : 'l';
    const bool isSame = next == command && next != 'm';
    if (!isSame) {
        data += next;
        command = next;
    }
    if (next != 'v') {
        append(x, !isSame);
    }
    if (next != 'h') {
        append(y, !isSame && next == 'v');
    }
    drawn = place;
    isMove = false;
}

/// Numbers are told apart by a sign, by a second decimal point, or by a blank.
void SvgPath::append(long number, bool isFirst) {
    const bool startsWithPoint = number > 0 && number < 10;
    if (!isFirst && number >= 0 && !(startsWithPoint && endsInDecimal)) {
        data += ' ';
    }
    appendTenths(data, number);
    endsInDecimal = number % 10 != 0;
}

std::string SvgPath::finish() {
    if (hasWaiting) {
        drawTo(waiting);
    }
    return std::exchange(*this, SvgPath()).data;
}

} // namespace rksignal
