#include "list/ListFormats.h"

#include "output/BitTable.h"
#include "output/DefinitionWords.h"
#include "output/RowFormat.h"
#include "output/TextTable.h"
#include "text/NumberText.h"
#include "text/PrintableText.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>

namespace rksignal {
namespace {

bool hasRange(const SignalDefinition& signal) {
    return signal.minimum != signal.maximum;
}

const char* orderName(const baseSignalDef_t& signal) {
    return signal.endian ? "big" : "little";
}

/// `byte.bit`
std::string startText(const SignalDefinition& signal) {
    const auto start = BitRange::of(signal).startBit;
    return std::to_string(start / 8) + "." + std::to_string(start % 8);
}

/// Inputs lie in no payload.
bool liesInPayload(const MessageDefinition& message) {
    return message.kind <= SignalKind::Ethernet;
}

/// Each line indented by two.
std::string indented(const std::string& text) {
    std::string lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        lines += "  " + printable(std::string_view(text).substr(start, end - start)) + "\n";
        start = end + 1;
    }
    return lines;
}

bool isNumbered(const MessageDefinition& message) {
    return message.kind == SignalKind::Digital || message.kind == SignalKind::Analog;
}

/// `8`, `8 of 1`: the number of an input, and of its module
std::string inputText(const baseSignalDef_t& signal) {
    return std::to_string(signal.channel) + (signal.tslId != 0 ? " of " + std::to_string(signal.tslId) : "");
}

constexpr std::size_t tableColumns = 14;
using TableCells = std::array<std::string, tableColumns>;

const std::array<TextTable::Column, tableColumns> listColumns = {{{"", false},
                                                                  {"input", true},
                                                                  {"start", true},
                                                                  {"bits", true},
                                                                  {"order", false},
                                                                  {"type", false},
                                                                  {"scale", true},
                                                                  {"offset", true},
                                                                  {"range", false},
                                                                  {"unit", false},
                                                                  {"when", false},
                                                                  {"not decoded", false},
                                                                  {"texts", false},
                                                                  {"comment", false}}};

TableCells cellsOf(const MessageDefinition& message, const ListedSignal& listed) {
    const SignalDefinition& signal = *listed.definition;
    const baseSignalDef_t& common = signal.common();
    const bool isPlaced = liesInPayload(message);
    const std::string range =
        hasRange(signal) ? doubleText(signal.minimum) + " to " + doubleText(signal.maximum) : "";
    return {"  " + printable(listed.instance),
            isNumbered(message) ? inputText(common) : "",
            isPlaced ? startText(signal) : "",
            std::to_string(common.bits),
            isPlaced ? orderName(common) : "",
            typeName(signal),
            common.scale == 1 ? "" : doubleText(common.scale),
            common.offset == 0 ? "" : doubleText(common.offset),
            range,
            printable(common.unit),
            printable(branchText(message, signal)),
            listed.isDecoded ? "" : "x",
            printable(valueTexts(common)),
            common.comment};
}

/// The columns that say something.
void writeSignalTable(const ListedMessage& listed, OutputBuffer& out) {
    std::vector<TableCells> rows;
    for (const ListedSignal& signal : listed.signals) {
        rows.push_back(cellsOf(*listed.message, signal));
    }
    std::vector<std::size_t> shown;
    std::vector<TextTable::Column> names;
    for (std::size_t i = 0; i < tableColumns; ++i) {
        const bool saysSomething =
            std::any_of(rows.begin(), rows.end(), [i](const TableCells& cells) { return !cells[i].empty(); });
        if (saysSomething) {
            shown.push_back(i);
            names.push_back(listColumns[i]);
        }
    }
    TextTable table(names);
    for (const TableCells& cells : rows) {
        std::vector<std::string> row;
        for (const std::size_t i : shown) {
            row.push_back(cells[i]);
        }
        table.add(row);
    }
    table.write(out);
}

std::string orEmpty(bool isGiven, double number) {
    return isGiven ? doubleText(number) : "";
}

using nlohmann::ordered_json;

ordered_json jsonOf(const MessageDefinition& message, const ListedSignal& listed) {
    const SignalDefinition& signal = *listed.definition;
    const baseSignalDef_t& common = signal.common();
    ordered_json object{{"instance", listed.instance}, {"frame", frameKey(message, signal)}};
    if (liesInPayload(message)) {
        object.update({{"startbit", BitRange::of(signal).startBit}, {"endian", orderName(common)}});
    }
    object.update({{"bits", common.bits},
                   {"type", typeName(signal)},
                   {"scale", common.scale},
                   {"offset", common.offset},
                   {"unit", common.unit}});
    if (hasRange(signal)) {
        object.update({{"minimum", signal.minimum}, {"maximum", signal.maximum}});
    }
    if (signal.multiplexing) {
        object["when"] = branchText(message, signal);
    }
    for (const auto& [raw, text] : common.valueDescriptions) {
        object["texts"][rawText(raw, common.type)] = text;
    }
    object.update({{"comment", common.comment},
                   {"receivers", signal.receivers},
                   {"decoded", listed.isDecoded},
                   {"place", signal.place}});
    return object;
}

ordered_json jsonOf(const ListedMessage& listed) {
    const MessageDefinition& message = *listed.message;
    ordered_json object{{"message", message.name}, {"bus", kindName(message.kind)}};
    if (message.channel) {
        object["channel"] = *message.channel;
    }
    object["id"] = shortIdentifier(message);
    object["length"] = message.length;
    object["sender"] = message.sender;
    object["cycleTime"] = message.cycleTime ? ordered_json(*message.cycleTime) : ordered_json();
    object["comment"] = message.comment;
    object["place"] = message.place;
    object["signals"] = ordered_json::array();
    for (const ListedSignal& signal : listed.signals) {
        object["signals"].push_back(jsonOf(message, signal));
    }
    return object;
}

} // namespace

std::string messageLine(const ListedMessage& listed) {
    const MessageDefinition& message = *listed.message;
    std::string line = message.name.empty() ? "" : message.name + "  ";
    if (!liesInPayload(message) || listed.signals.empty()) {
        line += std::string(kindName(message.kind)) +
                (message.signals.empty() ? " " + shortIdentifier(message) : "");
    } else {
        line += frameKey(message, *listed.signals.front().definition);
    }
    const std::string words = messageText(message);
    line += words.empty() ? "" : ", " + words;
    return printable(line + "  (" + message.place + ")") + "\n";
}

void writeListTable(const std::vector<ListedMessage>& messages, OutputBuffer& out) {
    for (const ListedMessage& listed : messages) {
        out.append((&listed != messages.data() ? "\n" : "") + messageLine(listed) +
                   indented(listed.message->comment));
        if (!listed.signals.empty()) {
            writeSignalTable(listed, out);
        }
        out.endRow();
    }
}

void writeListCsv(const std::vector<ListedMessage>& messages, OutputBuffer& out) {
    out.append(
        "message,bus,channel,id,length,sender,cycle,instance,startbit,bits,endian,type,scale,offset,minimum,"
        "maximum,unit,when,texts,comment,decoded,place\n");
    for (const ListedMessage& listed : messages) {
        const MessageDefinition& message = *listed.message;
        const std::string head = csvSyntax.quote(message.name) + "," + std::string(kindName(message.kind)) +
                                 "," + (message.channel ? std::to_string(*message.channel) : "") + "," +
                                 shortIdentifier(message) + "," + std::to_string(message.length) + "," +
                                 csvSyntax.quote(message.sender) + "," +
                                 orEmpty(message.cycleTime.has_value(), message.cycleTime.value_or(0));
        for (const ListedSignal& each : listed.signals) {
            const SignalDefinition& signal = *each.definition;
            const baseSignalDef_t& common = signal.common();
            const bool isPlaced = liesInPayload(message);
            const std::string cells[] = {head,
                                         csvSyntax.quote(each.instance),
                                         isPlaced ? std::to_string(BitRange::of(signal).startBit) : "",
                                         std::to_string(common.bits),
                                         isPlaced ? orderName(common) : "",
                                         typeName(signal),
                                         doubleText(common.scale),
                                         doubleText(common.offset),
                                         orEmpty(hasRange(signal), signal.minimum),
                                         orEmpty(hasRange(signal), signal.maximum),
                                         csvSyntax.quote(common.unit),
                                         csvSyntax.quote(branchText(message, signal)),
                                         csvSyntax.quote(valueTexts(common)),
                                         csvSyntax.quote(common.comment),
                                         each.isDecoded ? "1" : "0",
                                         csvSyntax.quote(signal.place)};
            std::string row;
            for (const std::string& cell : cells) {
                row += (row.empty() ? "" : ",") + cell;
            }
            out.append(row + "\n");
            out.endRow();
        }
    }
}

void writeListJson(const std::vector<ListedMessage>& messages, OutputBuffer& out) {
    out.append("[");
    for (const ListedMessage& listed : messages) {
        out.append((&listed != messages.data() ? ",\n" : "\n") +
                   jsonOf(listed).dump(1, ' ', false, ordered_json::error_handler_t::replace));
        out.endRow();
    }
    out.append(messages.empty() ? "]\n" : "\n]\n");
}

} // namespace rksignal
