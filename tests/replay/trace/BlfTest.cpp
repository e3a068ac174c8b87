/// \file
/// BLF files, made by hand from the layouts of the open readers vector_blf and Wireshark (wiretap/blf.h).
#include "support/FrameListing.h"

#include <gtest/gtest.h>

#include <sstream>
#include <zlib.h>

namespace rksignal {
namespace {

template <class Number>
std::string number(Number value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

/// Bytes from hexadecimal digits; `n*` stands for n zeros.
std::string bytes(const std::string& text) {
    std::string result;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (word.ends_with('*')) {
            result += zeros(std::stoul(word));
            continue;
        }
        for (std::size_t i = 0; i < word.size(); i += 2) {
            result.push_back(static_cast<char>(std::stoi(word.substr(i, 2), nullptr, 16)));
        }
    }
    return result;
}

/// An object whose head has `headLength` bytes; 7 units after the begin.
std::string object(std::uint32_t type, const std::string& body, std::uint32_t unit = 2,
                   std::uint16_t headLength = 32) {
    return "LOBJ" + number(headLength) + number(std::uint16_t{1}) +
           number(static_cast<std::uint32_t>(headLength + body.size())) + number(type) + number(unit) +
           zeros(4) + number(std::uint64_t{7}) + zeros(headLength - 32U) + body;
}

/// As it is, or deflated.
std::string container(const std::string& content, bool isDeflated, std::uint16_t method) {
    uLongf size = compressBound(content.size());
    std::string data(size, '\0');
    compress(reinterpret_cast<Bytef*>(data.data()), &size, reinterpret_cast<const Bytef*>(content.data()),
             content.size());
    data = isDeflated ? data.substr(0, size) : content;
    const std::string whole = "LOBJ" + number(std::uint16_t{16}) + number(std::uint16_t{1}) +
                              number(static_cast<std::uint32_t>(32 + data.size())) + number(10U) +
                              number(method) + zeros(6) + number(static_cast<std::uint32_t>(content.size())) +
                              zeros(4) + data;
    return whole + zeros(whole.size() % 4);
}

std::string plain(const std::string& content) {
    return container(content, false, 0);
}

std::string deflated(const std::string& content) {
    return container(content, true, 2);
}

/// Begins at 2023-11-14 22:13:20.250 UTC, a Tuesday.
std::string file(const std::string& objects) {
    return "LOGG" + number(144U) + zeros(32) + bytes("E707 0B00 0200 0E00 1600 0D00 1400 FA00") + zeros(88) +
           objects;
}

TEST(Blf, ObjectsBecomeMessages) {
    const std::string fd64 = "03 09 0C 00 23010000 4* 00300000 19* 00 4* 0102030405060708090A";
    const struct {
        const char* name;
        std::string object, expected;
    } rows[] = {
        {"classic, length code 9", object(1, bytes("0100 01 09 23010000 0102030405060708")),
         "1700000000250000007 can 1 123 - 0102030405060708\n"},
        {"extended, head of version 2, 10 us", object(86, bytes("0200 00 01 F1FE1898 AA 7* 8*"), 1, 40),
         "1700000000250070000 can 2 1818FEF1 - AA\n"},
        {"remote", object(1, bytes("0100 80 08 23010000 8*")), "1700000000250000007 - - - remote -\n"},
        {"FD", object(100, bytes("0100 00 09 23010080 5* 01 0B 5* 0102030405060708090A0B 53*")),
         "1700000000250000007 can 1 00000123 fd 0102030405060708090A0B\n"},
        {"FD object of a classic frame", object(100, bytes("0100 00 02 23010000 5* 00 02 5* 0102")),
         "1700000000250000007 can 1 123 - 0102\n"},
        {"FD 64 without the zeros at its end", object(101, bytes(fd64)),
         "1700000000250000007 can 3 123 fd 0102030405060708090A0000\n"},
        {"too many bytes", object(100, bytes("0100 00 0F 23010000 5* 01 41 5* 65*")),
         "t: malformed objects: 1, the first: CAN frame with too many bytes, in the object at offset 144\n"},
        {"identifier of 12 bits", object(1, bytes("0100 00 00 00080000 8*")),
         "t: malformed objects: 1, the first: identifier of more than 11 or 29 bits, in the object at offset "
         "144\n"},
        {"error frames", object(2, bytes("8*")) + object(73, bytes("40*")) + object(60, bytes("130*")),
         "1700000000250000007 - - - error -\n1700000000250000007 - - - error -\n"
         "1700000000250000007 - - - error -\n"},
        {"LIN", object(11, bytes("0400 3C 02 0102 6* 8*")), "1700000000250000007 lin 4 3C - 0102\n"},
        {"LIN 2", object(57, bytes("12* 0500 23* 11 01 73* AA 7* 12*")),
         "1700000000250000007 lin 5 11 - AA\n"},
        {"FlexRay data", object(29, bytes("0100 05 02 0A00 6* 0102")),
         "1700000000250000007 flexray 1 10.5 - 0102\n"},
        {"FlexRay message, and a null frame",
         object(41, bytes("0100 18* 0A00 2* 0000 02 3F 4* 0102")) +
             object(41, bytes("0100 18* 0A00 2* 0800 00 3F 4*")),
         "1700000000250000007 flexray 1 10.63 - 0102\n1700000000250000007 - - - other -\n"},
        {"FlexRay received on B",
         object(50, bytes("0100 0100 0200 10* 0A00 4* 0200 0200 0300 16* 0102 258*")),
         "1700000000250000007 flexray 2 10.3 - 0102\n"},
        {"FlexRay received, longer object, not in full",
         object(66, bytes("0100 0100 0100 10* 0A00 4* 0200 0200 0300 16* 40* 0304")) +
             object(66, bytes("0100 0100 0100 10* 0A00 4* 0400 0200 0300 16* 40* 0304")),
         "1700000000250000007 flexray 1 10.3 - 0304\n1700000000250000007 - - - truncated -\n"},
        {"Ethernet with a tag",
         object(71, bytes("020000000001 0300 020000000002 0000 0008 0081 0510 0200 8* ABCD")),
         "1700000000250000007 ethernet 3 - - 020000000002020000000001810010050800ABCD\n"},
        {"Ethernet as it is", object(120, bytes("2000 0000 0400 16* 0300 8* 010203")),
         "1700000000250000007 ethernet 4 - - 010203\n"},
        {"other kinds", object(72, zeros(1)) + zeros(1) + object(999, ""),
         "1700000000250000007 - - - other -\n1700000000250000007 - - - other -\n"
         "t: objects of other kinds: SYS_VARIABLE (1), type 999 (1)\n"},
    };
    for (const auto& [name, object, expected] : rows) {
        EXPECT_EQ(listFrames(file(deflated(object))), expected) << name;
    }
}

TEST(Blf, ObjectsLieAnywhereAndDamageCostsOnlyWhatItHits) {
    const std::string one = object(1, bytes("0100 00 01 01000000 01 7*"));
    const std::string two = object(1, bytes("0100 00 01 02000000 02 7*"));
    const std::string first = "1700000000250000007 can 1 001 - 01\n";
    const std::string second = "1700000000250000007 can 1 002 - 02\n";
    std::string flipped = deflated(one + one);
    flipped[40] = static_cast<char>(~flipped[40]); // in the compressed bytes
    const struct {
        const char* name;
        std::string objects, expected;
    } rows[] = {
        {"outside of containers, with padding", one + zeros(3) + two, first + second},
        {"across containers of both kinds", plain(one.substr(0, 20)) + deflated(one.substr(20) + two),
         first + second},
        {"cut in a container", plain(one + two).substr(0, 100),
         first + "t: the file ends at offset 244, inside the object at offset 144\n"},
        {"an object that goes on in a container that is not there", plain(one + two.substr(0, 30)),
         first + "t: 30 bytes damaged from the object at offset 144 on\n"},
        {"bytes between objects", one + "12345" + two,
         first + second + "t: 5 bytes damaged from the object at offset 144 on\n"},
        {"an unknown compression, but an object is found", container(one, false, 7) + two,
         first + second + "t: 32 bytes damaged from the object at offset 144 on\n"},
        {"a length shorter than the head", "LOBJ" + zeros(12) + two,
         second + "t: 16 bytes damaged from the object at offset 144 on\n"},
    };
    for (const auto& [name, objects, expected] : rows) {
        EXPECT_EQ(listFrames(file(objects)), expected) << name;
    }
    const std::string behind = listFrames(file(flipped + deflated(two)));
    EXPECT_TRUE(behind.find(second) != behind.npos &&
                behind.find("damaged from the object at offset 144") != behind.npos)
        << behind;
    EXPECT_EQ(listFrames(file("").substr(0, 71)), "t: a BLF file whose head is cut off\n");
}

} // namespace
} // namespace rksignal
