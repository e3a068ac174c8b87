// Files of records.

#include "rktrace/TraceRecord.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <istream>
#include <ostream>

namespace {

constexpr std::array<std::uint8_t, 8> fileMark = {'R', 'K', 'T', 'R', 'A', 'C', 'E', 1};
constexpr std::array<std::uint8_t, 4> recordMark = {'R', 'K', 'T', 'R'};
constexpr std::size_t headLength = 12;
constexpr std::size_t chunkLength = std::size_t{1} << 18;

/// The remainders of a byte with as many zero bytes behind it as the table's index says, by the reflected
/// polynomial 0xEDB88320. They take sixteen bytes at a time (slicing, after Kounavis and Berry, "A Systematic
/// Approach to Building High Performance Software-Based CRC Generators", 2005).
constexpr auto crcTables = [] {
    std::array<std::array<std::uint32_t, 256>, 16> tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? 0xEDB88320 : 0);
        }
        tables[0][byte] = remainder;
    }
    for (std::size_t slice = 1; slice < tables.size(); ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[slice - 1][byte];
            tables[slice][byte] = before >> 8 ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}();

template <class Word>
Word load(const std::uint8_t* bytes) {
    Word word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// Of the bytes of a little-endian word with `zeros` zero bytes behind it.
template <class Word>
std::uint32_t remainder(Word word, std::size_t zeros) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < sizeof word; ++i) {
        sum ^= crcTables[zeros + sizeof word - 1 - i][word >> (8 * i) & 0xFF];
    }
    return sum;
}

std::uint32_t crc32(std::span<const std::uint8_t> bytes) {
    std::uint32_t crc = ~std::uint32_t{0};
    const std::uint8_t* at = bytes.data();
    const std::uint8_t* const end = at + bytes.size();
    for (; end - at >= 16; at += 16) {
        crc = remainder(load<std::uint64_t>(at) ^ crc, 8) ^ remainder(load<std::uint64_t>(at + 8), 0);
    }
    for (; end - at >= 4; at += 4) {
        crc = remainder(load<std::uint32_t>(at) ^ crc, 0);
    }
    for (; at != end; ++at) {
        crc = crc >> 8 ^ crcTables[0][(crc ^ *at) & 0xFF];
    }
    return ~crc;
}

std::uint32_t bigEndian32(const std::uint8_t* bytes) {
    return __builtin_bswap32(load<std::uint32_t>(bytes));
}

void putBigEndian32(std::uint8_t* bytes, std::uint32_t word) {
    word = __builtin_bswap32(word);
    std::memcpy(bytes, &word, sizeof word);
}

void writeBytes(std::ostream& out, std::span<const std::uint8_t> bytes) {
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

} // namespace

TraceRecordWriter::TraceRecordWriter(std::ostream& stream) : out(stream) {
    writeBytes(out, fileMark);
}

void TraceRecordWriter::write(std::span<const std::uint8_t> record) {
    std::array<std::uint8_t, headLength> head{};
    std::copy(recordMark.begin(), recordMark.end(), head.begin());
    putBigEndian32(head.data() + 4, static_cast<std::uint32_t>(record.size()));
    putBigEndian32(head.data() + 8, crc32(record));
    writeBytes(out, head);
    writeBytes(out, record);
}

TraceRecordReader::TraceRecordReader(std::istream& stream) : in(stream), buffer(chunkLength) {
    valid = fill(fileMark.size()) && std::equal(fileMark.begin(), fileMark.end(), buffer.begin());
    if (valid) {
        skip(fileMark.size());
    }
}

std::span<const std::uint8_t> TraceRecordReader::available() const {
    return {buffer.data() + begin, end - begin};
}

/// Reads until `wanted` bytes are available, which moves those that are. \return whether they are
bool TraceRecordReader::refill(std::size_t wanted) {
    std::copy(buffer.begin() + static_cast<std::ptrdiff_t>(begin),
              buffer.begin() + static_cast<std::ptrdiff_t>(end), buffer.begin());
    end -= begin;
    begin = 0;
    if (buffer.size() < wanted) {
        buffer.resize(wanted);
    }
    while (end < wanted && in) {
        in.read(reinterpret_cast<char*>(buffer.data() + end),
                static_cast<std::streamsize>(buffer.size() - end));
        end += static_cast<std::size_t>(in.gcount());
    }
    return end >= wanted;
}

void TraceRecordReader::skip(std::size_t count) {
    begin += count;
    consumed += count;
}

/// Passes over bytes up to the next mark of a record, or to the end.
void TraceRecordReader::skipDamage() {
    if (damaged == 0) {
        damageBegin = consumed;
    }
    const auto bytes = available();
    const auto mark = std::search(bytes.begin() + 1, bytes.end(), recordMark.begin(), recordMark.end());
    auto count = static_cast<std::size_t>(mark - bytes.begin());
    if (mark == bytes.end()) { // it may have begun at the end of what has been read
        count = std::max<std::size_t>(1, bytes.size() - std::min(bytes.size(), recordMark.size() - 1));
    }
    damaged += count;
    skip(count);
}

/// Makes the record at the current position the current one, if a whole one stands there.
bool TraceRecordReader::takeRecord() {
    if (!fill(headLength) || std::memcmp(available().data(), recordMark.data(), recordMark.size()) != 0) {
        return false;
    }
    const std::uint32_t length = bigEndian32(available().data() + 4);
    const std::uint32_t crc = bigEndian32(available().data() + 8);
    if (length < recordHeaderLength || length > maxRecordLength || !fill(headLength + length)) {
        return false;
    }
    const auto bytes = available().subspan(headLength, length);
    if (crc32(bytes) != crc) {
        return false;
    }
    current = bytes;
    ++recordCount;
    skip(headLength + length);
    return true;
}

bool TraceRecordReader::next() {
    while (valid && fill(1)) {
        if (takeRecord()) {
            return true;
        }
        skipDamage();
    }
    return false;
}
