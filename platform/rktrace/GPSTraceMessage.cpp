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

/// The fields of a sentence, read one after the other. An empty field, or one that a cut sentence lacks,
/// reads as nothing; so does a malformed one that is no measurement. A malformed measurement is not a number.
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

    std::optional<std::uint16_t> count() {
        const std::string_view field = next();
        std::uint16_t value = 0;
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
    set(record.quality, fields.count());
    set(record.satellites, fields.count());
    fields.next(); // horizontal dilution of precision
    setBits(record.altitude, fields.measurement());
    return true;
}

/// Fills `record` from the first sentence of this type that counts.
template <class Record>
bool parseFirst(std::string_view text, std::string_view type, Record& record) {
    constexpr std::size_t talkerLength = 2;
    for (std::size_t dollar = text.find('$'); dollar != std::string_view::npos; dollar = text.find('$')) {
        text.remove_prefix(dollar + 1);
        const auto content = verified(text.substr(0, text.find_first_of("$\r\n")));
        if (!content || content->size() < talkerLength ||
            content->substr(talkerLength, type.size()) != type) {
            continue;
        }
        FieldReader fields(content->substr(talkerLength + type.size()));
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
    return parseFirst(sentences, "RMC,", record);
}

bool GPSTraceMessage::getGPGGA(numeric_gpgga_t& record) const {
    return parseFirst(sentences, "GGA,", record);
}
