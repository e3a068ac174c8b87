// FlexRay and Ethernet of ARXML files: what becomes of it, as positions and remarks.

#include "ArxmlNotation.h"
#include "definition/arxml/ArxmlFile.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sstream>

namespace rksignal {
namespace {

/// `[5s 1/4 @0 update 9 pdu 257]`: slot, segment, base cycle and repetition, start bit.
void show(std::ostream& out, const flexRayPosition_t& at) {
    out << " [" << at.slot << (at.type ? "s " : "d ") << int{at.baseCycle} << '/' << int{at.repetition}
        << " @" << at.startBit << (at.updateBit ? " update " + std::to_string(*at.updateBit) : "")
        << (at.pduId ? " pdu " + std::to_string(*at.pduId) : "") << ']';
}

/// `[IPDU 1 10.0.0.1:2>10.0.0.2:3/17 v5 @0]`: identifier, source, destination, protocol, VLAN, start bit.
void show(std::ostream& out, const ethernetPosition_t& at) {
    out << " [" << at.ethSignalType << ' ' << at.pduId + (at.serviceId << 16) + at.methodEventId << ' '
        << inet_ntoa({at.sourceIp}) << ':' << at.sourcePort << '>';
    out << inet_ntoa({at.destinationIp}) << ':' << at.destinationPort << '/' << at.ipProtocol << " v"
        << (at.vlan ? at.vlanId : 0) << " @" << at.startBit << ']';
}

template <class Record>
std::string shown(const std::string& notation, std::optional<std::uint8_t> channel = {}) {
    const DefinitionFile file = parseArxml({{arxml(notation), "a"}}, channel);
    std::ostringstream out;
    for (const MessageDefinition& message : file.messages) {
        for (const SignalDefinition& signal : message.signals) {
            const Record& record = std::get<Record>(signal.record);
            out << record.instance << (message.channel ? "@" + std::to_string(*message.channel) : "") << ' '
                << int{record.bits} << (record.endian ? "b" : "l") << record.unit;
            for (const auto& position : record.positions) {
                show(out, position);
            }
            out << '\n';
        }
    }
    for (const Remark& remark : file.remarks) {
        out << remark.text << '\n';
    }
    return out.str();
}

const std::string pdus = R"(
I-SIGNAL(SHORT-NAME=A LENGTH=8) I-SIGNAL(SHORT-NAME=W LENGTH=16)
I-SIGNAL-I-PDU(SHORT-NAME=P CONTAINED-I-PDU-PROPS(HEADER-ID-SHORT-HEADER=257 HEADER-ID-LONG-HEADER=65537)
  I-SIGNAL-TO-PDU-MAPPINGS(
    I-SIGNAL-TO-I-PDU-MAPPING(SHORT-NAME=a I-SIGNAL-REF=/x/A START-POSITION=0)
    I-SIGNAL-TO-I-PDU-MAPPING(SHORT-NAME=w I-SIGNAL-REF=/x/W PACKING-BYTE-ORDER=MOST-SIGNIFICANT-BYTE-FIRST START-POSITION=15)))
I-SIGNAL-I-PDU(SHORT-NAME=Q I-SIGNAL-TO-PDU-MAPPINGS(
    I-SIGNAL-TO-I-PDU-MAPPING(SHORT-NAME=q I-SIGNAL-REF=/x/A START-POSITION=0 UPDATE-INDICATION-BIT-POSITION=9)))
MULTIPLEXED-I-PDU(SHORT-NAME=M SELECTOR-FIELD-LENGTH=8 SELECTOR-FIELD-START-POSITION=24
  DYNAMIC-PARTS(DYNAMIC-PART(DYNAMIC-PART-ALTERNATIVES(
    DYNAMIC-PART-ALTERNATIVE(I-PDU-REF=/x/Q SELECTOR-FIELD-CODE=1)))))
TRIGGERINGS(SHORT-NAME=t PDU-TRIGGERING(SHORT-NAME=P I-PDU-REF=/x/P) PDU-TRIGGERING(SHORT-NAME=Q I-PDU-REF=/x/Q))
CONTAINER-I-PDU(SHORT-NAME=Short HEADER-TYPE=SHORT-HEADER
  CONTAINED-PDU-TRIGGERING-REFS(CONTAINED-PDU-TRIGGERING-REF=/x/t/P))
CONTAINER-I-PDU(SHORT-NAME=Long HEADER-TYPE=LONG-HEADER
  CONTAINED-PDU-TRIGGERING-REFS(CONTAINED-PDU-TRIGGERING-REF=/x/t/P))
)";

/// A triggering of a frame in a slot; `cycles` is BASE/REPETITION, or one cycle.
std::string sent(const std::string& frame, const std::string& slot, const std::string& cycles) {
    const std::size_t slash = cycles.find('/');
    const std::string when = slash == std::string::npos
                                 ? "CYCLE-COUNTER(CYCLE-COUNTER=" + cycles + ")"
                                 : "CYCLE-REPETITION(BASE-CYCLE=" + cycles.substr(0, slash) +
                                       " CYCLE-REPETITION=CYCLE-REPETITION-" + cycles.substr(slash + 1) + ")";
    return "FLEXRAY-FRAME-TRIGGERING(SHORT-NAME=s" + slot + " FRAME-REF=/x/" + frame +
           " ABSOLUTELY-SCHEDULED-TIMINGS(FLEXRAY-ABSOLUTELY-SCHEDULED-TIMING(COMMUNICATION-CYCLE(" + when +
           ") SLOT-ID=" + slot + ")))";
}

TEST(ArxmlFlexRay, PutsPdusIntoSlotsAndCycles) {
    const auto cluster = [](const std::string& a, const std::string& b) {
        return pdus +
               "FLEXRAY-CLUSTER(SHORT-NAME=c NUMBER-OF-STATIC-SLOTS=30 PHYSICAL-CHANNELS("
               "FLEXRAY-PHYSICAL-CHANNEL(CHANNEL-NAME=CHANNEL-A FRAME-TRIGGERINGS(" +
               a +
               "))"
               "FLEXRAY-PHYSICAL-CHANNEL(CHANNEL-NAME=CHANNEL-B FRAME-TRIGGERINGS(" +
               b + "))))" + R"(
FLEXRAY-FRAME(SHORT-NAME=F PDU-TO-FRAME-MAPPINGS(
  PDU-TO-FRAME-MAPPING(SHORT-NAME=p PDU-REF=/x/P START-POSITION=0 UPDATE-INDICATION-BIT-POSITION=47)
  PDU-TO-FRAME-MAPPING(SHORT-NAME=q PDU-REF=/x/Q START-POSITION=24)))
FLEXRAY-FRAME(SHORT-NAME=G PDU-TO-FRAME-MAPPINGS(PDU-TO-FRAME-MAPPING(SHORT-NAME=q PDU-REF=/x/Q START-POSITION=8)))
FLEXRAY-FRAME(SHORT-NAME=H PDU-TO-FRAME-MAPPINGS(PDU-TO-FRAME-MAPPING(SHORT-NAME=q PDU-REF=/x/Short START-POSITION=0)))
FLEXRAY-FRAME(SHORT-NAME=I PDU-TO-FRAME-MAPPINGS(PDU-TO-FRAME-MAPPING(SHORT-NAME=l PDU-REF=/x/Long START-POSITION=0)
  PDU-TO-FRAME-MAPPING(SHORT-NAME=s PDU-REF=/x/Short START-POSITION=80)
  PDU-TO-FRAME-MAPPING(SHORT-NAME=m PDU-REF=/x/M START-POSITION=160))))";
    };
    const struct {
        const char* name;
        std::string a, b;
        std::optional<std::uint8_t> channel;
        const char* expected;
    } rows[] = {
        {"slots are messages, cycles positions; a later frame adds to a PDU of the slot",
         sent("F", "5", "1/4") + sent("F", "31", "7") + sent("G", "5", "2/4"),
         "",
         {},
         "P.A 8l [5s 1/4 @0 update 47]\nP.W 16b [5s 1/4 @15 update 47]\n"
         "Q.A 8l [5s 1/4 @24 update 33] [5s 2/4 @8 update 17]\n"
         "P.A 8l [31d 7/64 @0 update 47]\nP.W 16b [31d 7/64 @15 update 47]\nQ.A 8l [31d 7/64 @24 update "
         "33]\n"},
        {"one frame on both channels",
         sent("G", "5", "0/1"),
         sent("G", "5", "0/1"),
         {},
         "Q.A 8l [5s 0/1 @8 update 17]\n"},
        {"the same, bound", sent("G", "5", "0/1"), sent("G", "5", "0/1") + sent("G", "6", "0/1"), 4,
         "Q.A@4 8l [5s 0/1 @8 update 17]\nQ.A@5 8l [6s 0/1 @8 update 17]\n"
         "/x/c: frames that are sent on both channels are decoded from channel A\n"},
        {"different frames in a slot",
         sent("G", "5", "0/1"),
         sent("H", "5", "0/1") + sent("H", "6", "0/1"),
         {},
         "Q.A@0 8l [5s 0/1 @8 update 17]\nP.A@1 8l [5s 0/1 @0 pdu 257]\nP.W@1 16b [5s 0/1 @15 pdu 257]\n"
         "P.A 8l [6s 0/1 @0 pdu 257]\nP.W 16b [6s 0/1 @15 pdu 257]\n"
         "/x/c: channels A and B differ: slots in which they do are taken for those of channel 0 and 1\n"},
        {"what records cannot hold",
         sent("I", "5", "0/1") + sent("F", "0", "0/1") + sent("F", "5", "64/1"),
         "",
         {},
         "M.M_selector1 8l [5s 0/1 @184]\n"
         "/x/c/s0: frame without a valid slot and cycle, not decoded\n"
         "/x/c/s5: frame without a valid slot and cycle, not decoded\n"
         "/x/P: in a container with long headers, or not at the start of a frame of FlexRay; not decoded "
         "there\n"
         "/x/A: A: multiplexed signals are decoded of CAN only\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(shown<flexRaySignalDef_t>(cluster(row.a, row.b), row.channel), row.expected) << row.name;
    }
}

/// Sockets e (10.0.0.1, UDP 1000), f (IPv6, UDP 2000) and g (10.0.0.1, TCP 3000, with `statics`), of which e
/// and f exchange `identifiers`.
std::string ethernet(const std::string& identifiers, const std::string& statics = "",
                     const std::string& more = "") {
    return pdus + "ETHERNET-CLUSTER(SHORT-NAME=c PHYSICAL-CHANNELS(ETHERNET-PHYSICAL-CHANNEL(SHORT-NAME=n" +
           R"(
VLAN(VLAN-IDENTIFIER=5)
NETWORK-ENDPOINT(SHORT-NAME=E NETWORK-ENDPOINT-ADDRESSES(IPV-4-CONFIGURATION(IPV-4-ADDRESS=10.0.0.1)))
NETWORK-ENDPOINT(SHORT-NAME=F NETWORK-ENDPOINT-ADDRESSES(IPV-6-CONFIGURATION()))
PDU-TRIGGERINGS(PDU-TRIGGERING(SHORT-NAME=P I-PDU-REF=/x/P I-PDU-PORT-REFS(I-PDU-PORT-REF=/x/E/o))
 PDU-TRIGGERING(SHORT-NAME=L I-PDU-REF=/x/Long I-PDU-PORT-REFS(I-PDU-PORT-REF=/x/E/i))
 PDU-TRIGGERING(SHORT-NAME=Q I-PDU-REF=/x/Q))
SO-AD-CONFIG(CONNECTION-BUNDLES(SOCKET-CONNECTION-BUNDLE(SERVER-PORT-REF=/x/c/n/f BUNDLED-CONNECTIONS(
  SOCKET-CONNECTION(CLIENT-PORT-REF=/x/c/n/e PDUS()" +
           identifiers + R"()))))
 SOCKET-ADDRESSS(
  SOCKET-ADDRESS(SHORT-NAME=e CONNECTOR-REF=/x/E APPLICATION-ENDPOINT(NETWORK-ENDPOINT-REF=/x/c/n/E
    TP-CONFIGURATION(UDP-TP(UDP-TP-PORT(PORT-NUMBER=1000)))))
  SOCKET-ADDRESS(SHORT-NAME=f APPLICATION-ENDPOINT(NETWORK-ENDPOINT-REF=/x/c/n/F
    TP-CONFIGURATION(UDP-TP(UDP-TP-PORT(PORT-NUMBER=2000)))))
  SOCKET-ADDRESS(SHORT-NAME=g APPLICATION-ENDPOINT(NETWORK-ENDPOINT-REF=/x/c/n/E
    TP-CONFIGURATION(TCP-TP(TCP-TP-PORT(PORT-NUMBER=3000)))))" +
           statics + R"())))))
ECU(SHORT-NAME=E I-PDU-PORT(SHORT-NAME=o COMMUNICATION-DIRECTION=OUT) I-PDU-PORT(SHORT-NAME=i COMMUNICATION-DIRECTION=IN)))" +
           more;
}

std::string over(const std::string& triggering, const std::string& header = "") {
    return "SOCKET-CONNECTION-IPDU-IDENTIFIER(" + header + " PDU-TRIGGERING-REF=/x/" + triggering + ")";
}

TEST(ArxmlEthernet, PutsPdusIntoDatagrams) {
    const std::string ipv6 =
        "/x/c/n/F: its IPv6 address is not compared: frames from and to any address are decoded\n";
    const struct {
        const char* name;
        std::string description, expected;
    } rows[] = {
        {"a header, and its sender", ethernet(over("c/n/P", "HEADER-ID=7")),
         "P.A 8l [IPDU 7 10.0.0.1:1000>0.0.0.0:2000/17 v5 @0]\nP.W 16b [IPDU 7 10.0.0.1:1000>0.0.0.0:2000/17 "
         "v5 @15]\n" +
             ipv6},
        {"no header, and an unknown sender", ethernet(over("c/n/Q")),
         "Q.A 8l [DEFAULT 0 0.0.0.0:2000>10.0.0.1:1000/17 v5 @0] [DEFAULT 0 10.0.0.1:1000>0.0.0.0:2000/17 v5 "
         "@0]\n" +
             ipv6 + "/x/A: its update bit is not looked at\n"},
        {"references and headers that are none", ethernet(over("c/n/no", "HEADER-ID=x")),
         ipv6 + "/x/c/n/no: PDU-TRIGGERING-REF leads to no element of these files\n"
                "/x/c/n: HEADER-ID is no number of 32 bits; not decoded there\n"},
        {"a container takes the place of headers, but not in one",
         ethernet(over("c/n/L") + over("c/n/L", "HEADER-ID=8")),
         "P.A 8l [IPDU 65537 0.0.0.0:2000>10.0.0.1:1000/17 v5 @0]\nP.W 16b [IPDU 65537 "
         "0.0.0.0:2000>10.0.0.1:1000/17 v5 @15]\n" +
             ipv6 +
             "/x/P: in a container that Ethernet messages cannot be looked for in; not decoded there\n"},
        {"static connections, and identifiers of none",
         ethernet("", R"(STATIC-SOCKET-CONNECTIONS(STATIC-SOCKET-CONNECTION(SHORT-NAME=s I-PDU-IDENTIFIERS(
  SO-CON-I-PDU-IDENTIFIER-REF-CONDITIONAL(SO-CON-I-PDU-IDENTIFIER-REF=/x/i/used)))))",
                  R"(
SOCKET-CONNECTION-IPDU-IDENTIFIER-SET(SHORT-NAME=i I-PDU-IDENTIFIERS(
  SO-CON-I-PDU-IDENTIFIER(SHORT-NAME=used HEADER-ID=1 PDU-TRIGGERING-REF=/x/c/n/Q)
  SO-CON-I-PDU-IDENTIFIER(SHORT-NAME=open HEADER-ID=0xFFFFFFFF PDU-TRIGGERING-REF=/x/c/n/Q))))"),
         "Q.A 8l [IPDU 1 10.0.0.1:3000>0.0.0.0:0/6 v5 @0] [IPDU 1 0.0.0.0:0>10.0.0.1:3000/6 v5 @0]"
         " [IPDU 4294967295 0.0.0.0:0>0.0.0.0:0/0 v5 @0]\n" +
             ipv6 + "/x/A: its update bit is not looked at\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(shown<ethernetSignalDef_t>(row.description), row.expected) << row.name;
    }
}

/// A structure S of a byte, two structures T in an array, and what `last` is; T has a word and a float of the
/// platform.
std::string types(const std::string& last) {
    return R"(
IMPLEMENTATION-DATA-TYPE(SHORT-NAME=T CATEGORY=STRUCTURE SUB-ELEMENTS(
  IMPLEMENTATION-DATA-TYPE-ELEMENT(SHORT-NAME=w CATEGORY=VALUE SW-DATA-DEF-PROPS(SW-DATA-DEF-PROPS-VARIANTS(
    SW-DATA-DEF-PROPS-CONDITIONAL(BASE-TYPE-REF=/x/word))))
  IMPLEMENTATION-DATA-TYPE-ELEMENT(SHORT-NAME=f CATEGORY=TYPE_REFERENCE SW-DATA-DEF-PROPS(SW-DATA-DEF-PROPS-VARIANTS(
    SW-DATA-DEF-PROPS-CONDITIONAL(IMPLEMENTATION-DATA-TYPE-REF=/x/float32))))))
IMPLEMENTATION-DATA-TYPE(SHORT-NAME=float32 CATEGORY=VALUE)
STD-CPP-IMPLEMENTATION-DATA-TYPE(SHORT-NAME=uint8_t CATEGORY=VALUE)
SW-BASE-TYPE(SHORT-NAME=word BASE-TYPE-SIZE=16 BASE-TYPE-ENCODING=2C)
STD-CPP-IMPLEMENTATION-DATA-TYPE(SHORT-NAME=S CATEGORY=STRUCTURE SUB-ELEMENTS(
  CPP-IMPLEMENTATION-DATA-TYPE-ELEMENT(SHORT-NAME=b TYPE-REFERENCE(TYPE-REFERENCE-REF=/x/uint8_t))
  CPP-IMPLEMENTATION-DATA-TYPE-ELEMENT(SHORT-NAME=a CATEGORY=ARRAY ARRAY-SIZE=2 TEMPLATE-ARGUMENTS(
    CPP-TEMPLATE-ARGUMENT(TEMPLATE-TYPE-REF=/x/T)))
  CPP-IMPLEMENTATION-DATA-TYPE-ELEMENT(SHORT-NAME=l )" +
           last + R"()))
INTERFACE(SHORT-NAME=I VARIABLE-DATA-PROTOTYPE(SHORT-NAME=E TYPE-TREF=/x/S)))";
}

TEST(ArxmlSomeIp, LaysOutStructures) {
    const std::string serialized = R"(
TRIGGERINGS(SHORT-NAME=n PDU-TRIGGERING(SHORT-NAME=N I-PDU-REF=/x/N))
I-SIGNAL-I-PDU(SHORT-NAME=N I-SIGNAL-TO-PDU-MAPPINGS(I-SIGNAL-TO-I-PDU-MAPPING(SHORT-NAME=s I-SIGNAL-REF=/x/G)))
I-SIGNAL(SHORT-NAME=G SYSTEM-SIGNAL-REF=/x/G DATA-TRANSFORMATIONS(X(DATA-TRANSFORMATION-REF=/x/d))
  TRANSFORMATION-I-SIGNAL-PROPSS(SOMEIP-TRANSFORMATION-I-SIGNAL-PROPS(SOMEIP-TRANSFORMATION-I-SIGNAL-PROPS-VARIANTS(
    SOMEIP-TRANSFORMATION-I-SIGNAL-PROPS-CONDITIONAL(SIZE-OF-ARRAY-LENGTH-FIELDS=4 SIZE-OF-STRUCT-LENGTH-FIELDS=2)))))
DATA-TRANSFORMATION(SHORT-NAME=d TRANSFORMER-CHAIN-REFS(TRANSFORMER-CHAIN-REF=/x/s TRANSFORMER-CHAIN-REF=/x/e2e))
TRANSFORMATION-TECHNOLOGY(SHORT-NAME=s PROTOCOL=SOMEIP BUFFER-PROPERTIES(HEADER-LENGTH=64)
  TRANSFORMATION-DESCRIPTIONS(SOMEIP-TRANSFORMATION-DESCRIPTION(BYTE-ORDER=MOST-SIGNIFICANT-BYTE-LAST)))
TRANSFORMATION-TECHNOLOGY(SHORT-NAME=e2e PROTOCOL=E2E BUFFER-PROPERTIES(HEADER-LENGTH=96))
SYSTEM-MAPPING(SHORT-NAME=m DATA-MAPPINGS(SENDER-RECEIVER-TO-SIGNAL-MAPPING(SYSTEM-SIGNAL-REF=/x/G
  DATA-ELEMENT-IREF(TARGET-DATA-PROTOTYPE-REF=/x/I/E)))))";
    const std::string at = "[SOME/IP 553746434 0.0.0.0:0>0.0.0.0:0/0 v0 @"; // 0x21018002
    const std::string deployed = R"(
SOMEIP-SERVICE-INTERFACE-DEPLOYMENT(SHORT-NAME=d SERVICE-INTERFACE-ID=0x2101 METHOD-DEPLOYMENTS(X())
 EVENT-DEPLOYMENTS(SOMEIP-EVENT-DEPLOYMENT(SHORT-NAME=e EVENT-REF=/x/I/E EVENT-ID=0x8002))))";
    const std::string application = R"(
APPLICATION-RECORD-DATA-TYPE(SHORT-NAME=R CATEGORY=STRUCTURE ELEMENTS(
  APPLICATION-RECORD-ELEMENT(SHORT-NAME=v TYPE-TREF=/x/V) APPLICATION-RECORD-ELEMENT(SHORT-NAME=k TYPE-TREF=/x/K)))
APPLICATION-ARRAY-DATA-TYPE(SHORT-NAME=K CATEGORY=ARRAY
  ELEMENT(SHORT-NAME=i TYPE-TREF=/x/V ARRAY-SIZE-SEMANTICS=FIXED-SIZE MAX-NUMBER-OF-ELEMENTS=2))
APPLICATION-PRIMITIVE-DATA-TYPE(SHORT-NAME=V CATEGORY=VALUE SW-DATA-DEF-PROPS(SW-DATA-DEF-PROPS-VARIANTS(
  SW-DATA-DEF-PROPS-CONDITIONAL(UNIT-REF=/x/u)))) UNIT(SHORT-NAME=u DISPLAY-NAME=km)
DATA-TYPE-MAPPING-SET(SHORT-NAME=m DATA-TYPE-MAPS(
  DATA-TYPE-MAP(APPLICATION-DATA-TYPE-REF=/x/V IMPLEMENTATION-DATA-TYPE-REF=/x/sint16)))
IMPLEMENTATION-DATA-TYPE(SHORT-NAME=sint16 CATEGORY=VALUE)
INTERFACE(SHORT-NAME=I FIELD(SHORT-NAME=F TYPE-TREF=/x/R))
SOMEIP-SERVICE-INTERFACE-DEPLOYMENT(SHORT-NAME=d SERVICE-INTERFACE-ID=0x2101 FIELD-DEPLOYMENTS(
  SOMEIP-FIELD-DEPLOYMENT(SHORT-NAME=f FIELD-REF=/x/I/F NOTIFIER(EVENT-ID=0x8002) GET(METHOD-ID=1)))))";
    const struct {
        const char* name;
        std::string description, expected;
    } rows[] = {
        {"a field of application types", application,
         "F.v 16bkm " + at + "7]\nF.k_0 16bkm " + at + "23]\nF.k_1 16bkm " + at +
             "39]\n/x/d/f: its getter and setter are not decoded: call and answer have one identifier\n"},
        {"a service, most significant bytes first",
         types("TYPE-REFERENCE(TYPE-REFERENCE-REF=/x/uint8_t)") + deployed,
         "E.b 8b " + at + "7]\nE.a_0_w 16b " + at + "15]\nE.a_0_f 32b " + at + "31]\nE.a_1_w 16b " + at +
             "63]\nE.a_1_f 32b " + at + "79]\nE.l 8b " + at +
             "111]\n/x/d: its methods are not decoded: call and answer have one identifier\n"},
        {"up to a string", types("CATEGORY=STRING") + deployed,
         "E.b 8b " + at + "7]\nE.a_0_w 16b " + at + "15]\nE.a_0_f 32b " + at + "31]\nE.a_1_w 16b " + at +
             "63]\nE.a_1_f 32b " + at +
             "79]\n/x/S/l: values of variable size; it and what follows it in E is not decoded\n"
             "/x/d: its methods are not decoded: call and answer have one identifier\n"},
        // 12 bytes of E2E, 2 and a byte; 4 of the array, 2 and 6 bytes, 2 and 6 bytes
        {"lengths, a protected header and least significant bytes first",
         ethernet(over("n/N", "HEADER-ID=0x21018002")) + serialized + types("CATEGORY=STRING"),
         [] {
             std::string text;
             for (const auto& [name, bit] : {std::pair{"b 8l", 112},
                                             {"a_0_w 16l", 168},
                                             {"a_0_f 32l", 184},
                                             {"a_1_w 16l", 232},
                                             {"a_1_f 32l", 248}}) {
                 text += "N." + std::string(name) + " [SOME/IP 553746434 0.0.0.0:2000>10.0.0.1:1000/17 v5 @" +
                         std::to_string(bit) + "] [SOME/IP 553746434 10.0.0.1:1000>0.0.0.0:2000/17 v5 @" +
                         std::to_string(bit) + "]\n";
             }
             return text;
         }() +
             "/x/c/n/F: its IPv6 address is not compared: frames from and to any address are decoded\n"
             "/x/S/l: values of variable size; it and what follows it in N is not decoded\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(shown<ethernetSignalDef_t>(row.description), row.expected) << row.name;
    }
}

} // namespace
} // namespace rksignal
