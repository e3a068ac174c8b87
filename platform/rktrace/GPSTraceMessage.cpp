// Sentences of NMEA 0183: `$`, talker and type, fields behind commas, and, behind `*`, the exclusive or of
// all bytes between the two marks.

#include "rktrace/GPSTraceMessage.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>

namespace {

/// The content between `$` and `*` if the checksum, where there is one, is right.
std::optional<std::string_view> verified(std::string_view sentence) {
    const std::size_t star = sentence.find('*');
    if (star == std::string_view::npos) {
        return sentence;
    }
    const std::string_view content = sentence.substr(0, star);
    const std::string_view digits = sentence.substr(star + 1);
    unsigned expected = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), expected, 16);
    if (error != std::errc() || end != digits.data() + 2 || digits.size() != 2) {
        return std::nullopt;
    }
    unsigned actual = 0;
    for (const char character : content) {
        actual ^= static_cast<unsigned char>(character);
    }
    return actual == expected ? std::optional(content) : std::nullopt;
}

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// The fields of a sentence, read one after the other. An empty field, or one that the sentence lacks, reads
/// as nothing; so does a malformed one that is no measurement. A malformed measurement is not a number.
class FieldReader {
  public:
    explicit FieldReader(std::string_view fields) : rest(fields) {}

    std::string_view next() {
        const std::size_t comma = std::min(rest.find(','), rest.size());
        const std::string_view field = rest.substr(0, comma);
        rest.remove_prefix(std::min(comma + 1, rest.size()));
        return field;
    }

    /// A decimal number without exponent.
    std::optional<double> measurement() {
        const std::string_view field = next();
        if (field.empty()) {
            return std::nullopt;
        }
        double value = 0.0;
        const char* const fieldEnd = field.data() + field.size();
        const auto [end, error] = std::from_chars(field.data(), fieldEnd, value, std::chars_format::fixed);
        return error == std::errc() && end == fieldEnd && std::isfinite(value) ? value : notANumber;
    }

    /// A decimal number that `Number` can hold.
    template <class Number>
    std::optional<Number> count() {
        const std::string_view field = next();
        Number value = 0;
        const char* const fieldEnd = field.data() + field.size();
        const auto [end, error] = std::from_chars(field.data(), fieldEnd, value);
        return error == std::errc() && end == fieldEnd ? std::optional(value) : std::nullopt;
    }

    /// `hhmmss` or `ddmmyy`, perhaps with decimals, as a number.
    std::optional<std::int64_t> sixDigits() {
        constexpr std::size_t length = 6;
        const std::string_view field = next();
        std::int64_t value = 0;
        const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
        if (field.size() < length || !std::all_of(field.begin(), field.begin() + length, isDigit) ||
            (field.size() > length && field[length] != '.')) {
            return std::nullopt;
        }
        std::from_chars(field.data(), field.data() + length, value);
        return value;
    }

    /// An angle as degrees times 100 plus minutes, and the letter of its hemisphere, in degrees.
    std::optional<double> angle(char positive, char negative, double limit) {
        const auto value = measurement();
        const std::string_view hemisphere = next();
        if (!value) {
            return std::nullopt;
        }
        const double degrees = std::floor(*value / 100);
        const double minutes = *value - 100 * degrees;
        const double result = degrees + minutes / 60;
        const bool isNegative = hemisphere == std::string_view(&negative, 1);
        if (!(*value >= 0 && minutes < 60 && result <= limit) ||
            (!isNegative && hemisphere != std::string_view(&positive, 1))) {
            return notANumber;
        }
        return isNegative ? -result : result;
    }

  private:
    std::string_view rest;
};

template <class Field, class Value>
void set(Field& field, const std::optional<Value>& value) {
    if (value) {
        field = static_cast<Field>(*value);
    }
}

void setBits(std::uint64_t& word, const std::optional<double>& value) {
    if (value) {
        word = std::bit_cast<std::uint64_t>(*value);
    }
}

/// \return whether the sentence counts
bool parse(FieldReader& fields, GPSTraceMessage::numeric_gprmc_t& record) {
    constexpr double kilometresPerNauticalMile = 1.852;
    set(record.time, fields.sixDigits());
    const std::string_view status = fields.next();
    if (!status.empty() && status != "A" && status != "V") {
        return false;
    }
    record.status = status == "A" ? 1 : 0;
    setBits(record.latitude, fields.angle('N', 'S', 90));
    setBits(record.longitude, fields.angle('E', 'W', 180));
    const auto knots = fields.measurement();
    setBits(record.speed, knots ? std::optional(*knots * kilometresPerNauticalMile) : std::nullopt);
    setBits(record.course, fields.measurement());
    set(record.date, fields.sixDigits());
    return true;
}

bool parse(FieldReader& fields, GPSTraceMessage::numeric_gpgga_t& record) {
    set(record.time, fields.sixDigits());
    setBits(record.latitude, fields.angle('N', 'S', 90));
    setBits(record.longitude, fields.angle('E', 'W', 180));
    set(record.quality, fields.count<std::uint8_t>());
    set(record.satellites, fields.count<std::uint16_t>());
    fields.next(); // horizontal dilution of precision
    setBits(record.altitude, fields.measurement());
    return true;
}

/// A type of sentence, and how many fields the versions of the standard give it.
struct SentenceType {
    std::string_view name; ///< with the comma behind it
    std::size_t fewestFields;
    std::size_t mostFields;
};

/// Version 2.3 adds the mode to the fields of RMC, version 4.1 the navigational status.
constexpr SentenceType rmcType{"RMC,", 11, 13};
constexpr SentenceType ggaType{"GGA,", 14, 14};

bool hasAllFields(std::string_view fields, const SentenceType& type) {
    const auto count = 1 + static_cast<std::size_t>(std::count(fields.begin(), fields.end(), ','));
    return count >= type.fewestFields && count <= type.mostFields;
}

/// The fields of the sentence at the start of `text`, which is what follows a `$`, if it is of this type and
/// counts.
std::optional<std::string_view> fieldsOf(std::string_view text, const SentenceType& type) {
    constexpr std::size_t talkerLength = 2;
    const std::size_t length = std::min(text.find_first_of("$\r\n"), text.size());
    const auto content = verified(text.substr(0, length));
    if (!content || content->size() < talkerLength ||
        content->substr(talkerLength, type.name.size()) != type.name) {
        return std::nullopt;
    }
    const std::string_view fields = content->substr(talkerLength + type.name.size());
    const bool hasChecksum = content->size() < length;
    const bool isEnded = length < text.size() && text[length] != '$';
    return hasChecksum || (isEnded && hasAllFields(fields, type)) ? std::optional(fields) : std::nullopt;
}

/// Fills `record` from the first sentence of this type that counts.
template <class Record>
bool parseFirst(std::string_view text, const SentenceType& type, Record& record) {
    for (std::size_t dollar = text.find('$'); dollar != std::string_view::npos; dollar = text.find('$')) {
        text.remove_prefix(dollar + 1);
        const auto found = fieldsOf(text, type);
        if (!found) {
            continue;
        }
        FieldReader fields(*found);
        Record filled = record;
        if (parse(fields, filled)) {
            record = filled;
            return true;
        }
    }
    return false;
}

} // namespace

bool GPSTraceMessage::getGPRMC(numeric_gprmc_t& record) const {
    return parseFirst(sentences, rmcType, record);
}

bool GPSTraceMessage::getGPGGA(numeric_gpgga_t& record) const {
    return parseFirst(sentences, ggaType, record);
}
