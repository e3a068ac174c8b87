#include "Definitions.h"

#include "Errors.h"

#include "text/ClosestNames.h"
#include "text/Moment.h"

#include <nanobind/stl/map.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/shared_ptr.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/variant.h>
#include <nanobind/stl/vector.h>

#include <utility>

namespace rksignal::python {
namespace {

const char* typeText(signalValue_t type) {
    switch (type) {
    case signalValue_t::Signed:
        return "signed";
    case signalValue_t::Float:
        return "float";
    case signalValue_t::Double:
        return "double";
    default:
        return "unsigned";
    }
}

template <class Value>
nb::object orNone(const std::optional<Value>& value) {
    return value ? nb::cast(*value) : nb::none();
}

/// Raw values in tables are those that rows have: with their sign.
nb::object rawOf(std::uint64_t raw, signalValue_t type) {
    return type == signalValue_t::Signed ? nb::cast(static_cast<std::int64_t>(raw)) : nb::cast(raw);
}

nb::object multiplexingOf(const MessageDefinition& message, const SignalDefinition& signal) {
    if (!signal.multiplexing || !signal.multiplexing->multiplexer) {
        return nb::none();
    }
    nb::list ranges;
    for (const auto& [first, last] : signal.multiplexing->ranges) {
        ranges.append(nb::make_tuple(first, last));
    }
    const SignalDefinition& multiplexer = message.signals[*signal.multiplexing->multiplexer];
    return nb::make_tuple(textOf(multiplexer.common().instance), nb::tuple(ranges));
}

nb::dict signalDict(const MessageDefinition& message, const SignalDefinition& signal) {
    const baseSignalDef_t& common = signal.common();
    nb::dict values;
    for (const auto& [raw, text] : common.valueDescriptions) {
        values[rawOf(raw, common.type)] = textOf(text);
    }
    nb::list receivers;
    for (const std::string& receiver : signal.receivers) {
        receivers.append(textOf(receiver));
    }
    const bool hasRange = signal.minimum != signal.maximum;
    nb::dict made;
    made["name"] = textOf(common.instance);
    made["signal"] = textOf(common.signal);
    made["unit"] = textOf(common.unit);
    made["comment"] = textOf(common.comment);
    made["type"] = typeText(common.type);
    made["factor"] = common.scale;
    made["offset"] = common.offset;
    made["minimum"] = hasRange ? nb::cast(signal.minimum) : nb::none();
    made["maximum"] = hasRange ? nb::cast(signal.maximum) : nb::none();
    made["values"] = values;
    made["start_bit"] = common.startbit;
    made["bits"] = common.bits;
    made["byte_order"] = common.endian ? "big" : "little";
    made["multiplexing"] = multiplexingOf(message, signal);
    made["initial"] = orNone(signal.initial);
    made["invalid"] = orNone(signal.invalid);
    made["receivers"] = nb::tuple(receivers);
    made["place"] = pathOf(signal.place);
    return made;
}

nb::dict messageDict(const MessageDefinition& message) {
    nb::list signals;
    for (const SignalDefinition& signal : message.signals) {
        signals.append(signalDict(message, signal));
    }
    const bool hasIdentifier = message.kind <= SignalKind::FlexRay;
    const std::string_view bus = kindName(message.kind);
    nb::dict made;
    made["name"] = textOf(message.name);
    made["bus"] = nb::str(bus.data(), bus.size());
    made["channel"] = orNone(message.channel);
    made["id"] = hasIdentifier ? nb::cast(message.id) : nb::none();
    made["extended"] = message.extended;
    made["fd"] = message.canFd;
    made["parameter_group"] = message.isParameterGroup;
    made["length"] = message.length != 0 ? nb::cast(message.length) : nb::none();
    made["sender"] = textOf(message.sender);
    made["comment"] = textOf(message.comment);
    made["cycle_time"] = message.cycleTime ? nb::cast(*message.cycleTime / 1000) : nb::none();
    made["signals"] = signals;
    made["place"] = pathOf(message.place);
    return made;
}

nb::list messageDicts(const Definitions& definitions) {
    nb::list messages;
    for (const MessageDefinition& message : definitions.messages()) {
        messages.append(messageDict(message));
    }
    return messages;
}

/// As Python hands it over: paths in the bytes of the file system.
using NamePair = std::pair<nb::bytes, ChannelName>;

std::vector<BoundName> boundNames(const std::vector<NamePair>& pairs) {
    std::vector<BoundName> names;
    for (const auto& [name, channel] : pairs) {
        names.push_back({std::string(name.c_str(), name.size()), channel});
    }
    return names;
}

/// The longest of the names that the text of an error tells.
std::string nameIn(const std::string& text, const std::vector<BoundName>& sources) {
    std::string longest;
    for (const BoundName& source : sources) {
        if (source.name.size() > longest.size() && text.find(source.name) != text.npos) {
            longest = source.name;
        }
    }
    return longest;
}

std::shared_ptr<Definitions> load(const std::vector<NamePair>& sources, const std::vector<NamePair>& clusters,
                                  const std::map<std::string, std::uint8_t>& channels) {
    const std::vector<BoundName> names = boundNames(sources);
    const std::vector<BoundName> chosen = boundNames(clusters);
    try {
        const nb::gil_scoped_release others;
        return std::make_shared<Definitions>(names, chosen, channels);
    } catch (const Error& error) {
        setError(error, nameIn(error.what(), names));
        throw nb::python_error();
    }
}

} // namespace

Definitions::Definitions(const std::vector<BoundName>& sources, const std::vector<BoundName>& clusters,
                         const std::map<std::string, std::uint8_t>& channels) {
    for (const auto& [name, number] : channels) {
        interfaces.assign(name, number);
    }
    std::vector<DefinitionSource> wanted;
    for (const BoundName& source : sources) {
        if (const auto format = source.name != "-" ? detectTrace(source.name) : std::nullopt) {
            throw Error(source.name + " is " + formatName(*format) + ", not a file of definitions");
        }
        wanted.push_back({source.name, channelOf(source.channel)});
    }
    DefinitionSettings settings;
    for (const BoundName& cluster : clusters) {
        settings.clusters.push_back({cluster.name, channelOf(cluster.channel)});
    }
    files = readDefinitions(wanted, settings);
    const std::unique_ptr<Catalog> first = catalog();
    decoded = first->decodedMessages();
    said = first->remarks();
}

std::unique_ptr<Catalog> Definitions::catalog() const {
    auto made = std::make_unique<Catalog>();
    for (DefinitionFile file : files) {
        made->add(std::move(file));
    }
    return made;
}

std::optional<std::uint8_t> Definitions::channelOf(const ChannelName& name) {
    if (!name) {
        return std::nullopt;
    }
    if (const auto* const number = std::get_if<std::uint8_t>(&*name)) {
        return *number;
    }
    const auto channel = interfaces.expect(std::get<std::string>(*name));
    if (!channel) {
        throw Error("too many different interface names");
    }
    return channel;
}

void bindDefinitions(nb::module_& module) {
    nb::class_<Definitions>(module, "Definitions")
        .def("messages", &messageDicts)
        .def("remarks", [](const Definitions& definitions) { return remarkTuples(definitions.remarks()); });
    module.def(
        "parse_moment",
        [](const std::string& text) -> std::optional<std::pair<std::uint64_t, bool>> {
            const auto moment = parseMoment(text);
            return moment ? std::optional(std::pair(moment->nanoseconds, moment->isRelative)) : std::nullopt;
        },
        nb::arg("text"), "Nanoseconds, and whether they count from the start of what is read.");
    module.def(
        "close_names",
        [](const std::string& name, const std::vector<std::string>& names) {
            return textOf(closestNames(name, {names.begin(), names.end()}));
        },
        nb::arg("name"), nb::arg("names"));
    module.def("load", &load, nb::arg("sources"), nb::arg("clusters"), nb::arg("channels"));
}

} // namespace rksignal::python
