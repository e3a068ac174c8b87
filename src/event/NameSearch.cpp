// Every name holds one point, as in "CAN.signal12" and "GPS.Speed", and what stands before the point is the
// end of no other such prefix. So names are searched for by their points, which are rare in most texts, and a
// point belongs to one name at most. In the order of their points names also begin and end; one that would
// begin within the name before it is none, just as for a scanner that goes through the text from the left.

#include "event/NameSearch.h"

#include "event/NameTables.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <emmintrin.h>

namespace {

using namespace std::string_view_literals;

/// 0 if the text does not begin with one of the words, else the length of that one. None begins another.
template <std::size_t count>
std::size_t lengthOfWord(std::string_view text, const std::array<std::string_view, count>& words) {
    for (const std::string_view word : words) {
        if (text.front() == word.front() && text.starts_with(word)) {
            return word.size();
        }
    }
    return 0;
}

/// 0 if the text does not begin with the word and a digit, else the length of both and all further digits.
std::size_t lengthOfNumbered(std::string_view text, std::string_view word) {
    if (!text.starts_with(word)) {
        return 0;
    }
    const auto* const digits = text.begin() + word.size();
    const auto* const end = std::find_if(digits, text.end(), [](char c) { return c < '0' || c > '9'; });
    return end != digits ? static_cast<std::size_t>(end - text.begin()) : 0;
}

class NameSearch {
  public:
    NameSearch(std::string_view text, eventFlexer& scanner) : text(text), scanner(scanner), tables(scanner) {}

    void run() {
        std::size_t place = 0;
        for (; text.size() - place >= block; place += block) {
            for (std::uint64_t points = pointsIn(text.data() + place); points != 0; points &= points - 1) {
                takeName(place + static_cast<std::size_t>(std::countr_zero(points)));
            }
        }
        for (; place < text.size(); ++place) {
            if (text[place] == '.') {
                takeName(place);
            }
        }
    }

  private:
    static constexpr std::size_t block = 64;

    /// Which of the 64 bytes are points, the first one as the lowest bit. SSE2, which every x86-64 has.
    static std::uint64_t pointsIn(const char* bytes) {
        const __m128i point = _mm_set1_epi8('.');
        std::uint64_t points = 0;
        for (std::size_t part = 0; part < block; part += sizeof point) {
            const __m128i some = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + part));
            const int found = _mm_movemask_epi8(_mm_cmpeq_epi8(some, point));
            points |= std::uint64_t{static_cast<std::uint32_t>(found)} << part;
        }
        return points;
    }

    /// Enters the name around a point, if there is one. All prefixes are told apart by the byte before it.
    void takeName(std::size_t point) {
        if (point == behindLast) {
            return;
        }
        switch (text[point - 1]) {
        case 'N':
            takeSignal("CAN", point, scanner.canCount) || takeSignal("LIN", point, scanner.linCount);
            break;
        case 'Y':
            takeSignal("FLEXRAY", point, scanner.flexRayCount);
            break;
        case 'I':
            takeInput("DI", point, &NameTables::addDigital) ||
                takeInput("AI", point, &NameTables::addAnalog) || takeSignal("MII", point, scanner.miiCount);
            break;
        case 'C':
            takeRemoteKey(point);
            break;
        case 'r':
            takeLogger(point);
            break;
        case 'S':
            takeGps(point);
            break;
        default:
            break;
        }
    }

    /// Whether the point stands behind `prefix`, all of it behind the name before, and before another byte.
    bool follows(std::string_view prefix, std::size_t point) const {
        return point - behindLast >= prefix.size() && point + 1 < text.size() &&
               text.substr(point - prefix.size(), prefix.size()) == prefix;
    }

    /// The name of which `length` bytes stand behind the point.
    std::string_view name(std::string_view prefix, std::size_t point, std::size_t length) {
        behindLast = point + 1 + length;
        return text.substr(point - prefix.size(), prefix.size() + 1 + length);
    }

    bool takeSignal(std::string_view prefix, std::size_t point, std::uint16_t& count) {
        if (!follows(prefix, point)) {
            return false;
        }
        if (const std::size_t length = lengthOfNumbered(text.substr(point + 1), "signal")) {
            tables.addSignal(count, name(prefix, point, length));
        }
        return true;
    }

    bool takeInput(std::string_view prefix, std::size_t point, void (NameTables::*add)(std::string_view)) {
        if (!follows(prefix, point)) {
            return false;
        }
        if (const std::size_t length = lengthOfNumbered(text.substr(point + 1), "")) {
            (tables.*add)(name(prefix, point, length));
        }
        return true;
    }

    void takeRemoteKey(std::size_t point) {
        static constexpr std::array words = {"TRG"sv};
        if (follows("RC", point)) {
            const std::string_view rest = text.substr(point + 1);
            if (const std::size_t length = std::max(lengthOfNumbered(rest, "F"), lengthOfWord(rest, words))) {
                tables.addRemoteKey(name("RC", point, length));
            }
        }
    }

    void takeLogger(std::size_t point) {
        static constexpr std::array words = {"Status"sv, "Start"sv, "Timer"sv, "IntMemory"sv, "ExtMemory"sv};
        if (follows("Logger", point)) {
            if (const std::size_t length = lengthOfWord(text.substr(point + 1), words)) {
                tables.addLogger(name("Logger", point, length));
            }
        }
    }

    void takeGps(std::size_t point) {
        static constexpr std::array words = {"Status"sv,   "Time"sv,      "Date"sv,
                                             "Latitude"sv, "Longitude"sv, "Speed"sv,
                                             "Course"sv,   "Altitude"sv,  "Satellites"sv};
        if (follows("GPS", point)) {
            if (const std::size_t length = lengthOfWord(text.substr(point + 1), words)) {
                tables.addGps(name("GPS", point, length));
            }
        }
    }

    std::string_view text;
    eventFlexer& scanner;
    NameTables tables;
    std::size_t behindLast = 0; ///< behind the last name
};

} // namespace

void searchNames(std::string_view text, eventFlexer& scanner) {
    NameSearch(text, scanner).run();
}
