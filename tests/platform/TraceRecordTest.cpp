// Records and record files: what goes in comes out, wherever it is cut or damaged.

#include "rktrace/TraceRecord.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <concepts>
#include <optional>
#include <random>
#include <sstream>

namespace {

using Record = std::vector<std::uint8_t>;

class Random {
  public:
    std::uint64_t word() { return generator() << (generator() % 64); }
    template <std::integral Number>
    operator Number() { // whatever is asked for
        return static_cast<Number>(word());
    }
    std::size_t below(std::size_t count) { return generator() % count; }
    template <class Octets = Record>
    Octets bytes(std::size_t most) {
        Octets result(below(most + 1), 0);
        for (auto& byte : result)
            byte = *this;
        return result;
    }

  private:
    std::mt19937_64 generator{1};
};

template <class Message>
Record encoded(const Message& message) {
    Record record{1, 2, 3};
    encodeRecord(message, record);
    return record;
}

template <class Message>
concept EndsInText = std::derived_from<Message, SystemMessage> || std::same_as<Message, GPSTraceMessage>;

/// Encodes, decodes and encodes again, which must come to the same; the text forms too. Cut records are
/// refused.
template <class Message>
Record roundTrip(const Message& message) {
    Record record = encoded(message);
    Message decoded;
    EXPECT_TRUE(decodeRecord(record, decoded));
    std::ostringstream before, after;
    before << message;
    after << decoded;
    EXPECT_EQ(after.str(), before.str());
    EXPECT_EQ(encoded(decoded), record);
    EXPECT_EQ(recordTimestamp(record), message.timestamp);
    const std::size_t least = EndsInText<Message> || record.size() > 65'535 ? 14 : record.size();
    EXPECT_FALSE(decodeRecord(std::span(record).first(least - 1), decoded));
    return record;
}

/// One random message of every class, as records.
std::vector<Record> randomRecords(Random& random) {
    CANExtTraceMessage can{random, random, std::uint32_t{random} % 6, random, random, {}};
    for (std::size_t i = 0; i < std::min<std::size_t>(can.length, 64); ++i)
        can.payload[i] = random;
    GpioTraceMessage gpio{random, std::vector<gpioElement_t>(random.below(4))};
    for (gpioElement_t& element : gpio.elements)
        element = {random, random, random};
    AnalogTraceMessage analog{random, std::vector<analogElement_t>(random.below(4))};
    for (analogElement_t& element : analog.elements)
        element = {random, random, random};
    return {roundTrip(can),
            roundTrip(LINTraceMessage{random, random.bytes(300), random, random}),
            roundTrip(FlexRayExtTraceMessage{random, random, random, random.bytes(300), random, random,
                                             random.bytes(300)}),
            roundTrip(gpio),
            roundTrip(analog),
            roundTrip(KeyboardMessage{random, random, random}),
            roundTrip(SystemMessage(random, random, random.bytes<std::string>(20))),
            roundTrip(SystemUsageMessage(random, random, random, random)),
            roundTrip(GPSTraceMessage{random, random.bytes<std::string>(200)}),
            roundTrip(EthernetTraceMessage{random, random.bytes(100), random, random}),
            roundTrip(MIITraceMessage{random, random.bytes(100), random})};
}

TEST(TraceRecord, RandomMessagesComeBack) {
    Random random;
    for (int round = 0; round < 500; ++round)
        for (const Record& record : randomRecords(random)) {
            LINTraceMessage lin;
            EXPECT_EQ(decodeRecord(record, lin), recordType(record) == RecordType::Lin);
        }
}

TEST(TraceRecord, BytesLieWhereQueriesReadThem) {
    const Record can = encoded(CANExtTraceMessage{
        0x0102030405060708, 9, CANExtTraceMessage::FdExtended, 2, 0x1ABCDEF0, {0x11, 0x22}});
    EXPECT_EQ(can, (Record{0, 1, 0, 9,    1,    2,    3,    4, 5, 6, 7, 8, 0,    0,   9,
                           0, 0, 0, 0xDA, 0xBC, 0xDE, 0xF0, 0, 0, 0, 3, 2, 0x11, 0x22}));
    const Record lin = encoded(LINTraceMessage{0, {7}, 3, 0xC5});
    EXPECT_EQ(lin[14], 3);
    EXPECT_EQ(lin[26], 0xC5);
    EXPECT_EQ(encoded(FlexRayExtTraceMessage{7, 16, 1, {0xAA}, 0x7FE, 63, {0xBB, 0xCC}}),
              (Record{0, 1, 0,    11, 0, 0, 0,  0, 0, 0, 0, 7, 0, 0, 16, 1,    0,    0,
                      0, 7, 0xFE, 0,  0, 0, 63, 0, 0, 0, 1, 0, 0, 0, 2,  0xAA, 0xBB, 0xCC}));
    const Record gpio = encoded(GpioTraceMessage{0, {{0x1234, 1, 1}}});
    EXPECT_EQ(Record(gpio.begin() + 2, gpio.begin() + 4), (Record{0, 19}));
    EXPECT_EQ(Record(gpio.begin() + 14, gpio.begin() + 17), (Record{0x12, 0x34, 1}));
    EXPECT_EQ(encoded(AnalogTraceMessage())[3], 18);
    EXPECT_EQ(encoded(AnalogTraceMessage())[16], 1) << "also without elements: they count as input 0";
    const Record ethernet = encoded(EthernetTraceMessage{0, {0x11, 0x22}, 7, 8});
    EXPECT_EQ(Record(ethernet.begin() + 2, ethernet.end()),
              (Record{0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 8, 7, 0, 0, 0, 0, 2, 0x11, 0x22, 0, 0, 0, 8}));
    EXPECT_EQ(encoded(EthernetTraceMessage{0, {}, 7, 0x108})[15], 0) << "not kind 8";
    const Record mii = encoded(MIITraceMessage{0, {0x11, 0x22}, 7});
    EXPECT_EQ(Record(mii.begin() + 2, mii.end()),
              (Record{0, 14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0x11, 0x22}));
    EXPECT_EQ(encoded(KeyboardMessage())[2] << 8 | encoded(KeyboardMessage())[3], 32817);
}

TEST(TraceRecord, LongFramesComeBack) {
    for (const std::size_t length : {65534U, 65535U, 65536U, 200'000U}) {
        const Record ethernet = roundTrip(EthernetTraceMessage{1, Record(length, 7), 2, -8});
        EXPECT_EQ(ethernet[20] << 8 | ethernet[21], std::min<std::size_t>(length, 65535));
        roundTrip(MIITraceMessage{1, Record(length, 7), 2});
    }
}

std::string fileOf(const std::vector<Record>& records) {
    std::ostringstream file;
    TraceRecordWriter writer(file);
    for (const Record& record : records)
        writer.write(record);
    return file.str();
}

struct Read {
    std::vector<Record> records;
    std::uint64_t damaged;
    std::uint64_t firstDamage;
};

std::optional<Read> read(const std::string& content) {
    std::istringstream file(content);
    TraceRecordReader reader(file);
    if (!reader.isRecordFile()) {
        EXPECT_FALSE(reader.next());
        return std::nullopt;
    }
    Read result{};
    while (reader.next())
        result.records.emplace_back(reader.record().begin(), reader.record().end());
    EXPECT_EQ(reader.records(), result.records.size());
    EXPECT_EQ(reader.position(), content.size());
    result.damaged = reader.damagedBytes();
    result.firstDamage = reader.firstDamage();
    return result;
}

TEST(TraceRecordFile, CutAnywhereKeepsTheWholeRecords) {
    Random random;
    const std::vector<Record> records = randomRecords(random);
    const std::string content = fileOf(records);
    for (std::size_t length = 0; length < content.size(); ++length) {
        const auto result = read(content.substr(0, length));
        ASSERT_EQ(result.has_value(), length >= 8);
        if (result) {
            std::size_t end = 8;
            std::size_t whole = 0;
            while (whole < records.size() && end + 12 + records[whole].size() <= length)
                end += 12 + records[whole++].size();
            EXPECT_EQ(result->records,
                      std::vector(records.begin(), records.begin() + static_cast<long>(whole)));
            EXPECT_EQ(result->damaged, length - end);
        }
    }
}

TEST(TraceRecordFile, DamageCostsTheRecordsItHits) {
    Random random;
    std::vector<Record> records;
    for (int i = 0; i < 40; ++i) {
        const auto more = randomRecords(random);
        records.insert(records.end(), more.begin(), more.end());
    }
    records.emplace_back(300'000, 'R'); // longer than the reader's buffer
    records.push_back(encoded(KeyboardMessage()));
    const std::string content = fileOf(records);
    EXPECT_EQ(read(content)->records, records);
    for (int round = 0; round < 100; ++round) {
        std::string damaged = content;
        const std::size_t place = 8 + random.below(content.size() - 8);
        damaged[place] = static_cast<char>(damaged[place] ^ static_cast<char>(1 + random.below(255)));
        const auto result = read(damaged);
        EXPECT_EQ(result->records.size(), records.size() - 1);
        EXPECT_LE(result->firstDamage, place);
        EXPECT_GT(result->firstDamage + result->damaged, place);
        damaged.insert(place, "RKTRRKTRACE");
        EXPECT_GE(read(damaged)->records.size(), records.size() - 2);
    }
    EXPECT_FALSE(read("RKTRACE\x02" + content.substr(8)).has_value());
}

std::string falseHead(std::uint32_t length) {
    std::string head = "RKTR";
    for (int shift = 24; shift >= 0; shift -= 8)
        head += static_cast<char>(length >> shift);
    return head + "\x01\x02\x03\x04";
}

// A reader that sums the bytes of every head anew takes minutes or hours for these.
TEST(TraceRecordFile, FilesFullOfHeadsTakeNoLongerThanOthers) {
    const Record record = encoded(KeyboardMessage());
    const std::string whole = fileOf({record}).substr(8);
    const struct {
        std::string repeated;
        std::size_t megabytes, records; ///< in what is repeated
    } rows[] = {
        {std::string("RKTR\0", 5), 4, 0},                      // 5 MB each, which overlap
        {falseHead(TraceRecordReader::maxRecordLength), 4, 0}, // past the end
        {falseHead(1'000'000) + whole, 4, 1},
        {falseHead(20) + whole + falseHead(0), 1, 1}, // that end within a record, or at once
        {falseHead(TraceRecordReader::maxRecordLength) + std::string(88, 0), 40,
         0}, // more than a buffer holds
    };
    for (const auto& row : rows) {
        std::string content = fileOf({});
        std::size_t count = 0;
        for (; content.size() < row.megabytes << 20; ++count)
            content += row.repeated;
        const auto result = read(content + whole);
        EXPECT_EQ(result->records, std::vector(count * row.records + 1, record));
        EXPECT_EQ(result->damaged, count * (row.repeated.size() - row.records * whole.size()));
    }
}

/// By the definition: the remainder of a division, bit by bit.
std::uint32_t dividedCrc(const Record& record) {
    std::uint32_t rest = ~std::uint32_t{0};
    for (const std::uint8_t byte : record) {
        rest ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            rest = rest >> 1 ^ ((rest & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    return ~rest;
}

TEST(TraceRecordFile, TheChecksumIsTheUsualOne) {
    std::mt19937 random(1);
    Record record;
    while (record.size() < 200) {
        record.push_back(static_cast<std::uint8_t>(random()));
        const std::uint32_t crc = dividedCrc(record);
        const auto byte = [crc](int shift) { return static_cast<char>(crc >> shift); };
        EXPECT_EQ(fileOf({record}).substr(16, 4), std::string({byte(24), byte(16), byte(8), byte(0)}));
    }
    const std::string text = "The quick brown fox jumps over the lazy dog"; // CRC-32 0x414FA339
    EXPECT_EQ(fileOf({Record(text.begin(), text.end())}),
              std::string("RKTRACE\x01RKTR\x00\x00\x00\x2B\x41\x4F\xA3\x39", 20) + text);
}

} // namespace
