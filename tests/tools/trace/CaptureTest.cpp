/// \file
/// Captures of every link type through the program.
#include "support/EthernetFrame.h"
#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace rksignal {
namespace {

constexpr const char* definitions = R"({
"can": [{"instance": "Short", "msgId": "0x123", "bits": 8}, {"instance": "Long", "msgId": "0x123", "extended": true, "bits": 8},
        {"instance": "Fd", "msgId": "0x124", "canFD": true, "startbit": 64, "bits": 8}],
"lin": [{"instance": "Lin", "msgId": 5, "bits": 16}],
"flexray": [{"instance": "Static", "bits": 8, "positions": [
               {"type": "static", "slot": 5, "baseCycle": 1, "repetition": 2},
               {"type": "static", "slot": 5, "baseCycle": 1, "repetition": 2, "startBit": 8}]},
            {"instance": "Dynamic", "channel": 1, "bits": 8, "positions": [
               {"type": "dynamic", "slot": 600, "startBit": 8, "updateBit": 0}]}],
"ethernet": [{"instance": "Service", "bits": 16, "endian": "big", "positions": [
               {"ethSignalType": "SOME/IP", "startBit": 7, "destinationPort": 2000, "serviceId": "0x1234", "methodEventId": "0x8001"},
               {"startBit": 7, "sourcePort": 7}]}]
})";

const std::string header = "time,channel,bus,instance,value,unit,raw,text\n";

enum LinkType {
    ethernetLink = 1,
    cookedLink = 113,
    flexRayLink = 210,
    linLink = 212,
    canLink = 227,
    cooked2Link = 276
};

/// Writes a capture file by hand.
struct CaptureFile {
    bool isBigEndian = false, isNano = false;
    std::string bytes = {};

    /// Numbers with the bytes that each takes.
    CaptureFile& add(std::initializer_list<std::pair<std::uint64_t, int>> numbers) {
        for (const auto& [number, count] : numbers) {
            for (int i = 0; i < count; ++i) {
                bytes += static_cast<char>(number >> 8 * (isBigEndian ? count - 1 - i : i));
            }
        }
        return *this;
    }
    CaptureFile& head(std::uint64_t link) {
        return add({{isNano ? 0xA1B23C4D : 0xA1B2C3D4, 4}, {2, 2}, {4, 2}, {0, 8}, {65535, 4}, {link, 4}});
    }
    /// `fraction` counts micro- or nanoseconds; `missing` bytes were not recorded.
    CaptureFile& packet(const Octets& data, std::uint64_t second, std::uint64_t fraction = 0,
                        std::size_t missing = 0) {
        add({{second, 4}, {fraction, 4}, {data.size(), 4}, {data.size() + missing, 4}});
        bytes.append(data.begin(), data.end());
        return *this;
    }
    /// A block of pcapng: its type, its content, padding, and its length on both sides.
    CaptureFile& block(std::uint64_t type, std::initializer_list<std::pair<std::uint64_t, int>> numbers,
                       const Octets& data = {}) {
        CaptureFile content{isBigEndian, isNano};
        content.add(numbers).bytes.append(data.begin(), data.end());
        content.bytes.resize((content.bytes.size() + 3) / 4 * 4);
        const std::size_t length = 12 + content.bytes.size();
        add({{type, 4}, {length, 4}}).bytes += content.bytes;
        return add({{length, 4}});
    }
    CaptureFile& section() { return block(0x0A0D0D0A, {{0x1A2B3C4D, 4}, {1, 2}, {0, 2}, {~0ULL, 8}}); }
    /// With the option for nanoseconds; a name of 4 characters, and a comment of 4.
    CaptureFile& interface(std::uint64_t link, const std::string& name = "",
                           const std::string& comment = "") {
        Octets options;
        for (const auto& [code, text] : {std::pair(2, name), std::pair(1, comment)}) {
            CaptureFile option{isBigEndian};
            option.add({{code, 2}, {text.size(), 2}}).bytes += text;
            options.insert(options.end(), option.bytes.begin(),
                           text.empty() ? option.bytes.begin() : option.bytes.end());
        }
        return block(1, {{link, 2}, {0, 2}, {65535, 4}, {9, 2}, {1, 2}, {9, 1}, {0, 3}}, options);
    }
    CaptureFile& enhanced(const Octets& data, std::uint64_t interface, std::uint64_t time) {
        return block(6, {{interface, 4}, {time >> 32, 4}, {time, 4}, {data.size(), 4}, {data.size(), 4}},
                     data);
    }
};

/// Packets, written as hexadecimal digits.
std::vector<Octets> packets(const std::string& text) {
    std::vector<Octets> list;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        list.emplace_back();
        for (std::size_t i = 0; i < word.size(); i += 2) {
            list.back().push_back(static_cast<std::uint8_t>(std::stoul(word.substr(i, 2), nullptr, 16)));
        }
    }
    return list;
}

const Octets canFrame = packets("00000123040000002A000000").front();

/// A frame whose padding makes room for the length as the library counts it, from the end of the header.
Octets someIp(std::uint32_t service, std::uint16_t value) {
    Octets message;
    append(message, service, 4);
    append(message, 10, 4);
    append(message, 0x0101'0200, 8);
    append(message, value, 2);
    return FrameText{}.with(message, 9);
}

struct Capture : testing::Test {
    Capture() { folder.write("all.json", definitions); }
    ProgramResult decode(const std::string& arguments) const {
        return folder.run("rksignal decode --signals all.json " + arguments);
    }
    TemporaryFolder folder;
};

TEST_F(Capture, PacketsOfEveryLinkTypeAreDecoded) {
    // Told by its room for 64 bytes, as recorders write it that do not set the flag.
    const std::string oldFd = "0000012409000000000000000000000063" + std::string(110, '0');
    const struct {
        const char* name;
        LinkType link;
        std::vector<Octets> list;
        std::string rows, summary;
    } cases[] = {
        {"SocketCAN", canLink,
         packets("00000123040000002A000000 80000123010000002B 0000012409040000000000000000000063 " + oldFd +
                 " 4000012308000000 20000004080000000102030405060708 000001238000000001 "
                 "00000123030000000102 000001 0000000700000000"),
         "1.000000,0,can,Short,42,,42,\n2.000000,0,can,Long,43,,43,\n3.000000,0,can,Fd,99,,99,\n"
         "4.000000,0,can,Fd,99,,99,\n",
         "8 frames read: 4 decoded, 1 unknown, 1 remote, 1 error, 1 CAN XL (not supported)\n"
         "unknown: channel 0 007 (1)\n"
         "t.pcap: malformed packets: 2, the first is packet 8: frame is longer than its packet\n"},
        {"Linux cooked", cookedLink,
         packets("0001011800000000000000000000000C23010000010000002C "
                 "000101180000000000000000000008004500000000000000"),
         "1.000000,0,can,Short,44,,44,\n",
         "2 frames read: 1 decoded, 0 unknown, 0 remote, 0 error, 1 of other kinds\n"},
        {"Linux cooked, version 2", cooked2Link,
         packets("000D000000000001011800000000000000000000240100000904000000000000000000002D"),
         "1.000000,0,can,Fd,45,,45,\n", "1 frame read: 1 decoded, 0 unknown, 0 remote, 0 error\n"},
        {"LIN", linLink,
         packets("010000002185000001020000 01000000218500080102 010000002D8500000102 010000001007002009 "
                 "0200000000000000"),
         "1.000000,0,lin,Lin,513,,513,\n",
         "4 messages read: 1 decoded, 1 unknown, 0 remote, 1 error, 1 of other kinds\n"
         "  lin: 1 decoded, 1 unknown\nthe recorder lost 1 frame\nunknown lin: channel 0 07 (1)\n"
         "t.pcap: malformed packets: 1, the first is packet 5: LIN packet of an unknown revision\n"},
        {"FlexRay: null frames, symbols and errors carry nothing; the update bit counts", flexRayLink,
         packets("010020050200C30708 81002258020002010900 81002258020002000A 0100000502000307080000 021E "
                 "010820050200030708 010020050200020708 010020050400030708"),
         "1.000000,0,flexray,Static,8,,8,\n2.000000,1,flexray,Dynamic,9,,9,\n",
         "7 messages read: 3 decoded, 1 unknown, 0 remote, 1 error, 2 of other kinds\n"
         "  flexray: 3 decoded, 1 unknown\nunknown flexray: channel 0 slot 5 (1)\n"
         "t.pcap: malformed packets: 1, the first is packet 8: frame is longer than its packet\n"},
        {"Ethernet",
         ethernetLink,
         {someIp(0x12348001, 515), FrameText{.sourcePort = 7}.with({1, 0}), someIp(0x12348002, 1), Octets(3)},
         "1.000000,0,ethernet,Service,515,,515,\n2.000000,0,ethernet,Service,256,,256,\n",
         "4 messages read: 2 decoded, 2 unknown, 0 remote, 0 error\n  ethernet: 2 decoded, 2 unknown\n"},
    };
    for (const auto& [name, link, list, rows, summary] : cases) {
        SCOPED_TRACE(name);
        CaptureFile file;
        file.head(link);
        for (std::size_t i = 0; i < list.size(); ++i) {
            file.packet(list[i], i + 1);
        }
        folder.write("t.pcap", file.bytes);
        const ProgramResult result = decode("t.pcap");
        EXPECT_EQ(result.output, header + rows);
        EXPECT_EQ(result.messages.substr(0, result.messages.find("never seen")), summary);
        EXPECT_EQ(result.status, summary.find("malformed") != std::string::npos ? 1 : 0);
        folder.run("rksignal convert -q t.pcap t.rktrace");
        EXPECT_EQ(decode("-q t.rktrace").output, result.output) << "as raw records";
    }
}

TEST_F(Capture, EveryFormIsReadFromFilesAndPipes) {
    const auto pcap = [](bool isBigEndian, bool isNano) {
        return CaptureFile{isBigEndian, isNano}
            .head(canLink)
            .packet(canFrame, 1700000000, isNano ? 5 : 5000)
            .bytes;
    };
    const auto pcapng = [](bool isBigEndian) {
        CaptureFile file{isBigEndian};
        return file.section()
            .interface(canLink)
            .interface(canLink)
            .enhanced(canFrame, 1, 1700000000'000000005)
            .bytes;
    };
    const std::string micro = "1700000000.005000,3,can,Short,42,,42,\n";
    const std::string nano = "1700000000.000000005,3,can,Short,42,,42,\n";
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"little, micro", pcap(false, false), micro}, {"big, micro", pcap(true, false), micro},
        {"little, nano", pcap(false, true), nano},    {"big, nano", pcap(true, true), nano},
        {"pcapng, little", pcapng(false), nano},      {"pcapng, big", pcapng(true), nano},
    };
    for (const auto& [name, bytes, row] : rows) {
        folder.write("drive.bin", bytes);
        EXPECT_EQ(decode("-q --channel drive.bin=3 drive.bin").output, header + row) << name;
        EXPECT_EQ(decode("-q --channel -=3 - < drive.bin").output, header + row) << name;
    }
}

TEST_F(Capture, NothingBeforeDamageIsLost) {
    CaptureFile whole;
    whole.head(canLink).packet(canFrame, 1).packet(canFrame, 2, 0, 4).packet(canFrame, 3);
    CaptureFile blocks;
    blocks.section().interface(canLink).enhanced(canFrame, 0, 1'000'000'000).enhanced(canFrame, 1, 2);
    const std::string first = "1.000000,0,can,Short,42,,42,\n";
    const struct {
        std::string bytes, rows, messages;
        int status;
    } cases[] = {
        {whole.bytes, first + "3.000000,0,can,Short,42,,42,\n",
         "3 frames read: 2 decoded, 0 unknown, 0 remote, 0 error, 1 not recorded in full\n", 0},
        {whole.bytes.substr(0, whole.bytes.size() - 3), first,
         "2 frames read: 1 decoded, 0 unknown, 0 remote, 0 error, 1 not recorded in full\nt.pcap: not "
         "understood behind packet 2: the file is cut off in a packet at byte 80\n",
         1},
        {blocks.bytes, first,
         "1 frame read: 1 decoded, 0 unknown, 0 remote, 0 error\nt.pcap: not understood behind packet 1: a "
         "packet of an interface that is not described at byte 100\n",
         1},
        {whole.bytes.substr(0, 9), "", "rksignal: t.pcap: the head of the capture is cut off at byte 9\n", 2},
        {CaptureFile{}.head(105).bytes, "", "rksignal: t.pcap: packets of link type 105 are not supported\n",
         2},
        {"(1.0) can0 123#00\n", header + "1.000000,0,can,Short,0,,0,\n",
         "1 frame read: 1 decoded, 0 unknown, 0 remote, 0 error\n", 0},
        {"nonsense", "", "rksignal: t.pcap is plain text, not a trace\n", 2},
    };
    for (const auto& [bytes, rows, messages, status] : cases) {
        folder.write("t.pcap", bytes);
        const ProgramResult result = decode("t.pcap");
        EXPECT_EQ(result.output, (rows.empty() || rows.starts_with(header) ? "" : header) + rows);
        EXPECT_EQ(result.messages.substr(0, result.messages.find("never seen")), messages);
        EXPECT_EQ(result.status, status);
    }
}

/// Interfaces of all kinds in two sections, the second one big endian; times in units of 1/1024 s.
TEST_F(Capture, EachInterfaceHasAChannel) {
    CaptureFile file;
    file.section()
        .interface(canLink, "can2", "nose")
        .interface(linLink)
        .interface(ethernetLink, "eth7")
        .interface(105)
        .enhanced(canFrame, 0, 1'000'000'000)
        .enhanced(packets("01000000218500000102").front(), 1, 2'000'000'000)
        .enhanced(someIp(0x12348001, 515), 2, 3'000'000'000)
        .enhanced(canFrame, 3, 4'000'000'000)
        .block(3, {{12, 4}}, canFrame); // has no time
    CaptureFile second{.isBigEndian = true};
    second.section()
        .block(1, {{cookedLink, 2}, {0, 2}, {65535, 4}, {9, 2}, {1, 2}, {0x8A, 1}, {0, 3}})
        .enhanced(packets("0001011800000000000000000000000C00000123010000002C").front(), 0, 5 * 1024 + 512);
    folder.write("t.bin", file.bytes + second.bytes);
    const auto rows = [](const char* can, const char* lin, const char* cooked) {
        return header + "1.000000," + can + ",can,Short,42,,42,\n2.000000," + lin +
               ",lin,Lin,513,,513,\n5.500000," + cooked + ",can,Short,44,,44,\n";
    };
    const ProgramResult result = decode("t.bin");
    EXPECT_EQ(result.output, rows("2", "0", "0"));
    EXPECT_EQ(
        result.messages.substr(0, result.messages.find("never seen")),
        "5 messages read: 3 decoded, 1 unknown, 0 remote, 0 error, 1 of other kinds\n"
        "  can: 2 decoded, 0 unknown\n  lin: 1 decoded, 0 unknown\n  ethernet: 0 decoded, 1 unknown\n"
        "t.bin: interface 0 can2 (can) is channel 2: 1 packet; nose\n"
        "t.bin: interface 1 (lin) is channel 0: 1 packet\n"
        "t.bin: interface 2 eth7 (eth) is channel 7: 1 packet\n"
        "t.bin: interface 3 (link type 105): 1 packet\nt.bin: interface 0 (can) is channel 0: 1 packet\n"
        "t.bin: packets of link type 105 are not supported: 1\n"
        "t.bin: malformed packets: 1, the first is packet 5: no time stamp, or an impossible one\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(decode("-q --channel t.bin:can2=5 --channel t.bin:0=9 t.bin").output, rows("5", "0", "9"));
    EXPECT_EQ(decode("-q --channel t.bin=0 t.bin").output,
              header + "1.000000,0,can,Short,42,,42,\n2.000000,0,lin,Lin,513,,513,\n"
                       "3.000000,0,ethernet,Service,515,,515,\n5.500000,0,can,Short,44,,44,\n");
}

} // namespace
} // namespace rksignal
