/// \file
/// DBC text: what it defines, and what is said about text that is broken, doubtful or not used.
#include "definition/dbc/DbcFile.h"
#include "replay/definition/ShownMessages.h"
#include "text/TextEncoding.h"

#include <gtest/gtest.h>

#include <sstream>

namespace rksignal {
namespace {

struct Row {
    const char* name;
    /// Behind a line stand the notes that it causes: `// G message`, with G for a guess, D for something
    /// dropped, E for an error. `...` is a layout that does not matter.
    std::string text;
    std::string messages; ///< as shown
};

/// The notes that the text itself announces, as they are printed.
std::string announcedNotes(const std::string& text) {
    std::istringstream lines(text);
    std::string notes, line;
    for (int number = 1; std::getline(lines, line); ++number) {
        for (std::size_t at = line.find(" // "); at != line.npos; at = line.find(" // ", at + 1)) {
            const std::string note = line.substr(at + 4, line.find(" // ", at + 4) - at - 4);
            notes += note[0] + (" t.dbc:" + std::to_string(number)) + ": " + note.substr(2) + '\n';
        }
    }
    return notes;
}

void expectRead(const Row& row) {
    SCOPED_TRACE(row.name);
    std::string text = row.text;
    for (std::size_t at = text.find("..."); at != text.npos; at = text.find("...", at)) {
        text.replace(at, 3, anyLayout);
    }
    const DefinitionFile file = parseDbc(text, "t.dbc");
    std::ostringstream notes;
    for (const Remark& note : file.remarks) {
        notes << "GDE"[static_cast<int>(note.severity)] << ' ' << note << '\n';
    }
    EXPECT_EQ(notes.str(), announcedNotes(row.text));
    EXPECT_EQ(shown(file.messages), row.messages);
}

TEST(Dbc, IsReadWithNotesAboutWhatIsWrong) {
    const Row rows[] = {
        {"blanks and numbers", R"(BU_: ECU1
 ECU2
BO_ 1 A:8 ECU1 //comment "
 SG_ S:0|1@1+(0.5,-40)[0|1]"a//b"Vector__XXX
 SG_ T  :  7 | 64 @ 0 - ( 25E-002 , +1 ) [ -1.5e+3 | 2.E2 ]  "°C"  A , B C ;
 SG_ U : 0|8@1+ (1,1e-999) [0|1.8E+308] "" // G signal U of message A has a number beyond the range of a double; the closest is taken)",
         R"(A 1 [8] ECU1
 S : 0|1@1+ (0.5,-40) [0|1] "a//b"
 T : 7|64@0- (0.25,1) [-1500|200] "°C" A B C
 U : 0|8@1+ (1,0) [0|1.79769e+308] ""
)"},
        {"value types and descriptions", R"(VAL_TABLE_ OnOff 1 "on" 0 "off" ;
BO_ 1 A: 8
 SG_ S : 0|32@1- (1,0) [0|0] ""
 SG_ T : 0|64@1+ (1,0) [0|0] ""
SIG_VALTYPE_ 1 S : 2; // G SIG_VALTYPE_ 2 of signal S of message 1: taken by its width of 32 bits
SIG_VALTYPE_ 1 T 2 ;
VAL_ 1 S -1 "minus \"one\""
  +7 "seven" ;
VAL_ 1 T OnOff ;
VAL_ EnvironmentVariable 0 "x" ;)",
         "A 1 [8]\n S : 0|32@1 float (1,0) [0|0] \"\" {1088421888 seven} {3212836864 minus \"one\"}\n"
         " T : 0|64@1 double (1,0) [0|0] \"\" {0 off} {4607182418800017408 on}\n"},
        {"comments and long names", R"(CM_ SG_ 10 S "C:\path";
BA_ "SystemSignalLongSymbol" SG_ 10 S "S_long";
BO_ 10 A: 8 N1
 SG_ S M ... N1,N2
 SG_ T m1 ...
CM_ BO_ 10 "first \"line\";
BO_ 12 C: 8";
CM_ 10 T "without its kind";
BA_ "SystemMessageLongSymbol" BO_ 10 "A_long";
BA_ "SystemNodeLongSymbol" BU_ N1 "N1_long";
BA_ "SystemSignalLongSymbol" SG_ 10 T "S_long"; // G long name S_long of signal T of message 10 belongs to another signal already; the short name is kept)",
         "A_long a [8] N1_long # first \"line\";\nBO_ 12 C: 8\n S_long* ... N1_long N2 # C:\\path\n"
         " T < S_long 1-1 ... # without its kind\n"},
        {"frame formats and cycle times", R"(BO_ 1 Default: 8
BO_ 2 Number: 8
BO_ 3 LengthDecides: 39
BA_DEF_ BO_ "VFrameFormat" ENUM "StandardCAN","StandardCAN_FD","J1939PG";
BA_DEF_DEF_ "VFrameFormat" "StandardCAN_FD";
BA_ "VFrameFormat" BO_ 2 0;
BA_ "VFrameFormat" BO_ 3 2; // G message LengthDecides of 39 bytes taken as CAN FD despite its frame format J1939PG
BA_DEF_DEF_ "GenMsgCycleTime" 100;
BA_ "GenMsgCycleTime" BO_ 2 0;
BA_ "GenMsgCycleTime" BO_ 3 2.5;)",
         "Default 1 [8 fd] every 100 ms\nNumber 2 [8]\nLengthDecides 3 [39 fd] every 2.5 ms\n"},
        {"parameter groups", R"(BA_ "ProtocolType" "J1939";
BO_ 2566841342 Group: 1785
 SG_ Far : 14272|8@1+ (1,0) [0|0] ""
 SG_ S : 14273|8@1+ (1,0) [0|0] "" // D signal S of message Group dropped: it lies beyond 1785 bytes
BO_ 1 Standard: 8
BO_ 2566841343 Own: 65 // D message Own dropped with its signal: length 65 is more than 64 bytes
 SG_ S : 0|0@1+ (1,0) [0|0] ""
BA_ "VFrameFormat" BO_ 2566841343 1;
BO_ 2566841344 Number: 8
BA_ "VFrameFormat" BO_ 2566841344 3;)",
         "Group 18fee3fex [1785 j1939]\n Far : 14272|8@1+ (1,0) [0|0] \"\"\nStandard 1 [8]\n"
         "Number 18fee400x [8 j1939]\n"},
        {"names between apostrophes", "BO_ 1 'A': 8 'N 1'\n SG_ 'S' ... 'N 2'\nVAL_ 1 'S' 1 \"on\";",
         "A 1 [8] N 1\n S ... N 2 {1 on}\n"},
        {"messages of one identifier, signals of one name",
         R"(BO_ 1 A: 8
 SG_ M M ...
 SG_ S m0 : 8|32@1+ (1,0) [0|0] ""
 SG_ S m1 : 16|32@1+ (1,0) [0|0] "" // G signal S of message A is already defined on line 3; both are decoded
BO_ 1 B: 8
 SG_ S : 0|32@1+ (1,0) [0|0] ""
SG_MUL_VAL_ 1 S M 1-1, 4-4;
SIG_VALTYPE_ 1 S : 1;
BA_ "GenMsgCycleTime" BO_ 1 10;)",
         "A 1 [8] every 10 ms\n M* ...\n S < M 0-0 : 8|32@1 float (1,0) [0|0] \"\"\n"
         " S < M 1-1 4-4 : 16|32@1 float (1,0) [0|0] \"\"\nB 1 [8] every 10 ms\n"
         " S : 0|32@1 float (1,0) [0|0] \"\"\n"},
        {"a multiplexer indicator without a value", R"(BO_ 1 A: 8
 SG_ M m ...
 SG_ S m ...
 SG_ T m ... // D signal T of message A dropped: its multiplexer indicator m has no value, and no SG_MUL_VAL_ line names it
SG_MUL_VAL_ 1 S M 2-3; // G SG_MUL_VAL_: signal M of message 1 is not marked as a multiplexer; taken as one)",
         "A 1 [8]\n M* ...\n S < M 2-3 ...\n"},
        {"UTF-8 with its mark", "\uFEFFBO_ 1 A: 8", "A 1 [8]\n"},
        {"Windows-1252",
         "BO_ 1 A: 8 \x80\x99\xB0\x81 // G text is not UTF-8; the file is taken as Windows-1252",
         "A 1 [8] \u20AC\u2122\u00B0\xC2\x81\n"},
        {"messages", R"(BO_ 2048 A: 8 // G message A: identifier 2048 has more than 11 bits; taken as extended
BO_ 2147485696 B: 8
BO_ 1610612736 C: 8 // D message C dropped with its signal: identifier 1610612736 has more than 29 bits
 SG_ S ...
BO_ 3221225472 D: 0 // D message D dropped: it only holds signals that belong to no message
BO_ 1 E: 65 // D message E dropped: length 65 is more than 64 bytes
BO_ 1 2017_F: 64 X, Y // D BO_: text at the end of the line ignored // G message name 2017_F is not an identifier; kept
BO_ x G: 8 // E BO_: expected an integer of at most 64 bits, found 'x'; its signal dropped with it
 SG_ S ...
BO_ 2 H 8 // E BO_: expected ':', found '8'
BO_ xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxäyyy I: 8 // E BO_: expected an integer of at most 64 bits, found 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...'
BO_ 4294967296 J: 8 // E BO_: expected an identifier of at most 32 bits, found '4294967296')",
         "A 800x [8]\nB 800x [8]\n2017_F 1 [64 fd] X\n"},
        {"signals", R"( SG_ S ... // E SG_: expected a BO_ line before the first signal, found 'SG_'
BO_ 1 A: 4
 SG_ Fits : 7|32@0+ (1,0) [0|0] ""
 SG_ Past : 1|32@1+ (0,5) [0|0] "" // G signal Past of message A reaches to byte 5 of a message of 4 bytes; kept // G signal Past of message A has scale 0; kept
 SG_ S : 511|2@1+ (1,0) [0|0] "" // D signal S of message A dropped: it lies beyond 64 bytes
 SG_ S : 18446744073709551615|2@1+ (1,0) [0|0] "" // D signal S of message A dropped: it lies beyond 64 bytes
 SG_ S : 0|65@1+ (1,0) [0|0] "" // D signal S of message A dropped: its width of 65 bits is more than 64
 SG_ S : 0|0@1+ (1,0) [0|0] "" // D signal S of message A dropped: its width is 0
 SG_ S ...
 SG_ S ... // G signal S of message A is already defined on line 9; both are decoded
 SG_ S : 64|8@1+ (1,0) [0|0] "" // G signal S of message A is already defined on line 9; both are decoded
 SG_ S-1 ... X; @ // D SG_: text at the end of the line ignored // G signal S-1 of message A has a name that is not an identifier; kept
 SG_ S ; 0|8@1+ (1,0) [0|0] "" // E SG_: expected a name, found ';'
 SG_ S : 0|8@2+ (1,0) [0|0] "" // E SG_: expected byte order 0 or 1, found '2+'
 SG_ S : 0|8@1* (1,0) [0|0] "" // E SG_: expected '+', found '*'
 SG_ S : 0|8@1+ (nan,0x10) [0|0] "" // E SG_: expected a number, found 'nan'
 SG_ S : 0|8@1+ (1,0) [0|0] // E SG_: expected a quoted text, found 'SG_'
 SG_ S x1 ... // E SG_: expected ':' or a multiplexer indicator, found 'x1'
 SG_ // E SG_: expected a name, found the end of the text)",
         "A 1 [4]\n Fits : 7|32@0+ (1,0) [0|0] \"\"\n Past : 1|32@1+ (0,5) [0|0] \"\"\n S ...\n S ...\n"
         " S : 64|8@1+ (1,0) [0|0] \"\"\n S-1 ... X\n"},
        {"multiplexing", R"(BO_ 1 A: 8
 SG_ S M ...
 SG_ T ...
 SG_ U m1 ...
 SG_ V M ...
 SG_ W m7 ... // G signal W of message A may belong to one of several multiplexers; S assumed
SG_MUL_VAL_ 1 U T 12-11, 7-7,9 ; // G SG_MUL_VAL_: range 12-11 is reversed; its ends are swapped // G SG_MUL_VAL_: signal T of message 1 is not marked as a multiplexer; taken as one
SG_MUL_VAL_ 1 U S 1-1; // D SG_MUL_VAL_ ignored: signal U of message 1 has another multiplexer already
SG_MUL_VAL_ 1 U Q 1-1; // D SG_MUL_VAL_ ignored: there is no signal Q in message 1
BO_ 2 B: 8
 SG_ Q M : 0|16@1+ (1,0) [0|0] ""
 SG_ R m1 ... // D signal R of message B dropped: its multiplexer Q was dropped
 SG_ S m0M ... // D signal S of message B dropped: its multiplexers form a cycle
 SG_ T m0M ... // D signal T of message B dropped: its multiplexers form a cycle
 SG_ U m1 ... // D signal U of message B dropped: its message has no multiplexer for it
SG_MUL_VAL_ 2 R Q 1-1;
SG_MUL_VAL_ 2 S T 0-0;
SG_MUL_VAL_ 2 T S 0-0;
SIG_VALTYPE_ 2 Q : 1; // D SIG_VALTYPE_ 1 of signal Q of message 2: a floating-point number of 16 bits; the signal is dropped)",
         "A 1 [8]\n S* ...\n T* ...\n U < T 11-12 7-7 9-9 ...\n V* ...\n W < S 7-7 ...\nB 2 [8]\n"},
        {"statements", R"(BO_ 1 A: 8
 SG_ S ...
SIG_VALTYPE_ 1 S : 3; // D SIG_VALTYPE_ 3 of signal S of message 1 ignored: the value type is unknown
SIG_VALTYPE_ 2 S : 1; // D SIG_VALTYPE_ ignored: there is no message 2
VAL_ 1 S 1 "a" 1 "b" 2 "c" 2 "c" ; // G VAL_: value 1 of signal S of message 1 is described again; the last text is taken
VAL_ 1 S Missing ; // D VAL_ ignored: there is no VAL_TABLE_ Missing
VAL_ 1 T 0 "a"; // D VAL_ ignored: there is no signal T of message 1
VAL_ 1 S -9223372036854775809 "a"; // E VAL_: expected an integer of at most 64 bits, found '-9223372036854775809'
BA_ "VFrameFormat" SG_ 1 0; // E BA_: expected BO_, found 'SG_'
CM_ SG_ 1 "one" // G CM_: ';' is missing at the end // G CM_ without a signal name taken as the comment of message 1
FOO_ 1 "a; // D unknown keyword FOO_ skipped
BO_" ;
FOO_ 2;
CM_ BO_ 1 "two"; // D CM_ ignored: message 1 has a comment already
CM_ BO_ 1 "no end; // E CM_: expected ';', found 'x'
BA_DEF_ BO_ "x" INT 0 1;)",
         "A 1 [8] # one\n S ... {1 b} {2 c}\n"},
    };
    for (const Row& row : rows) {
        expectRead(row);
    }
}

TEST(Dbc, DamagedTextCostsAThousandRemarksOfEachSeverity) {
    std::string text;
    for (int i = 0; i < 3000; ++i) {
        text += "BO_ x\nBO_ 1 A: 8\n";
    }
    const RemarkList remarks = parseDbc(text, "t.dbc").remarks;
    EXPECT_EQ(remarks.count(Severity::Error), 3000U);
    EXPECT_EQ(remarks.count(Severity::Warning), 2992U); // all but the first eight
    EXPECT_EQ(remarks.kept().size(), 2000U);
    EXPECT_EQ(remarks.omitted(), 3992U);
}

TEST(Dbc, OnlyTrueUtf8IsTakenAsSuch) {
    EXPECT_EQ(findInvalidUtf8("\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"),
              std::nullopt);
    for (const char* const text : {"\xE2\x82", "\xE2\x82\x28", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",
                                   "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
        EXPECT_EQ(findInvalidUtf8(std::string("ok") + text), 2U) << text;
    }
}

} // namespace
} // namespace rksignal
