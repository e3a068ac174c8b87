/// \file
/// What the records of a channel group of an MDF 4 file hold if they are bus events (ASAM MDF 4.1 Bus
/// Logging).
///
/// The group of an event has a time channel and one named as the event, such as `CAN_DataFrame`, whose
/// members are `CAN_DataFrame.ID` and so on: either composed in it or beside it.
#pragma once

#include "trace/MessageSink.h"
#include "trace/mdf/MdfBlocks.h"
#include "trace/mdf/MdfField.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace rksignal {

enum class MdfEvent : std::uint8_t {
    CanFrame,
    LinFrame,
    FlexRayFrame,
    EthernetFrame,
    Passed, ///< one without data, or not known
};

/// Members of events that are numbers.
enum class MdfMember : std::uint8_t {
    BusChannel,
    Id,
    Ide,           ///< of CAN: whether the identifier has 29 bits
    Edl,           ///< of CAN: whether it is a CAN FD frame
    Dlc,           ///< length code
    DataLength,    ///< in bytes
    PayloadLength, ///< of FlexRay: in words of two bytes
    FlxChannel,    ///< of FlexRay: 0 is A, 1 is B
    Cycle,
    Source, ///< of Ethernet
    Destination,
    EtherType,
};
constexpr std::size_t mdfMembers = 12; ///< number of them

/// The data bytes of an event.
struct MdfBytes {
    enum class Place : std::uint8_t {
        None,
        Record,  ///< `size` bytes from `offset` of the record on
        Blocks,  ///< in the data blocks that `values` leads to, at the offset that `reference` gives
        Records, ///< the same among the records of the group at `values`
    };

    Place place = Place::None;
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
    MdfField reference;
    std::uint64_t values = 0;
};

struct MdfLayout {
    const MdfField& operator[](MdfMember member) const { return fields[static_cast<std::size_t>(member)]; }

    std::string name; ///< of the event
    MdfEvent event = MdfEvent::Passed;
    PassedMessage passed = PassedMessage::Other; ///< of an MdfEvent::Passed
    MdfTime time;
    std::array<MdfField, mdfMembers> fields; ///< by MdfMember; BusChannel always exists
    MdfBytes bytes;
};

/// The layout of a channel group (CG block). \return nothing if it holds no bus events
/// \throws MdfDamage if it does, but not in a form that can be read
std::optional<MdfLayout> readLayout(MdfFile& file, const MdfBlock& group);

} // namespace rksignal
