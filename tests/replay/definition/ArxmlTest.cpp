/// \file
/// AUTOSAR XML: what system descriptions define, and what is said about what is broken or not decoded.
#include "definition/arxml/ArxmlFile.h"
#include "replay/definition/ShownMessages.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace rksignal::arxmltest {
namespace {

/// Elements written a line each as `A/B@KEY=VALUE text`, children further in: the text is the SHORT-NAME of
/// an element with children, and the content of others. Every element begins on the line of its own.
std::string xmlOf(const std::string& outline) {
    std::istringstream lines(outline);
    std::string xml, line;
    std::vector<std::pair<std::size_t, std::string>> open; // depth and end tags
    std::vector<std::pair<std::size_t, std::string>> rows;
    while (std::getline(lines, line)) {
        const std::size_t depth = line.find_first_not_of(' ');
        rows.emplace_back(depth == line.npos ? 0 : depth, depth == line.npos ? "" : line.substr(depth));
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& [depth, row] = rows[i];
        for (; !open.empty() && open.back().first >= depth; open.pop_back()) {
            xml += open.back().second;
        }
        const std::size_t blank = std::min(row.find(' '), row.size());
        std::istringstream tags(row.substr(0, blank));
        const std::string text = row.substr(std::min(blank + 1, row.size()));
        std::string ends, tag;
        while (std::getline(tags, tag, '/')) {
            const std::size_t at = std::min(tag.find('@'), tag.size());
            xml += "<" + tag.substr(0, at);
            std::istringstream attributes(tag.substr(at));
            for (std::string each; std::getline(attributes, each, '@');) {
                const std::size_t equals = each.find('=');
                xml += each.empty() ? ""
                                    : " " + each.substr(0, equals + 1) + '"' + each.substr(equals + 1) + '"';
            }
            xml += ">";
            ends.insert(0, "</" + tag.substr(0, at) + ">");
        }
        const bool hasChildren = i + 1 < rows.size() && rows[i + 1].first > depth;
        xml += hasChildren && !text.empty() ? "<SHORT-NAME>" + text + "</SHORT-NAME>" : text;
        open.emplace_back(depth, ends);
        xml += "\n";
    }
    for (; !open.empty(); open.pop_back()) {
        xml += open.back().second;
    }
    return "<AUTOSAR><AR-PACKAGES>" + xml + "</AR-PACKAGES></AUTOSAR>";
}

/// The frame F of the identifier 1A2 and 16 bytes with the PDU /p/P, then the elements of the package p.
std::string systemOf(const std::string& elements) {
    return R"(AR-PACKAGE bus
 ELEMENTS
  CAN-CLUSTER Bus
   CAN-CLUSTER-VARIANTS/CAN-CLUSTER-CONDITIONAL/PHYSICAL-CHANNELS/CAN-PHYSICAL-CHANNEL Channel
    FRAME-TRIGGERINGS/CAN-FRAME-TRIGGERING Triggering
     FRAME-REF@DEST=CAN-FRAME /bus/F
     IDENTIFIER 0x1A2
  CAN-FRAME F
   FRAME-LENGTH 16
   PDU-TO-FRAME-MAPPINGS/PDU-TO-FRAME-MAPPING M
    PDU-REF /p/P
    START-POSITION 0
AR-PACKAGE p
 ELEMENTS
)" + elements;
}

/// An I-SIGNAL of the package p in a PDU.
std::string mapping(const std::string& signal, int start, const char* order = "LAST") {
    return "    I-SIGNAL-TO-I-PDU-MAPPING M_" + signal + "\n     I-SIGNAL-REF@DEST=I-SIGNAL /p/" + signal +
           "\n     PACKING-BYTE-ORDER MOST-SIGNIFICANT-BYTE-" + order + "\n     START-POSITION " +
           std::to_string(start) + "\n";
}

std::string pdu(const std::string& name, const std::string& mappings, const std::string& more = "") {
    return "  I-SIGNAL-I-PDU " + name + "\n   LENGTH 4\n" + more + "   I-SIGNAL-TO-PDU-MAPPINGS\n" + mappings;
}

std::string signal(const std::string& name, int bits, const std::string& more = "") {
    return "  I-SIGNAL " + name + "\n   LENGTH " + std::to_string(bits) + "\n" + more;
}

/// A PDU with one signal of 8 bits at its start, called as the PDU with an s behind.
std::string plain(const std::string& name, const std::string& more = "") {
    return pdu(name, mapping(name + "s", 0), more) + signal(name + "s", 8);
}

/// What references to PDUs from containers and secured PDUs lead to.
std::string triggering(const std::string& name) {
    return "  PDU-TRIGGERING T_" + name + "\n   I-PDU-REF /p/" + name + "\n";
}

struct Row {
    const char* name;
    std::string text;
    std::string found; ///< messages as shown, then the remarks
};

std::string foundIn(const DefinitionFile& file) {
    std::ostringstream out;
    out << shown(file.messages);
    for (const Remark& remark : file.remarks) {
        out << "GDE"[static_cast<int>(remark.severity)] << ' ' << remark << '\n';
    }
    return out.str();
}

const std::string properties =
    "   NETWORK-REPRESENTATION-PROPS/SW-DATA-DEF-PROPS-VARIANTS/SW-DATA-DEF-PROPS-CONDITIONAL\n";

const Row rows[] = {
    {"what signals say",
     systemOf(pdu("P", mapping("S", 7, "FIRST") + mapping("T", 32) + mapping("U", 200),
                  R"(   DESC/L-2@L=DE Meldung
   I-PDU-TIMING-SPECIFICATIONS/I-PDU-TIMING/TRANSMISSION-MODE-DECLARATION/TRANSMISSION-MODE-TRUE-TIMING
    CYCLIC-TIMING/TIME-PERIOD/VALUE 0.02
)") + signal("S", 12, properties + R"(    BASE-TYPE-REF /p/int
   SYSTEM-SIGNAL-REF /p/Sys
)") + signal("T", 32, properties + "    BASE-TYPE-REF /AUTOSAR_Platform/BaseTypes/float32\n") +
              signal("U", 8, properties + "    COMPU-METHOD-REF /p/None\n") + R"(  SYSTEM-SIGNAL Sys
   DESC
    L-2@L=DE Geschwindigkeit
    L-2@L=EN Speed
   PHYSICAL-PROPS/SW-DATA-DEF-PROPS-VARIANTS/SW-DATA-DEF-PROPS-CONDITIONAL
    COMPU-METHOD-REF /p/C
    DATA-CONSTR-REF /p/D
  SW-BASE-TYPE int
   BASE-TYPE-ENCODING 2C
  DATA-CONSTR D
   DATA-CONSTR-RULES/DATA-CONSTR-RULE/INTERNAL-CONSTRS
    LOWER-LIMIT -20
    UPPER-LIMIT 010
  COMPU-METHOD C
   UNIT-REF /p/Speed
   COMPU-INTERNAL-TO-PHYS/COMPU-SCALES/COMPU-SCALE/COMPU-RATIONAL-COEFFS
    COMPU-NUMERATOR
     V 5
     V -1
    COMPU-DENOMINATOR/V 4
  UNIT Speed
   DISPLAY-NAME km/h
)"),
     R"(F 1a2 [16 fd] # Meldung every 20 ms
 S : 7|12@0- (-0.25,1.25) [-0.75|6.25] "km/h" # Speed
 T : 32|32@1 float (1,0) [0|0] ""
 U : 200|8@1+ (1,0) [0|0] ""
D t.arxml:41: /AUTOSAR_Platform/BaseTypes/float32: BASE-TYPE-REF leads to no element of these files
D t.arxml:45: /p/None: COMPU-METHOD-REF leads to no element of these files
)"},
    {"what cannot be decoded",
     systemOf(pdu("P", mapping("Wide", 0) + mapping("Far", 505) + mapping("None", 0)) + signal("Wide", 65) +
              signal("Far", 8)),
     R"(F 1a2 [16 fd]
D t.arxml:18: /p/P/M_Wide: signal of 65 bits, not decoded
D t.arxml:27: /p/None: I-SIGNAL-REF leads to no element of these files
D t.arxml:32: /p/Far: signal that ends beyond the 64 bytes that F can have, not decoded
)"},
    {"multiplexed, with the selector in the alternatives, one of two codes",
     systemOf(R"(  MULTIPLEXED-I-PDU P
   SELECTOR-FIELD-START-POSITION 7
   SELECTOR-FIELD-LENGTH 4
   SELECTOR-FIELD-BYTE-ORDER MOST-SIGNIFICANT-BYTE-FIRST
   STATIC-PARTS/STATIC-PART/I-PDU-REF /p/B
   DYNAMIC-PARTS/DYNAMIC-PART/DYNAMIC-PART-ALTERNATIVES
    DYNAMIC-PART-ALTERNATIVE
     I-PDU-REF /p/A
     SELECTOR-FIELD-CODE 1
    DYNAMIC-PART-ALTERNATIVE
     I-PDU-REF /p/P
     SELECTOR-FIELD-CODE 2
    DYNAMIC-PART-ALTERNATIVE
     I-PDU-REF /p/A
     SELECTOR-FIELD-CODE 0b11
)" + pdu("A", mapping("Sel", 7, "FIRST") + mapping("S", 8)) +
              plain("B") + signal("Sel", 4) + signal("S", 8)),
     R"(F 1a2 [16 fd]
 F_selector1* : 7|4@0+ (1,0) [0|0] ""
 S < F_selector1 1-1 3-3 : 8|8@1+ (1,0) [0|0] ""
 Bs ...
D t.arxml:15: /p/P: PDU that holds itself, not decoded
)"},
    {"secured: freshness value and authenticator behind the payload, which a header precedes",
     systemOf(R"(  SECURED-I-PDU P
   LENGTH 24
   USE-SECURED-PDU-HEADER SECURED-PDU-HEADER-16-BIT
   PAYLOAD-REF /p/T_A
   FRESHNESS-PROPS-REF /p/Fresh
   SECURE-COMMUNICATION-PROPS
    AUTH-INFO-TX-LENGTH 70
  SECURE-COMMUNICATION-FRESHNESS-PROPS Fresh
   FRESHNESS-VALUE-TX-LENGTH 4
)" + triggering("A") +
              plain("A")),
     R"(F 1a2 [16 fd]
 As : 16|8@1+ (1,0) [0|0] ""
 F_Freshness : 55|4@0+ (1,0) [0|0] ""
 F_Authenticator : 51|60@0+ (1,0) [0|0] ""
 F_Authenticator_2 : 119|10@0+ (1,0) [0|0] ""
)"},
    {"a container with short headers",
     systemOf(R"(  CONTAINER-I-PDU P
   HEADER-TYPE SHORT-HEADER
   CONTAINED-PDU-TRIGGERING-REFS
    CONTAINED-PDU-TRIGGERING-REF /p/T_A
    CONTAINED-PDU-TRIGGERING-REF /p/T_B
)" + triggering("A") +
              triggering("B") + plain("B") +
              plain("A", "   CONTAINED-I-PDU-PROPS/HEADER-ID-SHORT-HEADER 0x0a0b0c\n")),
     R"(A 1a2 [4 fd] in short header a0b0c
 As ...
D t.arxml:24: /p/B: there is no identifier for its header in a container; not decoded
)"},
    {"a container without headers",
     systemOf(R"(  CONTAINER-I-PDU P
   HEADER-TYPE NO-HEADER
   CONTAINED-PDU-TRIGGERING-REFS
    CONTAINED-PDU-TRIGGERING-REF /p/T_A
    CONTAINED-PDU-TRIGGERING-REF /p/T_B
)" + triggering("A") +
              triggering("B") + plain("A", "   CONTAINED-I-PDU-PROPS/OFFSET 0\n") +
              plain("B", "   CONTAINED-I-PDU-PROPS/OFFSET 9\n")),
     "F 1a2 [16 fd]\n As ...\n Bs : 72|8@1+ (1,0) [0|0] \"\"\n"},
    {"no signals, and none that is known", systemOf("  DCM-I-PDU P\n   LENGTH 8\n"),
     "F 1a2 [16 fd]\nG t.arxml:15: /p/P: DCM-I-PDU has no signals; its content is not decoded\n"},
};

TEST(Arxml, FramesAreReadWithNotesAboutWhatIsNotDecoded) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(foundIn(parseArxml({{xmlOf(row.text), "t.arxml"}})), row.found);
    }
}

struct MethodRow {
    const char* name;
    std::string scales; ///< in the COMPU-METHOD C
    std::string found;
};

std::string scale(const std::string& lower, const std::string& upper, const std::string& more) {
    return "    COMPU-SCALE\n     LOWER-LIMIT " + lower + "\n     UPPER-LIMIT " + upper + "\n" + more;
}

std::string text(const std::string& text) {
    return "     COMPU-CONST/VT " + text + "\n";
}

std::string line(const std::string& offset, const std::string& factor, const std::string& divisor) {
    return "     COMPU-RATIONAL-COEFFS\n      COMPU-NUMERATOR\n       V " + offset + "\n       V " + factor +
           "\n      COMPU-DENOMINATOR\n       V " + divisor + "\n";
}

TEST(Arxml, CompuMethodsGiveScalingRangeAndTexts) {
    const std::string notLinear = "D t.arxml:26: /p/C: is not linear; physical values are the raw ones\n";
    const MethodRow methodRows[] = {
        {"linear", scale("-2", "10", line("40", "10", "4")), "(2.5,10) [5|35] \"\"\n"},
        {"texts of values and short ranges beside the line",
         scale("0", "100", line("0", "0.5", "1")) + scale("0xFE", "255", text("none")) +
             scale("-1", "-1", text("less")),
         "(0.5,0) [0|50] \"\" {254 none} {255 none} {18446744073709551615 less}\n"},
        {"texts of too many values, and of a range without its first",
         scale("0", "256", text("much")) +
             "    COMPU-SCALE\n     LOWER-LIMIT@INTERVAL-TYPE=OPEN 1\n     UPPER-LIMIT 3\n" + text("x"),
         "(1,0) [0|0] \"\" {2 x} {3 x}\n"
         "D t.arxml:26: /p/C: text \"much\" is that of more than 256 values; left out\n"},
        {"two lines of one function",
         scale("0", "9", line("0", "2", "1")) + scale("20", "29", line("0", "4", "2")),
         "(2,0) [0|58] \"\"\n"},
        {"lines that differ", scale("0", "9", line("0", "2", "1")) + scale("10", "20", line("0", "3", "1")),
         "(2,0) [0|18] \"\"\nD t.arxml:26: /p/C: has several linear pieces; only the first is taken\n"},
        {"a constant", scale("0", "9", line("7", "0", "1")), "(1,0) [0|0] \"\"\n" + notLinear},
        {"no division by zero", scale("0", "9", line("0", "1", "0")), "(1,0) [0|0] \"\"\n" + notLinear},
        {"infinite bounds", scale("-INF", "INF", line("1", "1", "1")), "(1,1) [0|0] \"\"\n"},
        {"bits", scale("1", "1", "     MASK 1\n" + text("a")) + scale("4", "4", "     MASK 6\n" + text("b")),
         "(1,0) [0|0] \"\" {1 a} {3 a} {4 b} {5 a|b} {7 a}\n"},
    };
    for (const MethodRow& row : methodRows) {
        SCOPED_TRACE(row.name);
        const std::string method = "  COMPU-METHOD C\n   COMPU-INTERNAL-TO-PHYS/COMPU-SCALES\n" + row.scales;
        const std::string all = systemOf(pdu("P", mapping("S", 0)) +
                                         signal("S", 3, properties + "    COMPU-METHOD-REF /p/C\n") + method);
        EXPECT_EQ(foundIn(parseArxml({{xmlOf(all), "t.arxml"}})), "F 1a2 [16 fd]\n S : 0|3@1+ " + row.found);
    }
}

/// `can 9 from ECU`, then ` Message.Signal@3 initial 1 invalid 2 to ECU` of each signal, then the remarks.
std::string signalsOf(const DefinitionFile& file) {
    std::ostringstream out;
    const auto show = [&out](const char* what, const std::optional<std::uint64_t>& value) {
        out << (value ? what + std::to_string(*value) : "");
    };
    for (const MessageDefinition& message : file.messages) {
        out << kindName(message.kind) << ' ' << message.id << " from " << message.sender << '\n';
        for (const SignalDefinition& each : message.signals) {
            out << ' ' << each.common().instance << '@' << int{each.common().channel};
            show(" initial ", each.initial);
            show(" invalid ", each.invalid);
            for (const std::string& receiver : each.receivers) {
                out << " to " << receiver;
            }
            out << '\n';
        }
    }
    for (const Remark& remark : file.remarks) {
        out << remark << '\n';
    }
    return out.str();
}

/// AUTOSAR 3 in two files; the first refers to the second relatively.
const std::string buses = R"(AR-PACKAGE bus
 REFERENCE-BASES/REFERENCE-BASE
  SHORT-LABEL signals
  PACKAGE-REF /lib/s
 ELEMENTS
  CAN-CLUSTER Body
   PHYSICAL-CHANNELS/PHYSICAL-CHANNEL Ch
    FRAME-TRIGGERINGSS/CAN-FRAME-TRIGGERING T
     FRAME-REF /bus/F
     FRAME-PORT-REFS/FRAME-PORT-REF /bus/Door/Out
     CAN-ADDRESSING-MODE EXTENDED
     IDENTIFIER 9
  LIN-CLUSTER Seat
   PHYSICAL-CHANNELS/PHYSICAL-CHANNEL Ch
    FRAME-TRIGGERINGSS/LIN-FRAME-TRIGGERING T
     FRAME-REF /bus/F
     IDENTIFIER 51
  FRAME F
   FRAME-LENGTH 2
   PDU-TO-FRAME-MAPPINGS/PDU-TO-FRAME-MAPPING M
    PDU-REF /bus/P
    START-POSITION 8
  SIGNAL-I-PDU P
   SIGNAL-TO-PDU-MAPPINGS/I-SIGNAL-TO-I-PDU-MAPPING M
    SIGNAL-REF@BASE=signals@DEST=I-SIGNAL S
    START-POSITION 0
  ECU-INSTANCE Door
   COMMUNICATION-PORT-INSTANCES/FRAME-PORT Out
    COMMUNICATION-DIRECTION OUT
   ASSOCIATED-I-PDU-GROUP-REFS/ASSOCIATED-I-PDU-GROUP-REF /bus/In
  I-PDU-GROUP In
   COMMUNICATION-DIRECTION IN
   I-PDU-REFS/I-PDU-REF /bus/P
)";
const std::string library = R"(AR-PACKAGE lib
 SUB-PACKAGES/AR-PACKAGE s
  ELEMENTS
   I-SIGNAL S
    SYSTEM-SIGNAL-REF /lib/s/Sys
   SYSTEM-SIGNAL Sys
    LENGTH 4
    DATA-TYPE-REF /lib/s/Type
    INIT-VALUE-REF /lib/s/One/literal
   INTEGER-TYPE Type
    LOWER-LIMIT -8
    UPPER-LIMIT 7
    SW-DATA-DEF-PROPS/INVALID-VALUE/INTEGER-LITERAL Minus
     VALUE -8
   CONSTANT-SPECIFICATION One
    VALUE/INTEGER-LITERAL literal
     VALUE 0x1
)";

TEST(Arxml, FilesAreReadTogetherAndClustersChosen) {
    const std::string can = "can 9 from Door\n F.S@3 initial 1 invalid 18446744073709551608 to Door\n";
    const std::string lin = "lin 51 from \n F.S@4 initial 1 invalid 18446744073709551608 to Door\n";
    const auto read = [](const std::vector<ClusterChoice>& clusters) {
        return parseArxml({{xmlOf(buses), "a.arxml"}, {xmlOf(library), "b.arxml"}}, std::uint8_t{3},
                          clusters);
    };
    EXPECT_EQ(signalsOf(read({{"Body", {}}, {"Seat", std::uint8_t{4}}})), can + lin);
    EXPECT_EQ(signalsOf(read({{"Seat", std::uint8_t{4}}})), lin);
    EXPECT_EQ(read({}).clusters, (std::vector<std::string>{"Body", "Seat"}));
    EXPECT_EQ(parseArxml({{xmlOf(buses), "a.arxml"}, {xmlOf(buses), "b.arxml"}}).messages.size(), 2);
    EXPECT_EQ(signalsOf(parseArxml({{xmlOf(buses), "a.arxml"}}, {}, {{"Seat", {}}})),
              "lin 51 from \na.arxml:25: /lib/s/S: SIGNAL-REF leads to no element of these files\n");
    EXPECT_EQ(signalsOf(parseArxml({{"<AUTOSAR>\n<A></B>", "c.arxml"}, {"<a/>", "d.arxml"}})),
              "c.arxml:2: not well-formed XML, and not read further: Start-end tags mismatch\n"
              "d.arxml: not AUTOSAR XML: there is no element AUTOSAR\n");
}

} // namespace
} // namespace rksignal::arxmltest
