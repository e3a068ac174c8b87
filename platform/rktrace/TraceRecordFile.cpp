// Files of records.

#include "rktrace/Crc32.h"
#include "rktrace/TraceRecord.h"
#include "rkutil/ByteOrder.h"

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

TraceRecordReader::TraceRecordReader(std::istream& stream)
    : in(stream), buffer(chunkLength), sums(std::make_unique<RangeChecksums>()) {
    valid = fill(fileMark.size()) && std::equal(fileMark.begin(), fileMark.end(), buffer.begin());
    if (valid) {
        skip(fileMark.size());
    }
}

TraceRecordReader::~TraceRecordReader() = default;

std::span<const std::uint8_t> TraceRecordReader::available() const {
    return {buffer.data() + begin, end - begin};
}

/// Reads until `wanted` bytes are available, and no longer: the stream's buffer is asked by itself, as a
/// stream waits until a whole block is there. Those that are move to the front of the buffer if they are no
/// more than those that have been consumed since they last moved; otherwise the buffer grows. \return whether
/// they are
bool TraceRecordReader::refill(std::size_t wanted) {
    if (begin >= end - begin) {
        std::memmove(buffer.data(), buffer.data() + begin, end - begin);
        end -= begin;
        begin = 0;
    }
    std::streamsize count = in ? 1 : 0;
    while (end - begin < wanted && count > 0) {
        if (end == buffer.size()) {
            buffer.resize(2 * buffer.size());
        }
        count = in.rdbuf()->sgetn(reinterpret_cast<char*>(buffer.data() + end),
                                  static_cast<std::streamsize>(buffer.size() - end));
        end += static_cast<std::size_t>(count);
    }
    return end - begin >= wanted;
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

/// Whether the bytes of the record at the current position have this checksum. Where an earlier mark claimed
/// the same bytes in vain, what was summed for it serves again.
bool TraceRecordReader::isIntact(std::span<const std::uint8_t> bytes, std::uint32_t crc) {
    const std::uint64_t offset = consumed + headLength;
    if (!sums->covers(offset)) {
        if (crc32(bytes) == crc) {
            return true;
        }
        sums->restart(offset);
    }
    return sums->of(offset, bytes) == crc;
}

/// Makes the record at the current position the current one, if a whole one stands there.
bool TraceRecordReader::takeRecord() {
    if (!fill(headLength) || std::memcmp(available().data(), recordMark.data(), recordMark.size()) != 0) {
        return false;
    }
    const std::uint32_t length = bigEndian<4>(available().data() + 4);
    const std::uint32_t crc = bigEndian<4>(available().data() + 8);
    if (length < recordHeaderLength || length > maxRecordLength || !fill(headLength + length)) {
        return false;
    }
    const auto bytes = available().subspan(headLength, length);
    if (!isIntact(bytes, crc)) {
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
