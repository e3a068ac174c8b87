#include "definition/dbc/DbcText.h"

#include "definition/dbc/DbcLines.h"
#include "definition/dbc/DbcNames.h"
#include "text/NumberText.h"
#include "text/TextEncoding.h"

#include <cstdint>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace rksignal {
namespace {

using namespace dbc;

/// Writes the messages into the sections of the file, in which other sections refer to them by identifier.
class DbcWriter {
  public:
    explicit DbcWriter(const std::vector<MessageDefinition>& messages) {
        for (const MessageDefinition& message : messages) {
            if (const char* const reason = whyNotHeld(message)) {
                lose(reason, true);
            } else {
                Shared& shared = sharing.try_emplace(rawIdOf(message), Shared{&message, 0}).first->second;
                ++shared.count;
            }
        }
        for (const MessageDefinition& message : messages) {
            if (whyNotHeld(message) == nullptr) {
                write(message);
            }
        }
    }

    DbcText take() {
        std::string nodes = "BU_:";
        for (const std::string& node : nodeNames) {
            nodes += " " + node;
        }
        std::string text = dbc::head() + nodes + "\n\n" + frames + comments + attributeDefinitions() +
                           attributes + values + valueTypes + multiplexing;
        if (const auto narrow = utf8ToWindows1252(text);
            narrow && *narrow != text && findInvalidUtf8(*narrow)) {
            text = *narrow; // which cannot be taken for UTF-8
        }
        return {std::move(text), messageCount, signalCount, Counts(lost.begin(), lost.end())};
    }

  private:
    /// The messages of one identifier.
    struct Shared {
        const MessageDefinition* first;
        std::size_t count;
    };

    static const char* whyNotHeld(const MessageDefinition& message) {
        switch (message.kind) {
        case SignalKind::Can:
            return message.pduId ? "PDUs in containers" : nullptr;
        case SignalKind::Lin:
            return "messages of LIN";
        case SignalKind::FlexRay:
            return "messages of FlexRay";
        case SignalKind::Ethernet:
            return "messages of Ethernet";
        default:
            return "inputs";
        }
    }

    std::string text(const std::string& content) {
        lose("texts that end with a backslash, which get a blank", !canBeQuoted(content));
        return quoted(content);
    }

    void lose(const char* what, bool isLost) { lost[what] += isLost ? 1U : 0U; }

    void write(const MessageDefinition& message) {
        ++messageCount;
        const std::string id = std::to_string(rawIdOf(message));
        const std::string name = messageNames.add(message.name);
        signalNames.try_emplace(rawIdOf(message));
        frames += "BO_ " + id + " " + name + ": " + std::to_string(message.length) + " " +
                  node(message.sender) + "\n";
        const Shared& shared = sharing.at(rawIdOf(message));
        if (shared.first == &message) {
            writeAttributes(message, id);
        }
        lose("attributes of messages that share an identifier", !haveSameAttributes(*shared.first, message));
        if (name != message.name && shared.count == 1) {
            attributes += "BA_ \"SystemMessageLongSymbol\" BO_ " + id + " " + text(message.name) + ";\n";
        }
        lose("names that are taken", name != message.name && shared.count > 1);
        lose("channels of messages", message.channel.has_value());
        lose("classic frames of more than 8 bytes",
             message.length > 8 && !message.canFd && !message.isParameterGroup);
        writeSignals(message, id);
        frames += "\n";
    }

    /// What stands outside of the message's own lines, and is about all messages of its identifier.
    void writeAttributes(const MessageDefinition& message, const std::string& id) {
        const std::string object = " BO_ " + id + " ";
        if (!message.comment.empty()) {
            comments += "CM_" + object + text(message.comment) + ";\n";
        }
        const auto add = [&](const char* attribute, const std::string& value) {
            attributes += std::string("BA_ \"") + attribute + "\"" + object + value + ";\n";
        };
        if (message.cycleTime) {
            add("GenMsgCycleTime", doubleText(*message.cycleTime));
        }
        if (const int format = frameFormatOf(message); format != 0) {
            add("VFrameFormat", std::to_string(format));
        }
    }

    static bool haveSameAttributes(const MessageDefinition& left, const MessageDefinition& right) {
        return left.comment == right.comment && left.cycleTime == right.cycleTime &&
               dbc::frameFormatOf(left) == dbc::frameFormatOf(right);
    }

    /// The short names of the signals. A long name that another signal of the message has, or that is no
    /// plain text, is not kept.
    std::vector<std::string> nameSignals(const MessageDefinition& message, const std::string& id) {
        std::vector<std::string> wanted;
        for (const SignalDefinition& signal : message.signals) {
            wanted.push_back(nameIn(message, signal));
        }
        std::vector<std::string> names = signalNames.at(rawIdOf(message)).add(wanted);
        std::unordered_set<std::string> longNames;
        for (std::size_t i = 0; i < names.size(); ++i) {
            const std::string& longName = wanted[i];
            const std::string& name = names[i];
            const bool isKept = longNames.insert(longName).second && !longName.empty() &&
                                longName.find('"') == longName.npos && canBeQuoted(longName);
            lose("names that are taken", !isKept && name != longName);
            if (isKept && name != longName) {
                attributes +=
                    "BA_ \"SystemSignalLongSymbol\" SG_ " + id + " " + name + " " + text(longName) + ";\n";
            }
        }
        return names;
    }

    void writeSignals(const MessageDefinition& message, const std::string& id) {
        const std::vector<std::string> names = nameSignals(message, id);
        const std::vector<bool> multiplexers = multiplexersOf(message);
        const bool isExtended = hasExtendedMultiplexing(message, multiplexers);
        for (std::size_t i = 0; i < names.size(); ++i) {
            const SignalDefinition& signal = message.signals[i];
            if (signal.multiplexing && !signal.multiplexing->multiplexer) {
                lose("signals whose multiplexer is not known", true);
                continue;
            }
            ++signalCount;
            frames += signalLine(names[i], signal, multiplexers[i]);
            writeTexts(signal, id + " " + names[i]);
            if (isExtended && signal.multiplexing) {
                multiplexing += "SG_MUL_VAL_ " + id + " " + names[i] + " " +
                                names[*signal.multiplexing->multiplexer] + " " +
                                rangesText(*signal.multiplexing) + ";\n";
            }
        }
    }

    /// ` SG_ Speed m1 : 7|16@0+ (0.25,0) [0|16383.75] "rpm" Dash,Log`
    std::string signalLine(const std::string& name, const SignalDefinition& signal, bool isMultiplexer) {
        std::string line = " SG_ " + name + " ";
        if (signal.multiplexing) {
            line += "m" + std::to_string(signal.multiplexing->ranges.front().first);
        }
        line += isMultiplexer ? "M " : signal.multiplexing ? " " : "";
        line += layoutText(signal);
        for (const std::string& receiver : signal.receivers) {
            line += (&receiver == &signal.receivers.front() ? "" : ",") + node(receiver);
        }
        return line + (signal.receivers.empty() ? "Vector__XXX\n" : "\n");
    }

    /// The statements about a signal; `object` is its identifier and name.
    void writeTexts(const SignalDefinition& signal, const std::string& object) {
        const canSignalDef_t& record = signal.can();
        lose("texts that end with a backslash, which get a blank", !canBeQuoted(record.unit));
        lose("user-defined names", !record.udn.empty());
        lose("initial values", signal.initial.has_value());
        lose("invalid values", signal.invalid.has_value());
        if (!record.comment.empty()) {
            comments += "CM_ SG_ " + object + " " + text(record.comment) + ";\n";
        }
        if (record.type == signalValue_t::Float || record.type == signalValue_t::Double) {
            valueTypes +=
                "SIG_VALTYPE_ " + object + " : " + (record.type == signalValue_t::Float ? "1" : "2") + ";\n";
        }
        std::string texts;
        for (const auto& [raw, description] : record.valueDescriptions) {
            const auto value = wholeValue(record.type, raw);
            lose("texts of values that are no whole numbers", !value);
            texts += value ? " " + std::to_string(*value) + " " + text(description) : "";
        }
        values += texts.empty() ? "" : "VAL_ " + object + texts + " ;\n";
    }

    /// The short name of a node; the placeholder for none.
    std::string node(const std::string& name) {
        if (name.empty()) {
            return "Vector__XXX";
        }
        const auto [entry, isNew] = nodes.try_emplace(name);
        if (isNew) {
            entry->second = nodeNames.emplace_back(shortNodes.add(name));
            if (entry->second != name) {
                attributes += "BA_ \"SystemNodeLongSymbol\" BU_ " + entry->second + " " + text(name) + ";\n";
            }
        }
        return entry->second;
    }

    std::map<std::string, std::uint64_t> lost;
    std::unordered_map<std::uint32_t, Shared> sharing;
    std::unordered_map<std::uint32_t, DbcNames> signalNames; ///< by identifier, by which statements refer
    DbcNames messageNames;
    DbcNames shortNodes;
    std::unordered_map<std::string, std::string> nodes; ///< short by long name
    std::vector<std::string> nodeNames;
    std::size_t messageCount = 0;
    std::size_t signalCount = 0;
    // The sections of the file:
    std::string frames, comments, attributes, values, valueTypes, multiplexing;
};

} // namespace

DbcText dbcText(const std::vector<MessageDefinition>& messages) {
    return DbcWriter(messages).take();
}

} // namespace rksignal
