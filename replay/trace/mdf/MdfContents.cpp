#include "trace/mdf/MdfContents.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace rksignal {
namespace {

constexpr std::size_t maxDamage = 10;
constexpr std::size_t maxGroups = 65536; // of a data group

std::string_view trimmed(std::string_view text) {
    text = text.substr(0, text.find('\0'));
    return text.substr(0, text.find_last_not_of(' ') + 1); // npos + 1 is 0
}

/// Reads the ID block, which is none of the blocks with links.
MdfUnfinished readIdentification(MdfFile& file) {
    std::array<char, 64> id{};
    file.peek(0, id.data(), id.size());
    const std::string_view bytes(id.data(), id.size());
    const std::string_view version = trimmed(bytes.substr(8, 8));
    if (!version.starts_with('4')) {
        throw MdfDamage{"an MDF file of version " + std::string(version) + "; files of version 4 are read"};
    }
    const bool isUnfinished = bytes.starts_with("UnFinMF");
    const auto flags = isUnfinished ? static_cast<unsigned char>(id[60]) : 0U;
    return {.dataLength = (flags & 0x04) != 0,
            .lists = (flags & 0x10) != 0,
            .valueOffsets = (flags & 0x40) != 0,
            .dataAddresses = {}};
}

/// The start of the measurement. A local time whose zone is not told is taken for UTC.
std::uint64_t readStart(const MdfBlock& head) {
    constexpr std::int64_t nanosecondsPerMinute = 60'000'000'000;
    constexpr std::uint8_t localFlag = 1;
    constexpr std::uint8_t zoneFlag = 2;
    const auto time = head.data<std::uint64_t>(0);
    const auto flags = head.data<std::uint8_t>(12);
    if ((flags & localFlag) == 0 || (flags & zoneFlag) == 0) {
        return time;
    }
    const auto east = (head.data<std::int16_t>(8) + head.data<std::int16_t>(10)) * nanosecondsPerMinute;
    return time - static_cast<std::uint64_t>(east);
}

class ContentsReader {
  public:
    explicit ContentsReader(MdfFile& file) : file(file) {}

    MdfContents read();

  private:
    void readDataGroup(const MdfBlock& block);
    bool readGroups(std::uint64_t address, MdfDataGroup& data);
    MdfGroup readGroup(const MdfBlock& block);
    void damaged(const std::string& text);

    MdfFile& file;
    MdfContents contents;
};

void ContentsReader::damaged(const std::string& text) {
    if (contents.damage.size() < maxDamage) {
        contents.damage.push_back(text);
    }
}

MdfContents ContentsReader::read() {
    contents.unfinished = readIdentification(file);
    constexpr std::uint64_t headAt = 64;
    const MdfBlock head = file.block(headAt, "HD");
    contents.start = readStart(head);
    try {
        for (std::uint64_t address = head.link(0); address != 0;) {
            const MdfBlock block = file.block(address, "DG");
            readDataGroup(block);
            address = block.link(0);
        }
    } catch (const MdfDamage& damage) { // of a link to the next one
        damaged(damage.text);
    }
    std::sort(contents.unfinished.dataAddresses.begin(), contents.unfinished.dataAddresses.end());
    return std::move(contents);
}

void ContentsReader::readDataGroup(const MdfBlock& block) {
    MdfDataGroup group{.data = block.link(2), .idBytes = block.data<std::uint8_t>(0), .groups = {}};
    if (contents.unfinished.dataLength && group.data != 0) {
        contents.unfinished.dataAddresses.push_back(group.data);
    }
    const bool hasEvents = readGroups(block.link(1), group);
    const auto bytes = group.idBytes;
    if (!hasEvents) {
        return;
    }
    if (bytes > 8 || (bytes & (bytes - 1)) != 0 || (bytes == 0 && group.groups.size() > 1)) {
        damaged("the data group at offset " + std::to_string(block.address()) +
                " has record numbers of an impossible length, " + std::to_string(bytes));
    } else if (contents.dataGroups.size() == MdfContents::maxDataGroups) {
        damaged("the data group at offset " + std::to_string(block.address()) +
                " is not read: there are more than 256 with bus frames");
    } else {
        contents.dataGroups.push_back(std::move(group));
    }
}

/// \return whether a group holds bus events
bool ContentsReader::readGroups(std::uint64_t address, MdfDataGroup& data) {
    bool hasEvents = false;
    try {
        while (address != 0) {
            const MdfBlock block = file.block(address, "CG");
            data.groups.push_back(readGroup(block));
            const MdfGroup& group = data.groups.back();
            hasEvents = hasEvents || group.layout;
            contents.measuredGroups += group.layout || group.isValues ? 0 : 1;
            address = block.link(0);
            if (data.groups.size() > maxGroups) {
                throw MdfDamage{"a data group has more than 65,536 channel groups"};
            }
        }
    } catch (const MdfDamage& damage) { // of a link to the next one
        damaged(damage.text);
    }
    return hasEvents;
}

MdfGroup ContentsReader::readGroup(const MdfBlock& block) {
    constexpr std::uint16_t valuesFlag = 1;
    constexpr std::uint16_t remoteMasterFlag = 8;
    const auto flags = block.data<std::uint16_t>(16);
    MdfGroup group;
    group.id = block.data<std::uint64_t>(0);
    group.address = block.address();
    group.isValues = (flags & valuesFlag) != 0;
    const std::uint64_t size = std::uint64_t{block.data<std::uint32_t>(24)} + block.data<std::uint32_t>(28);
    group.size = static_cast<std::uint32_t>(std::min<std::uint64_t>(size, ~std::uint32_t{0}));
    if (group.isValues) {
        return group;
    }
    try {
        group.layout = readLayout(file, block);
        const bool isRemote = (flags & remoteMasterFlag) != 0;
        if (group.layout && (isRemote || size > MdfContents::maxRecord || size == 0)) {
            group.layout.reset();
            damaged("the bus events of the group at offset " + std::to_string(block.address()) +
                    (isRemote ? " are stored in columns of several groups, which is not supported"
                              : " have records of " + std::to_string(size) + " bytes"));
        }
    } catch (const MdfDamage& damage) {
        damaged(damage.text);
    }
    return group;
}

} // namespace

MdfContents readContents(MdfFile& file) {
    return ContentsReader(file).read();
}

} // namespace rksignal
