#include "shm/SlotRows.h"

#include "output/DefinitionWords.h"
#include "output/RowFormat.h"
#include "output/TextTable.h"
#include "text/NumberText.h"
#include "text/PrintableText.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <pwd.h>
#include <sys/ipc.h>
#include <utility>

namespace rksignal {
namespace {

/// By the value of SlotFault.
constexpr std::array<std::string_view, 14> faultNames = {
    "missing",       "unusable-name", "key-taken",      "wrong-size",        "other-signal",
    "uninitialised", "overwritten",   "key-file-gone",  "key-file-replaced", "removed",
    "left-over",     "holder-gone",   "holder-unknown", "held-long"};

std::string hexText(std::uint64_t number) {
    char text[2 + 2 * sizeof number + 1];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
    return text;
}

std::string keyText(key_t key) {
    return key == -1 || key == IPC_PRIVATE ? "" : hexText(static_cast<std::uint32_t>(key));
}

/// `0666`
std::string modeText(mode_t mode) {
    char text[16];
    std::snprintf(text, sizeof text, "%04o", mode);
    return text;
}

std::string userName(uid_t user) {
    const passwd* const entry = getpwuid(user); // NOLINT(concurrency-mt-unsafe): one thread
    return entry != nullptr ? entry->pw_name : std::to_string(user);
}

/// `0.25 s`, `12 s`, `5 min`, `3 h`, `12 d`; a time to come has a sign.
std::string slotAge(std::uint64_t now, std::uint64_t timestamp) {
    constexpr std::uint64_t second = 1'000'000'000;
    const bool isAhead = timestamp > now;
    const std::uint64_t age = isAhead ? timestamp - now : now - timestamp;
    const std::string sign = isAhead ? "-" : "";
    if (age < 10 * second) {
        char text[16];
        std::snprintf(text, sizeof text, "%.2f s", static_cast<double>(age) / static_cast<double>(second));
        return sign + text;
    }
    constexpr std::pair<std::uint64_t, const char*> units[] = {
        {172'800 * second, " d"}, {7'200 * second, " h"}, {120 * second, " min"}, {second, " s"}};
    constexpr std::uint64_t lengths[] = {86'400 * second, 3'600 * second, 60 * second, second};
    std::size_t unit = 0;
    while (age < units[unit].first) {
        ++unit;
    }
    return sign + std::to_string(age / lengths[unit]) + units[unit].second;
}

bool exists(const SlotRecord& slot) {
    return slot.shmId >= 0;
}

/// By the type of the signal, where that is known.
std::string rawCell(const SlotRecord& slot, const BaseSignal* signal) {
    if (!slot.isReadable || !slot.isValid) {
        return "";
    }
    return signal != nullptr ? rawText(slot.raw, signal->def.type) : hexText(slot.raw);
}

/// The columns that say something in at least one row; the first one always.
void writeTable(const std::vector<TextTable::Column>& columns,
                const std::vector<std::vector<std::string>>& rows, OutputBuffer& out) {
    std::vector<std::size_t> shown;
    std::vector<TextTable::Column> names;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const bool saysSomething =
            std::any_of(rows.begin(), rows.end(), [i](const auto& row) { return !row[i].empty(); });
        if (i == 0 || saysSomething) {
            shown.push_back(i);
            names.push_back(columns[i]);
        }
    }
    TextTable table(names);
    for (const auto& row : rows) {
        std::vector<std::string> cells;
        for (const std::size_t i : shown) {
            cells.push_back(row[i]);
        }
        table.add(std::move(cells));
    }
    table.write(out);
}

std::string faultTexts(const SlotRecord& slot) {
    std::string text;
    for (const SlotFault fault : slot.faults) {
        text += (text.empty() ? "" : "; ") + faultText(fault, slot);
    }
    return text;
}

std::string faultNamesOf(const SlotRecord& slot) {
    std::string text;
    for (const SlotFault fault : slot.faults) {
        text.append(text.empty() ? "" : " ").append(faultName(fault));
    }
    return text;
}

} // namespace

std::string_view faultName(SlotFault fault) {
    return faultNames.at(static_cast<std::size_t>(fault));
}

std::string faultText(SlotFault fault, const SlotRecord& slot) {
    const std::string holder = "thread " + std::to_string(slot.holder);
    switch (fault) {
    case SlotFault::UnusableName:
        return "a name that cannot be shared";
    case SlotFault::KeyTaken:
        return "its key belongs to " + printable(slot.other);
    case SlotFault::WrongSize:
        return "wrong size, " + std::to_string(slot.size) + " bytes";
    case SlotFault::OtherSignal:
        return "holds " + printable(slot.signal) + ", not " + printable(slot.other);
    case SlotFault::KeyFileGone:
        return "key file gone";
    case SlotFault::KeyFileReplaced:
        return "key file replaced";
    case SlotFault::Removed:
        return "marked for removal";
    case SlotFault::LeftOver:
        return "left over";
    case SlotFault::HolderGone:
        return "locked by " + holder + ", which is gone";
    case SlotFault::HolderUnknown:
        return slot.holder == 0 ? "locked, nobody knows by whom"
                                : "locked by " + holder + " of another PID namespace";
    case SlotFault::HeldLong:
        return "locked by " + holder + " for over a second";
    case SlotFault::Missing:
    case SlotFault::Uninitialised:
    case SlotFault::Overwritten:
        break;
    }
    return std::string(faultName(fault));
}

void writeSlotTable(const std::vector<SlotRecord>& slots, const Catalog& catalog, std::uint64_t now,
                    OutputBuffer& out) {
    const std::vector<TextTable::Column> columns = {
        {"instance"},       {"signal"},        {"segment", true}, {"key", true}, {"owner"},        {"mode"},
        {"attached", true}, {"creator", true}, {"raw", true},     {"age", true}, {"what is wrong"}};
    std::vector<std::vector<std::string>> rows;
    for (const SlotRecord& slot : slots) {
        const auto found = catalog.storage().instancesByName.find(slot.instance);
        const BaseSignal* const signal =
            found == catalog.storage().instancesByName.end() ? nullptr : found->second;
        const bool isThere = exists(slot);
        rows.push_back({slot.instance.empty() ? "?" : printable(slot.instance), printable(slot.signal),
                        isThere ? std::to_string(slot.shmId) : "", keyText(slot.key),
                        isThere ? printable(userName(slot.owner)) : "", isThere ? modeText(slot.mode) : "",
                        isThere ? std::to_string(slot.attached) : "",
                        isThere ? std::to_string(slot.creator) : "", rawCell(slot, signal),
                        slot.isValid ? slotAge(now, slot.timestamp) : "", faultTexts(slot)});
    }
    writeTable(columns, rows, out);
}

void writeSlotCsv(const std::vector<SlotRecord>& slots, OutputBuffer& out) {
    out.append(
        "instance,signal,segment,key,size,owner,mode,attached,creator,valid,raw,time,lock,holder,faults,"
        "other\n");
    for (const SlotRecord& slot : slots) {
        const bool isThere = exists(slot), isKnown = slot.isReadable;
        const std::string cells[] = {csvSyntax.quote(slot.signal),
                                     isThere ? std::to_string(slot.shmId) : "",
                                     keyText(slot.key),
                                     isThere ? std::to_string(slot.size) : "",
                                     isThere ? csvSyntax.quote(userName(slot.owner)) : "",
                                     isThere ? modeText(slot.mode) : "",
                                     isThere ? std::to_string(slot.attached) : "",
                                     isThere ? std::to_string(slot.creator) : "",
                                     isKnown ? std::to_string(int{slot.isValid}) : "",
                                     slot.isValid ? std::to_string(slot.raw) : "",
                                     slot.isValid ? timeText(slot.timestamp) : "",
                                     isKnown ? std::to_string(slot.lockWord) : "",
                                     slot.holder != 0 ? std::to_string(slot.holder) : "",
                                     faultNamesOf(slot),
                                     csvSyntax.quote(slot.other)};
        std::string row = csvSyntax.quote(slot.instance);
        for (const std::string& cell : cells) {
            row += "," + cell;
        }
        out.append(row + "\n");
        out.endRow();
    }
}

void writeSlotJson(const std::vector<SlotRecord>& slots, OutputBuffer& out) {
    using nlohmann::ordered_json;
    for (const SlotRecord& slot : slots) {
        ordered_json object{{"instance", slot.instance}, {"expected", slot.isExpected}};
        if (!keyText(slot.key).empty()) {
            object["key"] = keyText(slot.key);
        }
        if (exists(slot)) {
            object.update({{"segment", slot.shmId},
                           {"size", slot.size},
                           {"owner", userName(slot.owner)},
                           {"mode", modeText(slot.mode)},
                           {"attached", slot.attached},
                           {"creator", slot.creator}});
        }
        if (slot.isReadable) {
            object.update({{"signal", slot.signal}, {"valid", slot.isValid}, {"lock", slot.lockWord}});
        }
        if (slot.isValid) {
            object.update({{"raw", slot.raw}, {"timestamp", slot.timestamp}});
        }
        if (slot.holder != 0) {
            object["holder"] = slot.holder;
        }
        if (!slot.other.empty()) {
            object["other"] = slot.other;
        }
        object["faults"] = ordered_json::array();
        for (const SlotFault fault : slot.faults) {
            object["faults"].push_back(faultName(fault));
        }
        out.append(object.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + "\n");
        out.endRow();
    }
}

} // namespace rksignal
