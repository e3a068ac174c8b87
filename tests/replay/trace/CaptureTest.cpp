/// \file
/// Captures of every link type and form, written by hand from the layouts of
/// https://www.tcpdump.org/linktypes.html and the drafts of pcap and pcapng.
#include "support/EthernetFrame.h"
#include "support/FrameListing.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace rksignal {
namespace {

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

TEST(Capture, PacketsOfEveryLinkType) {
    // Told by its room for 64 bytes, as recorders write it that do not set the flag.
    const std::string oldFd = "0000012409000000000000000000000063" + std::string(110, '0');
    const struct {
        const char* name;
        LinkType link;
        std::string packets, expected; ///< a second apart, from the first on
    } rows[] = {
        {"SocketCAN", canLink,
         "00000123040000002A000000 80000123010000002B 0000012409040000000000000000000063 " + oldFd +
             " 4000012308000000 20000004080000000102030405060708 000001238000000001 "
             "00000123030000000102 000001 0000000700000000",
         "1000000000 can 0 123 - 2A000000\n2000000000 can 0 00000123 - 2B\n"
         "3000000000 can 0 124 fd 000000000000000063\n4000000000 can 0 124 fd 000000000000000063\n"
         "5000000000 - - - remote -\n6000000000 - - - error -\n7000000000 - - - xl -\n"
         "10000000000 can 0 007 - -\n"
         "t: malformed packets: 2, the first is packet 8: frame is longer than its packet\n"},
        {"Linux cooked", cookedLink,
         "0001011800000000000000000000000C23010000010000002C "
         "000101180000000000000000000008004500000000000000",
         "1000000000 can 0 123 - 2C\n2000000000 - - - other -\n"},
        {"Linux cooked, version 2", cooked2Link,
         "000D000000000001011800000000000000000000240100000904000000000000000000002D",
         "1000000000 can 0 124 fd 00000000000000002D\n"},
        {"LIN", linLink,
         "010000002185000001020000 01000000218500080102 010000002D8500000102 010000001007002009 "
         "0200000000000000",
         "1000000000 lin 0 05 - 0102\n2000000000 - - - error -\n3000000000 - - - other -\n"
         "4000000000 lin 0 07 - 09\n"
         "t: malformed packets: 1, the first is packet 5: LIN packet of an unknown revision\n"},
        {"FlexRay: null frames, symbols and errors carry nothing", flexRayLink,
         "010020050200C30708 81002258020002010900 81002258020002000A 0100000502000307080000 021E "
         "010820050200030708 010020050200020708 010020050400030708",
         "1000000000 flexray 0 5.3 - 0708\n2000000000 flexray 1 600.2 - 0109\n"
         "3000000000 flexray 1 600.2 - 000A\n4000000000 - - - other -\n5000000000 - - - other -\n"
         "6000000000 - - - error -\n7000000000 flexray 0 5.2 - 0708\n"
         "t: malformed packets: 1, the first is packet 8: frame is longer than its packet\n"},
        {"Ethernet", ethernetLink, "0200000000020200000000010800ABCD 000000",
         "1000000000 ethernet 0 - - 0200000000020200000000010800ABCD\n2000000000 ethernet 0 - - 000000\n"},
    };
    for (const auto& [name, link, list, expected] : rows) {
        CaptureFile file;
        file.head(link);
        for (std::uint64_t second = 1; const Octets& packet : packets(list)) {
            file.packet(packet, second++);
        }
        EXPECT_EQ(listFrames(file.bytes), expected) << name;
    }
}

/// The same, read from a pipe.
std::string listPiped(const std::string& content) {
    int ends[2];
    EXPECT_TRUE(pipe(ends) == 0 && write(ends[1], content.data(), content.size()) > 0);
    close(ends[1]);
    Trace trace;
    trace.addDescriptor(ends[0], "t");
    close(ends[0]);
    return listFrames(trace);
}

TEST(Capture, EveryFormIsReadFromFilesAndPipes) {
    const auto pcap = [](bool isBigEndian, bool isNano) {
        return CaptureFile{isBigEndian, isNano}
            .head(canLink)
            .packet(canFrame, 1700000000, isNano ? 5 : 5000)
            .bytes;
    };
    const auto pcapng = [](bool isBigEndian) {
        CaptureFile file{isBigEndian};
        return file.section().interface(canLink).enhanced(canFrame, 0, 1700000000'000000005).bytes;
    };
    const std::string micro = "1700000000005000000 can 0 123 - 2A000000\n";
    const std::string nano = "1700000000000000005 can 0 123 - 2A000000\n";
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"little, micro", pcap(false, false), micro}, {"big, micro", pcap(true, false), micro},
        {"little, nano", pcap(false, true), nano},    {"big, nano", pcap(true, true), nano},
        {"pcapng, little", pcapng(false), nano},      {"pcapng, big", pcapng(true), nano},
    };
    for (const auto& [name, bytes, expected] : rows) {
        EXPECT_EQ(listFrames(bytes), expected) << name;
        EXPECT_EQ(listPiped(bytes), expected) << name;
    }
}

TEST(Capture, NothingBeforeDamageIsLost) {
    CaptureFile whole;
    whole.head(canLink).packet(canFrame, 1).packet(canFrame, 2, 0, 4).packet(canFrame, 3);
    CaptureFile blocks;
    blocks.section().interface(canLink).enhanced(canFrame, 0, 1'000'000'000).enhanced(canFrame, 1, 2);
    const std::string first = "1000000000 can 0 123 - 2A000000\n";
    const std::string second = "2000000000 - - - truncated -\n";
    const std::pair<std::string, std::string> rows[] = {
        {whole.bytes, first + second + "3000000000 can 0 123 - 2A000000\n"},
        {whole.bytes.substr(0, whole.bytes.size() - 3),
         first + second + "t: not understood behind packet 2: the file is cut off in a packet at byte 80\n"},
        {blocks.bytes, first + "t: not understood behind packet 1: a packet of an interface that is not "
                               "described at byte 100\n"},
        {whole.bytes.substr(0, 9), "t: the head of the capture is cut off at byte 9\n"},
        {CaptureFile{}.head(105).bytes, "t: packets of link type 105 are not supported\n"},
    };
    for (const auto& [bytes, expected] : rows) {
        EXPECT_EQ(listFrames(bytes), expected);
    }
}

/// Interfaces of all kinds in two sections, the second one big endian; times in units of 1/1024 s.
TEST(Capture, EachInterfaceHasAChannel) {
    CaptureFile file;
    file.section()
        .interface(canLink, "can2", "nose")
        .interface(linLink)
        .interface(ethernetLink, "eth7")
        .interface(105)
        .enhanced(canFrame, 0, 1'000'000'000)
        .enhanced(packets("01000000218500000102").front(), 1, 2'000'000'000)
        .enhanced({1, 2}, 2, 3'000'000'000)
        .enhanced(canFrame, 3, 4'000'000'000)
        .block(3, {{12, 4}}, canFrame); // has no time
    CaptureFile second{.isBigEndian = true};
    second.section()
        .block(1, {{cookedLink, 2}, {0, 2}, {65535, 4}, {9, 2}, {1, 2}, {0x8A, 1}, {0, 3}})
        .enhanced(packets("0001011800000000000000000000000C00000123010000002C").front(), 0, 5 * 1024 + 512);
    const std::string bytes = file.bytes + second.bytes;
    const auto frames = [](const char* can, const char* lin, const char* ethernet, const char* cooked) {
        return std::string("1000000000 can ") + can + " 123 - 2A000000\n2000000000 lin " + lin +
               " 05 - 0102\n3000000000 ethernet " + ethernet +
               " - - 0102\n4000000000 - - - other -\n5500000000 can " + cooked + " 123 - 2C\n";
    };
    const struct {
        std::vector<std::pair<const char*, std::uint8_t>> channels;
        std::string expected, interfaces;
    } rows[] = {
        {{},
         frames("2", "0", "7", "0"),
         "0 can2 can 2 1 nose|1  lin 0 1 |2 eth7 eth 7 1 |3  link type 105 - 1 |0  can 0 1 |"},
        {{{"t:can2", 5}, {"t:0", 9}},
         frames("5", "0", "7", "9"),
         "0 can2 can 5 1 nose|1  lin 0 1 |2 eth7 eth 7 1 |3  link type 105 - 1 |0  can 9 1 |"},
        {{{"t", 0}},
         frames("0", "0", "0", "0"),
         "0 can2 can 0 1 nose|1  lin 0 1 |2 eth7 eth 0 1 |3  link type 105 - 1 |0  can 0 1 |"},
    };
    for (const auto& [channels, expected, interfaces] : rows) {
        Trace trace;
        for (const auto& [name, channel] : channels) {
            trace.channels().assign(name, channel);
        }
        trace.addMemory(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()), "t");
        EXPECT_EQ(
            listFrames(trace),
            expected +
                "t: packets of link type 105 are not supported: 1\n"
                "t: malformed packets: 1, the first is packet 5: no time stamp, or an impossible one\n");
        std::ostringstream found;
        for (const TraceInterface& each : trace.report(0).interfaces) {
            found << each.index << ' ' << each.name << ' ' << each.link << ' '
                  << (each.channel ? std::to_string(*each.channel) : "-") << ' ' << each.messages << ' '
                  << each.comment << '|';
        }
        EXPECT_EQ(found.str(), interfaces);
    }
}

} // namespace
} // namespace rksignal
