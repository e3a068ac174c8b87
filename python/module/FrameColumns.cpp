#include "FrameColumns.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

namespace rksignal::python {
namespace {

/// Of buses with frames, in the order of SignalKind, as the dictionary of a column has them.
constexpr std::string_view names = "canlinflexrayethernet";
constexpr std::array<std::int32_t, 5> nameEnds = {0, 3, 6, 13, 21};

Schema columnSchema(const char* name, const char* format, bool isNullable = false) {
    SchemaParts parts;
    parts.name = name;
    parts.format = format;
    parts.flags = isNullable ? ARROW_FLAG_NULLABLE : 0;
    return makeSchema(std::move(parts));
}

Schema busSchema() {
    SchemaParts parts;
    parts.name = "bus";
    parts.format = "c";
    parts.dictionary = columnSchema("", "u");
    return makeSchema(std::move(parts));
}

} // namespace

FrameColumns::FrameColumns(std::size_t limit) : limit(limit), ends{0} {
    times.reserve(limit);
}

void FrameColumns::receive(const CANExtTraceMessage& frame) {
    const std::size_t length = std::min<std::size_t>(frame.length, frame.payload.size());
    add({frame.timestamp,
         frame.channel,
         SignalKind::Can,
         frame.canId,
         frame.isExtended(),
         frame.isFd(),
         {},
         {frame.payload.data(), length}});
}

void FrameColumns::receive(const LINTraceMessage& frame) {
    constexpr unsigned withoutParity = 0x3F;
    add({frame.timestamp,
         frame.channel,
         SignalKind::Lin,
         frame.protectedId & withoutParity,
         false,
         false,
         {},
         frame.data});
}

void FrameColumns::receive(const FlexRayExtTraceMessage& frame) {
    add({frame.timestamp, frame.channel, SignalKind::FlexRay, frame.slot, false, false, frame.cycle,
         frame.payload});
}

void FrameColumns::receive(const MIITraceMessage& frame) {
    add({frame.timestamp, frame.channel, SignalKind::Ethernet, {}, false, false, {}, frame.frame});
}

void FrameColumns::receive(const EthernetTraceMessage& frame) {
    if (frame.kind == EthernetTraceMessage::Frame) {
        add({frame.timestamp, frame.channel, SignalKind::Ethernet, {}, false, false, {}, frame.frame});
    }
}

void FrameColumns::add(const Frame& frame) {
    const std::size_t row = times.size();
    times.push_back(static_cast<std::int64_t>(frame.time));
    channels.push_back(frame.channel);
    kinds.push_back(static_cast<std::int8_t>(frame.kind));
    ids.push_back(frame.id.value_or(0));
    idValid.add(row, frame.id.has_value());
    extended.add(row, frame.isExtended);
    fd.add(row, frame.isFd);
    cycles.push_back(frame.cycle.value_or(0));
    cycleValid.add(row, frame.cycle.has_value());
    bytes.insert(bytes.end(), frame.data.begin(), frame.data.end());
    ends.push_back(static_cast<std::int32_t>(bytes.size()));
}

Schema FrameColumns::schema() {
    SchemaParts table;
    table.format = "+s";
    table.children.push_back(columnSchema("time", "tsn:UTC"));
    table.children.push_back(columnSchema("channel", "C"));
    table.children.push_back(busSchema());
    table.children.push_back(columnSchema("id", "I", true));
    table.children.push_back(columnSchema("extended", "b"));
    table.children.push_back(columnSchema("fd", "b"));
    table.children.push_back(columnSchema("cycle", "C", true));
    table.children.push_back(columnSchema("data", "z"));
    return makeSchema(std::move(table));
}

Array FrameColumns::column(const void* cells, const BitColumn* valid) {
    ArrayParts parts;
    parts.length = static_cast<std::int64_t>(size());
    parts.nulls = valid != nullptr ? valid->zeroCount() : 0;
    parts.buffers = {parts.nulls > 0 ? valid->data() : nullptr, cells};
    parts.owner = shared_from_this();
    return makeArray(std::move(parts));
}

Array FrameColumns::kindNames() {
    ArrayParts parts;
    parts.length = static_cast<std::int64_t>(nameEnds.size() - 1);
    parts.buffers = {nullptr, nameEnds.data(), names.data()};
    Array dictionary = makeArray(std::move(parts));
    ArrayParts indices;
    indices.length = static_cast<std::int64_t>(size());
    indices.buffers = {nullptr, kinds.data()};
    indices.owner = shared_from_this();
    indices.dictionary = std::move(dictionary);
    return makeArray(std::move(indices));
}

Array FrameColumns::array() {
    ArrayParts table;
    table.length = static_cast<std::int64_t>(size());
    table.buffers = {nullptr};
    table.children.push_back(column(times.data(), nullptr));
    table.children.push_back(column(channels.data(), nullptr));
    table.children.push_back(kindNames());
    table.children.push_back(column(ids.data(), &idValid));
    table.children.push_back(column(extended.data(), nullptr));
    table.children.push_back(column(fd.data(), nullptr));
    table.children.push_back(column(cycles.data(), &cycleValid));
    ArrayParts data;
    data.length = table.length;
    data.buffers = {nullptr, ends.data(), bytes.data()};
    data.owner = shared_from_this();
    table.children.push_back(makeArray(std::move(data)));
    return makeArray(std::move(table));
}

} // namespace rksignal::python
