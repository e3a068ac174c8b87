/// \file
/// MF4 files, built block by block as ASAM MDF 4.1 lays them out, read as a client does.
#include "support/FrameListing.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>
#include <zlib.h>

namespace rksignal::mdf_test {
namespace {

template <class... Number>
std::string pack(Number... numbers) {
    std::string bytes;
    (bytes.append(reinterpret_cast<const char*>(&numbers), sizeof numbers), ...);
    return bytes;
}

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;

struct Channel {
    const char* name;
    U8 type, sync, dataType, bitOffset;
    U32 byteOffset, bits;
    U64 data = 0;       ///< link
    U64 conversion = 0; ///< link
};

/// A file that grows by blocks; links lead to those that are there already.
struct File {
    explicit File(U16 unfinished = 0)
        : bytes((unfinished != 0 ? "UnFinMF " : "MDF     ") + std::string("4.11    test    ") +
                pack(U32{0}, U16{411}) + std::string(30, '\0') + pack(unfinished, U16{0}) +
                std::string(104, '\0')) {}

    U64 block(const std::string& type, const std::vector<U64>& links, const std::string& data = {}) {
        bytes.resize((bytes.size() + 7) / 8 * 8);
        const U64 address = bytes.size();
        bytes += "##" + type + pack(U32{0}, U64{24 + 8 * links.size() + data.size()}, U64{links.size()});
        for (const U64 link : links) {
            bytes += pack(link);
        }
        bytes += data;
        return address;
    }
    U64 text(const std::string& text) { return block("TX", {}, text + '\0'); }
    /// Channels of one group; the members of an event are composed in the last one.
    U64 channels(const std::vector<Channel>& all, U64 composition = 0) {
        U64 next = 0;
        for (auto each = all.rbegin(); each != all.rend(); ++each) {
            next = block(
                "CN",
                {next, next == 0 ? composition : 0, text(each->name), 0, each->conversion, each->data, 0, 0},
                pack(each->type, each->sync, each->dataType, each->bitOffset, each->byteOffset, each->bits) +
                    std::string(60, '\0'));
        }
        return next;
    }
    U64 group(U64 next, U64 id, U16 flags, U32 size, U64 channels) {
        return block("CG", {next, channels, 0, 0, 0, 0},
                     pack(id, U64{0}, flags, U16{'.'}, U32{0}, size, U32{0}));
    }
    U64 linear(double offset, double factor) {
        return block("CC", {0, 0, 0, 0},
                     pack(U8{1}, U8{0}, U16{0}, U16{0}, U16{2}, 0.0, 0.0, offset, factor));
    }
    /// A group of CAN frames: time in 100 ns, channel, identifier with bit 31, length, then what `bytes`
    /// says.
    U64 canGroup(U64 next, U64 id, U32 size, const Channel& bytes) {
        const U64 members = channels({{"CAN_DataFrame.BusChannel", 0, 0, 0, 4, 8, 4},
                                      {"CAN_DataFrame.ID", 0, 0, 1, 0, 9, 32},
                                      {"CAN_DataFrame.DataLength", 0, 0, 0, 0, 13, 7},
                                      bytes});
        const U64 event = channels(
            {{"t", 2, 1, 0, 0, 0, 64, 0, linear(0, 1e-7)}, {"CAN_DataFrame", 0, 0, 10, 0, 8, 8 * (size - 8)}},
            members);
        return group(next, id, 2, size, event);
    }
    void dataGroup(U64 first, U64 data, U8 idBytes) {
        dataGroups = block("DG", {dataGroups, first, data, 0}, pack(U8{idBytes}) + std::string(7, '\0'));
    }
    /// Completes the file. \param flags 1: `start` is a local time; 2: the zone, in minutes, is known
    std::string done(U64 start, U8 flags = 2, std::int16_t zone = 0) {
        const std::string head = "##HD" + pack(U32{0}, U64{104}, U64{6}, dataGroups) + std::string(40, '\0') +
                                 pack(start, zone, std::int16_t{0}, flags);
        bytes.replace(64, head.size(), head);
        return bytes;
    }

    std::string bytes;
    U64 dataGroups = 0; ///< the first
};

std::string canHead(U64 time, U8 channel, U32 id, U8 length) {
    return pack(time, static_cast<U8>(channel << 4), __builtin_bswap32(id), length);
}
/// A record of a group with 8 data bytes, all `byte`.
std::string canRecord(U64 time, U32 id, char byte) {
    return canHead(time, 1, id, 8) + std::string(8, byte);
}

/// `text` with the offset of a block in place of `@`.
std::string at(U64 offset, std::string text) {
    const std::size_t mark = text.find('@');
    return mark != text.npos ? text.replace(mark, 1, std::to_string(offset)) : text;
}

const Channel fixedBytes = {"CAN_DataFrame.DataBytes", 0, 0, 10, 0, 14, 64};

constexpr U64 noon = 1'709'208'000'000'000'000; // 2024-02-29 12:00 UTC

TEST(Mdf, UnsortedRecordsWaitForTheirDataBytes) {
    File file;
    const U64 values = file.group(0, 0x102, 1, 0, 0);
    const U64 lin = file.group(
        values, 7, 2, 21,
        file.channels({{"t", 2, 1, 4, 0, 0, 64},
                       {"LIN_Frame.BusChannel", 6, 0, 0, 0, 0, 0, 0, file.linear(5, 0)}, // constant
                       {"LIN_Frame.ID", 0, 0, 0, 0, 8, 6},
                       {"LIN_Frame.DataBytes", 5, 0, 10, 0, 13, 64},
                       {"LIN_Frame.DataLength", 0, 0, 0, 4, 12, 4}}));
    const U64 error = file.group(
        lin, 9, 2, 4,
        file.channels({{"t", 2, 1, 4, 0, 0, 32}, {"CAN_ErrorFrame.BusChannel", 0, 0, 0, 0, 0, 8}}));
    const U64 measured = file.group(error, 300, 0, 3, file.channels({{"Speed", 0, 0, 0, 0, 0, 24}}));
    const U64 can =
        file.canGroup(measured, 0x101, 22, {"CAN_DataFrame.DataBytes", 1, 0, 10, 0, 14, 64, values});
    const auto value = [](const std::string& bytes) {
        return pack(U16{0x102}, static_cast<U32>(bytes.size())) + bytes;
    };
    const std::string records =
        pack(U16{0x101}) + canHead(10, 3, 0x123, 2) + pack(U64{0}) +       // its value is the next but two
        pack(U16{9}, 2.5F) +                                               //
        pack(U16{300}) + "abc" +                                           //
        value("\x11\x22") +                                                //
        pack(U16{0x101}) + canHead(20, 3, 0x92345678, 12) + pack(U64{6}) + //
        pack(U16{7}, 0.25) + std::string("\x3C\0\0\0\x20\xAA\xBB", 7) + std::string(6, '\0') +
        value(std::string(12, '\x5A')) +                           //
        pack(U16{0x101}) + canHead(30, 3, 1, 0) + pack(U64{999}) + // no bytes, no value
        pack(U16{0x101}) + canHead(40, 3, 2, 1) + pack(U64{0}) + pack(U16{0x101}) + canHead(50, 3, 2, 1) +
        pack(U64{22}) + pack(U16{0x103}) + "?";
    file.dataGroup(can, file.block("DT", {}, records), 2);
    EXPECT_EQ(
        listFrames(file.done(noon)),
        "1709208000000001000 can 3 123 - 1122\n1709208002500000000 - - - error -\n"
        "1709208000000002000 can 3 12345678 fd 5A5A5A5A5A5A5A5A5A5A5A5A\n"
        "1709208000250000000 lin 5 3C - AABB\n1709208000000003000 can 3 001 - -\n"
        "1709208000000004000 can 3 002 - 11\n"
        "t: measured channels are not read: channel groups with them: 1\n"
        "t: not understood further: the record 180 bytes behind the start of its data has the number 259, "
        "which no channel group has\n"
        "t: malformed records: 1, the first is record 5 of CAN_DataFrame: its data bytes are missing\n");
}

/// One sequence of records, stored in all ways.
TEST(Mdf, DataBlocksOfAllKindsHoldTheSame) {
    const std::string records =
        canRecord(10, 0x123, 'a') + canRecord(20, 0x123, 'b') + canRecord(30, 0x123, 'c');
    constexpr std::size_t rowLength = 22;
    const std::string tail = records.substr(0, 7); // of the next record
    std::string columns;
    for (std::size_t column = 0; column < rowLength; ++column) {
        for (std::size_t row = 0; row < 3; ++row) {
            columns += records[row * rowLength + column];
        }
    }
    const auto deflated = [](File& file, const std::string& bytes, U8 kind) {
        std::string packed(compressBound(bytes.size()), '\0');
        uLongf size = packed.size();
        compress(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
                 bytes.size());
        packed.resize(size);
        return file.block("DZ", {},
                          "DT" + pack(kind, U8{0}, U32{rowLength}, U64{bytes.size()}, U64{size}) + packed);
    };
    const auto dl = [](File& file, U64 next, std::vector<U64> blocks) {
        const auto count = static_cast<U32>(blocks.size());
        blocks.insert(blocks.begin(), next);
        return file.block("DL", blocks, pack(U32{0}, count) + std::string(std::size_t{8} * count, '\0'));
    };
    const std::string all = "1709208000000001000 can 1 123 - 6161616161616161\n"
                            "1709208000000002000 can 1 123 - 6262626262626262\n"
                            "1709208000000003000 can 1 123 - 6363636363636363\n";
    const std::string cut =
        "t: not understood further: the record 66 bytes behind the start of its data is cut off\n";
    const struct {
        const char* name;
        U16 unfinished;
        std::function<U64(File&)> data;
        std::string expected;
    } rows[] = {
        {"plain", 0, [&](File& file) { return file.block("DT", {}, records); }, all},
        {"deflated", 0, [&](File& file) { return deflated(file, records, 0); }, all},
        {"transposed, with a rest that fills no row", 0,
         [&](File& file) { return deflated(file, columns + tail, 1); }, all + cut},
        {"two lists, blocks that end within a record", 0,
         [&](File& file) {
             const U64 last = dl(file, 0, {file.block("DT", {}, records.substr(50))});
             const U64 first = file.block("DT", {}, records.substr(0, 5));
             return file.block("HL", {dl(file, last, {first, 0, deflated(file, records.substr(5, 45), 0)})},
                               pack(U64{0}));
         },
         all},
        {"an unfinished list, whose blocks lie behind it", 0x10,
         [&](File& file) {
             const U64 list = dl(file, 0, {0, 0, 0});
             file.block("DT", {}, records.substr(0, 40)); // 64 bytes: the next follows at once
             file.block("DT", {}, records.substr(40));
             return list;
         },
         all},
        {"a list that leads to itself", 0,
         [&](File& file) {
             const U64 list = (file.bytes.size() + 7) / 8 * 8;
             return dl(file, list, {0});
         },
         "t: not understood further: the data blocks overlap at offset @\n"},
        {"another compression", 0, [&](File& file) { return deflated(file, records, 2); },
         "t: not understood further: compressed block at offset @: compression of kind 2 is not "
         "supported\n"},
    };
    for (const auto& [name, unfinished, data, expected] : rows) {
        File file(unfinished);
        const U64 can = file.canGroup(0, 0, rowLength, fixedBytes);
        const U64 address = data(file);
        file.dataGroup(can, address, 0);
        EXPECT_EQ(listFrames(file.done(noon)), at(address, expected)) << name;
    }
}

TEST(Mdf, UnfinishedDataGoOnToTheEndOfTheFile) {
    File file(0x45); // cycle counts, length of the last data block, offsets of values
    const U64 values = file.group(0, 2, 1, 0, 0);
    const U64 can = file.canGroup(values, 1, 22, {"CAN_DataFrame.DataBytes", 1, 0, 10, 0, 14, 64, values});
    file.dataGroup(can, (file.bytes.size() + 7) / 8 * 8 + 64, 1); // that of the data group
    file.block("DT", {});
    std::string bytes = file.done(noon);
    for (const char byte : {'a', 'b'}) {
        bytes += pack(U8{1}) + canHead(10, 3, 0x123, 1) + pack(U64{0}) + pack(U8{2}, U32{1}) + byte;
    }
    const std::string both = "1709208000000001000 can 3 123 - 61\n1709208000000001000 can 3 123 - 62\n";
    EXPECT_EQ(listFrames(bytes), both);
    EXPECT_EQ(listFrames(bytes + "\x01\x02"),
              both +
                  "t: not understood further: the record 58 bytes behind the start of its data is cut off\n");
}

TEST(Mdf, DataGroupsAreMergedByTime) {
    File file;
    for (const U64 time : {U64{20}, U64{10}}) {
        const U64 can = file.canGroup(0, 0, 22, fixedBytes);
        file.dataGroup(can, file.block("DT", {}, canRecord(time, 1, 'a') + canRecord(time + 15, 0x800, 'b')),
                       0);
    }
    const U64 ethernet =
        file.group(0, 0, 2, 24,
                   file.channels({{"t", 3, 1, 4, 0, 0, 64, 0,
                                   file.linear(0, 1e-6)}, // the number of the record, in microseconds
                                  {"ETH_Frame.Source", 0, 0, 10, 0, 0, 48},
                                  {"ETH_Frame.Destination", 0, 0, 10, 0, 6, 48},
                                  {"ETH_Frame.EtherType", 0, 0, 0, 0, 12, 16},
                                  {"ETH_Frame.DataLength", 0, 0, 0, 0, 14, 16},
                                  {"ETH_Frame.DataBytes", 1, 0, 10, 0, 16, 64,
                                   file.block("SD", {}, pack(U32{2}) + "hi" + pack(U32{1}) + "!")}}));
    const std::string addresses = "source"
                                  "target" +
                                  pack(U16{0x0800});
    file.dataGroup(ethernet,
                   file.block("DT", {}, addresses + pack(U16{2}, U64{0}) + addresses + pack(U16{2}, U64{6})),
                   0);
    // 13:30 in a zone of one and a half hours
    EXPECT_EQ(listFrames(file.done(noon + 5'400'000'000'000, 3, 90)),
              "1709208000000000000 ethernet 0 - - 746172676574736F7572636508006869\n"
              "1709208000000001000 - - - truncated -\n1709208000000001000 can 1 001 - 6161616161616161\n"
              "1709208000000002000 can 1 001 - 6161616161616161\n"
              "t: malformed records: 2, the first is record 2 of CAN_DataFrame: standard identifier is above "
              "7FF\n");
}

TEST(Mdf, FilesWithoutReadableFramesAreRefusedByName) {
    const auto file = [](const std::vector<Channel>& channels, U16 flags) {
        File file;
        file.dataGroup(file.group(0, 0, flags, 8, file.channels(channels)), 0, 0);
        return file.done(noon);
    };
    const Channel time = {"t", 2, 1, 4, 0, 0, 64};
    std::string circle = file({time}, 0);
    const std::size_t channel = circle.rfind("##CN");
    circle.replace(channel + 24, 8, pack(U64{channel}));
    const std::pair<std::string, std::string> rows[] = {
        {"MDF     3.30    test    ", "t: an MDF file of version 3.30; files of version 4 are read\n"},
        {"MDF     4.10    ", "t: the HD block at offset 64 lies behind the end of the file, at 16\n"},
        {File().done(noon), "t: an MF4 file without data\n"},
        {file({time, {"Speed", 0, 0, 4, 0, 0, 64}}, 0),
         "t: an MF4 file with measured channels, no bus frames\n"},
        {file({time, {"CAN_DataFrame.DLC", 0, 0, 0, 0, 0, 4}}, 2),
         "t: the group of CAN_DataFrame at offset @ has no member ID\n"},
        {file({time, {"CAN_DataFrame.ID", 0, 0, 0, 0, 6, 32}}, 2),
         "t: the group of CAN_DataFrame at offset @ has a member ID of a form that is not supported\n"},
        {circle, "t: the links of the CN block at offset " + std::to_string(channel) + " form a circle\n"},
    };
    for (const auto& [content, expected] : rows) {
        EXPECT_EQ(listFrames(content), at(content.find("##CG"), expected));
    }
}

} // namespace
} // namespace rksignal::mdf_test
