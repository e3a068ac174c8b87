/// \file
/// The addressing fields by which Ethernet frames are told apart: the one list of them.
#pragma once

#include <cstdint>
#include <type_traits>

namespace ethernet {

/// A number is compared as it is; a flag counts as 0 or 1.
enum class AddressingField { Number, Flag };

/// Calls `visit(kind, field of each record...)` for each addressing field, in the order in which they are
/// hashed. Records are positions, frame hashes and analysed frames, which all call their fields the same.
template <class Visit, class... Records>
constexpr void forEachAddressingField(Visit&& visit, Records&&... records) {
    using enum AddressingField;
    visit(Number, records.sourceMac...);
    visit(Number, records.destinationMac...);
    visit(Number, records.sourceIp...);
    visit(Number, records.destinationIp...);
    visit(Number, records.sourcePort...);
    visit(Number, records.destinationPort...);
    visit(Number, records.ipProtocol...);
    visit(Flag, records.vlan...);
    visit(Number, records.vlanId...);
}

/// What is hashed and compared of a field.
template <class Field>
constexpr std::uint64_t addressingValue(AddressingField kind, Field field) {
    return kind == AddressingField::Flag ? std::uint64_t{field != 0} : std::uint64_t{field};
}

} // namespace ethernet
