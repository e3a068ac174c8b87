#include "trace/mdf/MdfLayout.h"

#include "trace/ChannelMap.h"

#include <algorithm>
#include <string_view>

namespace rksignal {
namespace {

struct Event {
    std::string_view name;
    MdfEvent event;
    PassedMessage passed = PassedMessage::Other;
};

constexpr Event events[] = {
    {"CAN_DataFrame", MdfEvent::CanFrame},
    {"CAN_RemoteFrame", MdfEvent::Passed, PassedMessage::Remote},
    {"CAN_ErrorFrame", MdfEvent::Passed, PassedMessage::Error},
    {"CAN_OverloadFrame", MdfEvent::Passed},
    {"LIN_Frame", MdfEvent::LinFrame},
    {"LIN_ChecksumError", MdfEvent::Passed, PassedMessage::Error},
    {"LIN_ReceiveError", MdfEvent::Passed, PassedMessage::Error},
    {"LIN_SyncError", MdfEvent::Passed, PassedMessage::Error},
    {"LIN_TransmissionError", MdfEvent::Passed, PassedMessage::Error},
    {"FLX_Frame", MdfEvent::FlexRayFrame},
    {"FLX_ErrorFrame", MdfEvent::Passed, PassedMessage::Error},
    {"ETH_Frame", MdfEvent::EthernetFrame},
    {"ETH_ChecksumError", MdfEvent::Passed, PassedMessage::Error},
    {"ETH_LengthError", MdfEvent::Passed, PassedMessage::Error},
    {"ETH_ReceiveError", MdfEvent::Passed, PassedMessage::Error},
};

constexpr struct {
    std::string_view name;
    MdfMember member;
} members[] = {
    {"BusChannel", MdfMember::BusChannel},
    {"ID", MdfMember::Id},
    {"IDE", MdfMember::Ide},
    {"EDL", MdfMember::Edl},
    {"DLC", MdfMember::Dlc},
    {"DataLength", MdfMember::DataLength},
    {"PayloadLength", MdfMember::PayloadLength},
    {"FlxChannel", MdfMember::FlxChannel},
    {"Cycle", MdfMember::Cycle},
    {"CycleCount", MdfMember::Cycle},
    {"Source", MdfMember::Source},
    {"Destination", MdfMember::Destination},
    {"EtherType", MdfMember::EtherType},
    {"EthType", MdfMember::EtherType},
};

template <class Row, std::size_t count>
const Row* find(const Row (&rows)[count], std::string_view name) {
    const auto* const row =
        std::find_if(std::begin(rows), std::end(rows), [name](const Row& each) { return each.name == name; });
    return row != std::end(rows) ? row : nullptr;
}

std::string_view lastPart(std::string_view name) {
    return name.substr(name.rfind('.') + 1); // npos + 1 is 0
}

/// Reads the channels of one group.
class LayoutReader {
  public:
    LayoutReader(MdfFile& file, const MdfBlock& group)
        : file(file), group(group), recordSize(group.data<std::uint32_t>(24)) {}

    std::optional<MdfLayout> read();

  private:
    void readChannels(std::uint64_t address, const std::string& parent, unsigned depth);
    void readChannel(const MdfChannel& channel, const std::string& name, const std::string& parent);
    void readMember(const MdfChannel& channel, std::string_view name);
    void readBytes(const MdfChannel& channel);
    void complete();
    std::uint8_t channelOfSource();
    [[noreturn]] void refuse(const std::string& why) const;

    MdfFile& file;
    const MdfBlock& group;
    std::uint32_t recordSize; ///< without the number of the record
    MdfLayout layout;
    const Event* event = nullptr;
    bool hasTime = false;
    std::string unreadable; ///< the first member whose form cannot be read
};

void LayoutReader::refuse(const std::string& why) const {
    throw MdfDamage{"the group of " + layout.name + " at offset " + std::to_string(group.address()) + " " +
                    why};
}

std::optional<MdfLayout> LayoutReader::read() {
    constexpr std::uint16_t busEvent = 2;
    readChannels(group.link(1), "", 0);
    if (event == nullptr && (group.data<std::uint16_t>(16) & busEvent) == 0) {
        return std::nullopt;
    }
    if (event != nullptr) {
        layout.event = event->event;
        layout.passed = event->passed;
    }
    layout.name = event != nullptr ? std::string(event->name) : "an event that is not known";
    complete();
    return layout;
}

/// The channels of a list (CN blocks), and those that they are composed of.
void LayoutReader::readChannels(std::uint64_t address, const std::string& parent, unsigned depth) {
    constexpr unsigned maxDepth = 3;
    while (address != 0) {
        const MdfBlock block = file.block(address, "CN");
        const std::string name = file.text(block.link(2));
        readChannel(MdfChannel(file, block), name, parent);
        const std::uint64_t composition = block.link(1);
        if (depth < maxDepth && MdfBlock(file, composition).is("CN")) {
            readChannels(composition, std::string(lastPart(name)), depth + 1);
        }
        address = block.link(0);
    }
}

void LayoutReader::readChannel(const MdfChannel& channel, const std::string& name,
                               const std::string& parent) {
    constexpr std::uint8_t time = 1;
    const bool isMaster = channel.type == MdfChannel::Master || channel.type == MdfChannel::VirtualMaster;
    if (isMaster && channel.syncType == time) {
        const auto form = channel.time(recordSize);
        hasTime = form.has_value();
        layout.time = form.value_or(MdfTime());
        return;
    }
    const std::size_t point = name.rfind('.');
    const Event* const named =
        find(events, point != name.npos ? lastPart(std::string_view(name).substr(0, point)) : parent);
    if (named != nullptr && (event == nullptr || event == named)) {
        event = named;
        readMember(channel, lastPart(name));
    }
}

void LayoutReader::readMember(const MdfChannel& channel, std::string_view name) {
    if (name == "DataBytes") {
        readBytes(channel);
        return;
    }
    if (const auto* const row = find(members, name)) {
        const auto field = channel.field(recordSize);
        if (!field && unreadable.empty()) {
            unreadable = name;
        }
        layout.fields[static_cast<std::size_t>(row->member)] = field.value_or(MdfField());
    }
}

void LayoutReader::readBytes(const MdfChannel& channel) {
    MdfBytes& bytes = layout.bytes;
    bytes.offset = channel.byteOffset;
    bytes.size = channel.bits / 8;
    bytes.values = channel.data;
    if (channel.type == MdfChannel::Vlsd) {
        MdfChannel number = channel; // in the record: an offset, whatever the values are
        number.dataType = 0;
        const auto reference = number.field(recordSize);
        bytes.reference = reference.value_or(MdfField());
        const bool isGroup = MdfBlock(file, channel.data).is("CG");
        bytes.place = isGroup ? MdfBytes::Place::Records : MdfBytes::Place::Blocks;
        unreadable = reference || !unreadable.empty() ? unreadable : "DataBytes";
    } else if (bytes.offset > recordSize || bytes.size > recordSize - bytes.offset ||
               channel.bitOffset != 0) {
        unreadable = unreadable.empty() ? "DataBytes" : unreadable;
    } else {
        bytes.place = MdfBytes::Place::Record;
    }
}

/// \throws MdfDamage if something is missing
void LayoutReader::complete() {
    if (!hasTime) {
        refuse("has no time channel that can be read");
    }
    if (layout.event == MdfEvent::Passed) {
        return;
    }
    if (!unreadable.empty()) {
        refuse("has a member " + unreadable + " of a form that is not supported");
    }
    const bool hasId = layout[MdfMember::Id].exists || layout.event == MdfEvent::EthernetFrame;
    if (!hasId || layout.bytes.place == MdfBytes::Place::None) {
        refuse(std::string("has no member ") + (hasId ? "DataBytes" : "ID"));
    }
    MdfField& channel = layout.fields[static_cast<std::size_t>(MdfMember::BusChannel)];
    if (!channel.exists) {
        channel = {.exists = true, .addend = channelOfSource()};
    }
}

/// The number at the end of the name of the bus (SI block), or of the group.
std::uint8_t LayoutReader::channelOfSource() {
    const MdfBlock source(file, group.link(3));
    const auto ofBus = source.is("SI") ? trailingNumber(file.text(source.link(0))) : std::nullopt;
    return ofBus ? *ofBus : trailingNumber(file.text(group.link(2))).value_or(0);
}

} // namespace

std::optional<MdfLayout> readLayout(MdfFile& file, const MdfBlock& group) {
    return LayoutReader(file, group).read();
}

} // namespace rksignal
