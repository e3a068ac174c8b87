/// \file
/// KCD, SYM and LDF text: what it defines, and what is said about what is broken, doubtful or not used.
#include "definition/kcd/KcdFile.h"
#include "definition/ldf/LdfFile.h"
#include "definition/sym/SymFile.h"
#include "replay/definition/ShownMessages.h"

#include <gtest/gtest.h>

#include <sstream>

namespace rksignal {
namespace {

struct FieldRow {
    const char* name;
    std::string text;
    std::string remarks; ///< `LINE message`, a line each
    std::string messages;
};

void expectFields(const DefinitionFile& file, const FieldRow& row) {
    SCOPED_TRACE(row.name);
    std::ostringstream remarks;
    for (const Remark& remark : file.remarks) {
        remarks << remark.line << ' ' << remark.message() << '\n';
    }
    EXPECT_EQ(remarks.str(), row.remarks);
    EXPECT_EQ(shown(file.messages), row.messages);
    EXPECT_FALSE(file.choosesInstances);
}

TEST(Kcd, IsReadWithRemarks) {
    const FieldRow rows[] = {
        {"signals and labels", R"(<Node id="1" name="Motor ACME"/><Node id="2" name="Dash"/>
<Bus name="B">
<Message id="0x00A" name="M" length="4" interval="100"><Notes> A note </Notes>
<Producer><NodeRef id="1"/></Producer>
<Signal name="S" offset="3" length="12"><Consumer><NodeRef id="2"/></Consumer>
<Value slope="0.05" intercept="-40" unit="Cel" min="-40" type="signed"/>
<LabelSet><Label name="off" value="0"/><LabelGroup name="x" from="5" to="6"/>
<Label name="none" value="-1" type="invalid"/></LabelSet></Signal>
<Signal name="F" offset="16" length="16" endianess="big"/></Message>
<Message id="500" name="E" format="extended"><Signal name="D" offset="64" length="64">
<Value type="double"/></Signal></Message></Bus>)",
         "",
         "M@3 a [4] Motor ACME # A note every 100 ms\n"
         " S : 3|12@1- (0.05,-40) [-40|62.35] \"Cel\" !18446744073709551615 Dash {0 off} {5 x} {6 x}"
         " {18446744073709551615 none}\n"
         " F : 23|16@0+ (1,0) [0|0] \"\"\n"
         "E@3 1f4x [16 fd]\n D : 64|64@1 double (1,0) [0|0] \"\"\n"},
        {"multiplexers", R"(<Bus name="B"><Message id="1" name="M" length="8">
<Multiplex name="X" offset="0" length="2"><MuxGroup count="1"><Signal name="A" offset="8"/></MuxGroup>
<MuxGroup count="0x2"><Signal name="A" offset="9"/></MuxGroup><MuxGroup count="z"/></Multiplex>
</Message></Bus>)",
         "4 signal A of message M is defined again; it is called A#2\n"
         "4 MuxGroup dropped: its count is missing or no number\n",
         "M@3 1 [8]\n X* : 0|2@1+ (1,0) [0|0] \"\"\n A < X 1-1 : 8|1@1+ (1,0) [0|0] \"\"\n"
         " A#2 < X 2-2 : 9|1@1+ (1,0) [0|0] \"\"\n"},
        {"what is broken", R"(<Bus name="B"><Message name="N"/><Message id="0x800" name="O"/>
<Message id="1" name="M" length="1"><Signal name="S" offset="8"/>
<Signal name="W" offset="0" length="65"/><Signal offset="0"/>
<Signal name="T" offset="0"><Value slope="a" type="t"/><LabelSet><LabelGroup name="g" from="0" to="999"/>
<Label name="l"/></LabelSet></Signal></Message>
<Message id="2" name="P"/></Message>)",
         "2 message N dropped: its id is missing, no number or too large\n"
         "2 message O dropped: its identifier 2048 is more than 2047\n"
         "3 signal S of message M reaches to byte 2 of a message of 1 bytes; kept\n"
         "4 signal W of message M dropped: it is wider than 64 bits\n"
         "4 signal  of message M dropped: its name, offset or length is missing, no number or too large\n"
         "5 slope of Value ignored: \"a\" is no number\n5 type t is unknown; unsigned is taken\n"
         "5 label g of signal T dropped: it is for too many values\n"
         "6 label l of signal T dropped: its value is missing or no number\n"
         "7 not well-formed XML, and not read further: Start-end tags mismatch\n",
         "M@3 1 [1]\n S : 8|1@1+ (1,0) [0|0] \"\"\n T : 0|1@1+ (1,0) [0|0] \"\"\nP@3 2 [0]\n"},
    };
    for (const FieldRow& row : rows) {
        expectFields(parseKcd("<NetworkDefinition>\n" + row.text + "</NetworkDefinition>", "t.kcd", 3), row);
    }
}

TEST(Kcd, ReadsTheBusesThatAreChosen) {
    const std::string text = R"(<NetworkDefinition><Bus name="A"><Message id="1" name="M"/></Bus>
<Bus name="B"><Message id="2" name="N"/></Bus></NetworkDefinition>)";
    const DefinitionFile file = parseKcd(text, "t.kcd", {}, {{"B", std::uint8_t{5}}});
    EXPECT_EQ(file.clusters, (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(shown(file.messages), "N@5 2 [0]\n");
}

TEST(Sym, IsReadWithRemarks) {
    const FieldRow rows[] = {
        {"version 5.0", R"(FormatVersion=5.0
{ENUMS}
enum Switch(0="off", // of it
  1="on, \"x\"")
{SENDRECEIVE}
[Ext]
ID=1F4h // of a note
Type=Extended
DLC=8
CycleTime=100
Var=Speed unsigned 3,12 /u:"km / h" /f:0.5 /o:-10 /max:100 /d:20 // fast
Var=T signed 16,8 -m
Var="a name" Switch 24 , 2
Var=F float 32,32 -h)",
         "",
         "Ext@3 1f4x [8] # of a note every 100 ms\n"
         " Speed : 3|12@1+ (0.5,-10) [-10|100] \"km / h\" =60 # fast\n T : 23|8@0- (1,0) [0|0] \"\"\n"
         " a name : 24|2@1+ (1,0) [0|0] \"\" {0 off} {1 on, \"x\"}\n F : 32|32@1 float (1,0) [0|0] \"\"\n"},
        {"version 6.0", R"({SIGNALS}
Sig=Level unsigned 11 -m /e:Switch /min:0 /max:1
Sig=Bit bit
{ENUMS}
Enum=Switch(-1="minus")
{RECEIVE}
[Two]
ID=00000022h-00000023h
Sig=Level 2
[Fd]
ID=100h,7FFh
Type=FDStandard
Len=12
Sig=Bit 95)",
         "",
         "Two@3 22x [8]\n Level : 5|11@0+ (1,0) [0|1] \"\" {18446744073709551615 minus}\n"
         "Two@3 23x [8]\n Level : 5|11@0+ (1,0) [0|1] \"\" {18446744073709551615 minus}\n"
         "Fd@3 100 [12 fd]\n Bit : 95|1@1+ (1,0) [0|0] \"\"\n"
         "Fd@3 7ff [12 fd]\n Bit : 95|1@1+ (1,0) [0|0] \"\"\n"},
        {"multiplexers", R"({SEND}
[M]
ID=1h
Mux=First 0,8 0Ah -m
Var=A unsigned 8,4
Var=All unsigned 16,4
[M]
Mux="Second one" 0,8 11-12 -m
Var=All unsigned 16,4
Var=A unsigned 9,4)",
         "10 signal A of message M is defined again; it is called A#2\n",
         "M@3 1 [8]\n First* : 7|8@0+ (1,0) [0|0] \"\" {10 First} {11 Second one}\n"
         " A < First 10-10 : 8|4@1+ (1,0) [0|0] \"\"\n"
         " All < First 10-10 11-12 : 16|4@1+ (1,0) [0|0] \"\"\n"
         " A#2 < First 11-12 : 9|4@1+ (1,0) [0|0] \"\"\n"},
        {"what is broken", R"(nonsense
{ENUMS}
Enum=Open(0="a"
{SEND}
[NoId]
Var=A unsigned 0,8
[NoId]
[Rtr]
ID=1h
Type=RTR
[Bad]
ID=2h
Len=65
Var=A nothing 0,8
Var=B unsigned
Var=C string 0,72
Var=D unsigned 0,8 /q:1 /f:x /e:None
Sig=E 0
Key=1
[M
[Mux]
ID=3h
Mux=X 0,8
Var=A unsigned 8,8
[Wide]
ID=ZZh)",
         "1 expected {SECTION}, [Symbol] or Key=value\n3 the enumeration is not closed\n"
         "5 symbol NoId dropped: it has no ID\n7 symbol NoId dropped: it has no ID\n8 symbol Rtr dropped: it "
         "is of type RTR\n"
         "13 Len ignored: expected a number up to 64\n14 signal A dropped: there is no type nothing\n"
         "15 Var ignored: expected Name type start,bits\n"
         "16 signal C of message Bad dropped: it is wider than 64 bits\n17 /q of signal D ignored: unknown\n"
         "17 /f of signal D ignored: \"x\" is no number\n"
         "17 signal D has no value texts: there is no Enum None\n"
         "18 signal E of symbol Bad dropped: no Sig of section {SIGNALS} defines it\n"
         "19 Key ignored: it is no known key of a symbol\n20 a bracket is not closed\n"
         "23 Mux of symbol Mux ignored, and its variables with it: expected Name start,bits value\n"
         "26 ID ignored: expected an identifier with its digits and h\n",
         "Bad@3 2 [8]\n D ...\nMux@3 3 [8]\n"},
    };
    for (const FieldRow& row : rows) {
        expectFields(parseSym(row.text, "t.sym", 3), row);
    }
}

TEST(Ldf, IsReadWithRemarks) {
    const FieldRow rows[] = {
        {"LIN 2.2", R"(LIN_description_file; LIN_protocol_version = "2.2"; /* two
lines */ Nodes { Master: M, 5 ms, 0.1 ms, 24 bits; Slaves: S1, S2; }
Signals { T: 8, 5, S1, M, S2; // a comment
  Pos: 16, {0x34, 0x12}, S1, M; Err: 1, 0, S1; }
Diagnostic_signals { Q0: 8, 0; }
Frames { State: 51, S1, 4 { T, 0; Pos, 8; Err, 24; } Event: 0x36, S1, 2 { Err, 8; } }
Diagnostic_frames { MasterReq: 60 { Q0, 0; } }
Event_triggered_frames { Any: Collisions, 58, Event, State; }
Sporadic_frames { Sp: State; }
Node_attributes { S1 { configurable_frames { State = 0x1001; } } }
Schedule_tables { A { State delay 10 ms; AssignNAD { S1 } delay 5 ms; Event delay 2.5 ms; }
  B { Event delay 10 ms; } }
Signal_encoding_types { Temp { physical_value, 0, 100, 0.5, -20, "C"; physical_value, 150, 200, 0.5, -20, "C";
  logical_value, 255, "none"; logical_value, 254; } Other { bcd_value; physical_value, 0, 1, 1, 0; physical_value,
  2, 3, 2, 0; } }
Signal_representation { Temp: T, Pos; Other: Pos, Err; })",
         "8 event-triggered frame Any: of the frame that it carries, only the identifier is decoded\n"
         "14 encoding Other has ranges of different scaling; that of the first is taken for all values\n"
         "14 encoding Other is BCD; its signals are raw numbers\n"
         "16 signal Pos has several encodings; the first one is taken\n",
         // 51 and 54, 110011 and 110110, have the parity bits 1 and 0: 0x73, 0x76 (LIN 2.2A, 2.3.1.3)
         "State 33 [4] S1 every 17.5 ms\n T : 0|8@1+ (0.5,-20) [-20|80] \"C\" =5 M S2 {255 none}\n"
         " Pos : 8|16@1+ (0.5,-20) [-20|80] \"C\" =4660 M {255 none}\n Err : 24|1@1+ (1,0) [0|3] \"\" =0\n"
         "Event 36 [2] S1\n Err : 8|1@1+ (1,0) [0|3] \"\" =0\n"
         "MasterReq 3c [8] M\n Q0 ... =0\n"
         "Any 3a [4]\n ProtectedId ... {115 State} {118 Event}\n"},
        {"LIN 1.3", R"(Signals { A: 2, 0, S, M; B: 3, 1, S, M; }
Signal_groups { G: 5 { A, 0; B, 2; } }
Frames { F: 31, S { G, 4; } H: 32, S { } I: 48, S { } }
Event_triggered_frames { E: 2, F; })",
         "4 event-triggered frame E: of the frame that it carries, only the identifier is decoded\n",
         "F 1f [2] S\n A : 4|2@1+ (1,0) [0|0] \"\" =0 M\n B : 6|3@1+ (1,0) [0|0] \"\" =1 M\n"
         "H 20 [4] S\nI 30 [8] S\nE 2 [2]\n ProtectedId ... {31 F}\n"},
        {"what is broken", R"(Signals { A: x, 0, S; B: 8, 0, S; B: 8, 1, S; C: 64, 0, S }
Frames { F: 1, S, 1 { B, 0; A, 0; D 0; B, 8; } G: 64, S, 1 { } H: 2, S, 9 { }
I 3 { B, 0; } }
Odd { x { } }
Signal_representation { None: B; }
Schedule_tables { T { F delay x ms; H delay 1 ms; } }
"text"; Signals { E: 1, 0)",
         "1 expected an integer, found 'x'\n1 expected ';', found '}'\n"
         "1 signal B is defined already; this definition is not used\n2 expected ',', found '0'\n"
         "2 signal A of message F dropped: it is not defined\n"
         "2 signal B of message F is defined again; it is called B#2\n"
         "2 signal B of message F reaches to byte 2 of a message of 1 bytes; kept\n"
         "2 message G dropped: its identifier 64 is more than 63\n"
         "2 message H dropped: its length of 9 bytes is none of LIN\n3 expected ':', found '3'\n"
         "4 section Odd is unknown, and not read\n5 there is no encoding None; its signals are raw numbers\n"
         "6 expected a number, found 'x'\n7 expected a section\n7 expected ';', found the end\n"
         "7 a bracket is not closed\n",
         "F 1 [1] S\n B ... =0\n B#2 : 8|8@1+ (1,0) [0|0] \"\" =0\n"},
    };
    for (const FieldRow& row : rows) {
        expectFields(parseLdf(row.text, "t.ldf"), row);
    }
}

} // namespace
} // namespace rksignal
