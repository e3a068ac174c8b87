/// \file
/// What is said about text that is broken, doubtful or not used, and what is still read of it.
#include "tools/dbc/DbcText.h"

#include <gtest/gtest.h>

#include <system_error>

namespace rksignal {
namespace {

using Names = std::vector<std::string>;

struct NoteRow {
    const char* name;
    const char* text;
    Names notes;
    Names messages; ///< name and number of signals
};

class DbcDoubtfulText : public testing::TestWithParam<NoteRow> {};

TEST_P(DbcDoubtfulText, IsNotedAndTheRestIsRead) {
    const NoteRow& row = GetParam();
    const DbcFile file = parse(row.text);
    EXPECT_EQ(noteLines(file), row.notes);
    Names messages;
    for (const DbcMessage& message : file.messages)
        messages.push_back(message.name + " " + std::to_string(message.signals.size()));
    EXPECT_EQ(messages, row.messages);
}

#define SIGNAL(name) " SG_ " name " : 0|8@1+ (1,0) [0|0] \"\" X\n"

INSTANTIATE_TEST_SUITE_P(
    Messages, DbcDoubtfulText,
    testing::Values(
        NoteRow{"Empty", "", {}, {}},
        NoteRow{
            "SectionsWithoutUse",
            "VERSION \"1\"\nBS_:\nBU_: A\nBO_TX_BU_ 1 : A,B;\nEV_ E: 0 [0|1] \"\" 0 1 DUMMY_NODE_VECTOR0 A;\n"
            "ENVVAR_DATA_ E: 2;\nSIG_GROUP_ 1 G 1 : A B;\nCAT_DEF_ 1 a 2;\nSGTYPE_ T : 8@1+;\n"
            "BA_DEF_REL_ BU_SG_REL_ \"x\" INT 0 1;\nBA_REL_ \"x\" BU_SG_REL_ A SG_ 1 S 1;\nFILTER\n"
            "BA_ \"BusType\" \"CAN; FD\";\n",
            {},
            {}},
        NoteRow{"ExtendedWithoutFlag",
                "BO_ 2047 A: 8 X\nBO_ 2048 B: 8 X\n",
                {"G t.dbc:2: message B: identifier 2048 has more than 11 bits; taken as extended"},
                {"A 0", "B 0"}},
        NoteRow{"IdentifierTooWide",
                "BO_ 1610612736 A: 8 X\n" SIGNAL("S") "BO_ 4294967296 B: 8 X\n" SIGNAL("S"),
                {"D t.dbc:1: message A dropped with its signal: identifier 1610612736 has more than 29 bits",
                 "E t.dbc:3: BO_: expected an identifier of at most 32 bits, found '4294967296'; its signal "
                 "dropped "
                 "with it"},
                {}},
        NoteRow{"IndependentSignals",
                "BO_ 3221225472 VECTOR__INDEPENDENT_SIG_MSG: 0 Vector__XXX\n" SIGNAL("S")
                    SIGNAL("T") "CM_ SG_ 3221225472 S \"no further note\";\n",
                {"D t.dbc:1: message VECTOR__INDEPENDENT_SIG_MSG dropped with its 2 signals: it only holds "
                 "signals "
                 "that belong to no message"},
                {}},
        NoteRow{"SameIdentifier",
                "BO_ 5000 A: 8 X\n" SIGNAL("S") "BO_ 2147488648 B: 8 X\nBO_ 136 C: 8 X\n",
                {"G t.dbc:1: message A: identifier 5000 has more than 11 bits; taken as extended",
                 "D t.dbc:3: message B dropped: identifier 2147488648 is already defined on line 1"},
                {"A 1", "C 0"}},
        NoteRow{"TooLong",
                "BO_ 1 A: 65 X\n" SIGNAL("S") "BO_ 2 B: 64 X\n",
                {"D t.dbc:1: message A dropped with its signal: length 65 is more than 64 bytes"},
                {"B 0"}},
        NoteRow{"ReferencesGoToTheOneInUse",
                "BO_ 1 A: 65 X\nBO_ 1 B: 8 X\n" SIGNAL("S") "VAL_ 1 S 0 \"a\" ;\nBO_ 1 C: 65 X\n",
                {"D t.dbc:1: message A dropped: length 65 is more than 64 bytes",
                 "D t.dbc:5: message C dropped: length 65 is more than 64 bytes"},
                {"B 1"}},
        NoteRow{"NameStartsWithADigit",
                "BO_ 1 2017_A: 8 X\n" SIGNAL("S-1"),
                {"G t.dbc:1: message name 2017_A is not an identifier; kept",
                 "G t.dbc:2: signal S-1 of message 2017_A has a name that is not an identifier; kept"},
                {"2017_A 1"}},
        NoteRow{"TextAtTheEndOfTheLine",
                "BO_ 1 A: 8 X, Y\n SG_ S : 0|8@1+ (1,0) [0|0] \"\" X; @\nBO_ 2 B: 8\n",
                {"D t.dbc:1: BO_: text at the end of the line ignored",
                 "D t.dbc:2: SG_: text at the end of the line ignored"},
                {"A 1", "B 0"}}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Signals, DbcDoubtfulText,
    testing::Values(NoteRow{"SameName",
                            "BO_ 1 A: 8 X\n" SIGNAL("S") SIGNAL("S") SIGNAL("T"),
                            {"D t.dbc:3: signal S of message A dropped: it is already defined on line 2"},
                            {"A 2"}},
                    NoteRow{"SameNameAsADroppedOne",
                            "BO_ 1 A: 8 X\n SG_ S : 0|0@1+ (1,0) [0|0] \"\" X\n" SIGNAL("S"),
                            {"D t.dbc:2: signal S of message A dropped: its width is 0"},
                            {"A 1"}},
                    NoteRow{"ScaleZero",
                            "BO_ 1 A: 8 X\n SG_ S : 0|8@1+ (0,5) [0|0] \"\" X\n",
                            {"G t.dbc:2: signal S of message A has scale 0; kept"},
                            {"A 1"}},
                    NoteRow{"BeforeTheFirstMessage",
                            SIGNAL("S") "BO_ 1 A: 8 X\n",
                            {"E t.dbc:1: SG_: expected a BO_ line before the first signal, found 'SG_'"},
                            {"A 0"}},
                    NoteRow{"BrokenLines",
                            "BO_ 1 A: 8 X\n"
                            " SG_ S ; 0|8@1+ (1,0) [0|0] \"\" X\n"
                            " SG_ S : 0|8@2+ (1,0) [0|0] \"\" X\n"
                            " SG_ S : 0|8@1* (1,0) [0|0] \"\" X\n"
                            " SG_ S : 0|8@1+ (nan,0) [0|0] \"\" X\n"
                            " SG_ S : 0|8@1+ (1,0x10) [0|0] \"\" X\n"
                            " SG_ S : 0|8@1+ (1,0) \"\" X\n"
                            " SG_ S : 0|8@1+ (1,0) [0|0]\n"
                            " SG_ S : -1|8@1+ (1,0) [0|0] \"\" X\n" SIGNAL("T") " SG_",
                            {"E t.dbc:2: SG_: expected a name, found ';'",
                             "E t.dbc:3: SG_: expected byte order 0 or 1, found '2+'",
                             "E t.dbc:4: SG_: expected '+', found '*'",
                             "E t.dbc:5: SG_: expected a number, found 'nan'",
                             "E t.dbc:6: SG_: expected a number, found '0x10'",
                             "E t.dbc:7: SG_: expected '[', found '\"'",
                             "E t.dbc:8: SG_: expected a quoted text, found 'SG_'",
                             "E t.dbc:9: SG_: expected an integer of at most 64 bits, found '-1'",
                             "E t.dbc:11: SG_: expected a name, found the end of the text"},
                            {"A 1"}}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Statements, DbcDoubtfulText,
    testing::Values(
        NoteRow{"BrokenMessage",
                "BO_ x A: 8 X\n" SIGNAL("S") SIGNAL("T") "BO_ 2 B 8 X\n\nBO_ 3 C: 8 X\n" SIGNAL("S"),
                {"E t.dbc:1: BO_: expected an integer of at most 64 bits, found 'x'; its 2 signals dropped "
                 "with it",
                 "E t.dbc:4: BO_: expected ':', found '8'"},
                {"C 1"}},
        NoteRow{"UnknownKeywordsOnce",
                "FOO_ 1 \"a;\nBO_\" ;\nFOO_ 2;\nBO_ 1 A: 8 X\nBAR_: x\n\n" SIGNAL("S") "= 5;\n;\n",
                {"D t.dbc:1: unknown keyword FOO_ skipped", "D t.dbc:5: unknown keyword BAR_ skipped",
                 "D t.dbc:8: unknown keyword = skipped"},
                {"A 1"}},
        NoteRow{"UnknownObjects",
                "BO_ 1 A: 8 X\n" SIGNAL(
                    "S") "CM_ BO_ 2 \"\";\nVAL_ 1 T 0 \"a\";\nSIG_VALTYPE_ 2 S : 1;\nSG_MUL_VAL_ 1 T S 0-0;\n"
                         "BA_ \"VFrameFormat\" BO_ 2 0;\nBA_ \"GenSigStartValue\" SG_ 2 S 0;\n",
                {"D t.dbc:3: CM_ ignored: there is no message 2",
                 "D t.dbc:4: VAL_ ignored: there is no signal T of message 1",
                 "D t.dbc:5: SIG_VALTYPE_ ignored: there is no message 2",
                 "D t.dbc:6: SG_MUL_VAL_ ignored: there is no signal T of message 1",
                 "D t.dbc:7: BA_ ignored: there is no message 2"},
                {"A 1"}},
        NoteRow{"MissingSemicolon",
                "BO_ 1 A: 8 X\n" SIGNAL("S") "CM_ BO_ 1 \"a\"\nVAL_ 1 S 0 \"a\"\n\nCM_ SG_ 1 S \"b\"",
                {"G t.dbc:3: CM_: ';' is missing at the end", "G t.dbc:4: VAL_: ';' is missing at the end",
                 "G t.dbc:6: CM_: ';' is missing at the end"},
                {"A 1"}},
        NoteRow{"BrokenReferences",
                "BO_ 1 A: 8 X\n" SIGNAL(
                    "S") "CM_ SG_ 1 S b;\nVAL_ 1 S 0 \"a\" 1 ;\nVAL_ 1 S -9223372036854775809 \"a\";\n"
                         "SIG_VALTYPE_ 1 S : float;\nSG_MUL_VAL_ 1 S S x;\nBA_ \"VFrameFormat\" SG_ 1 0;\n",
                {"E t.dbc:3: CM_: expected a quoted text, found 'b'",
                 "E t.dbc:4: VAL_: expected a quoted text, found ';'",
                 "E t.dbc:5: VAL_: expected an integer of at most 64 bits, found '-9223372036854775809'",
                 "E t.dbc:6: SIG_VALTYPE_: expected an integer of at most 64 bits, found 'float'",
                 "E t.dbc:7: SG_MUL_VAL_: expected an integer of at most 64 bits, found 'x'",
                 "E t.dbc:8: BA_: expected BO_, found 'SG_'"},
                {"A 1"}},
        NoteRow{"UnclosedTextCostsOnlyItsStatement",
                "BO_ 1 A: 8 X\n" SIGNAL("S") "CM_ BO_ 1 \"no end;\nBA_DEF_ BO_ \"x\" INT 0 1;\nBO_ 2 B: 8 "
                                             "X\n" SIGNAL("S") "BA_ \"no end\nBO_ 3 C: 8 X\n",
                {"E t.dbc:3: CM_: expected ';', found 'x'",
                 "E t.dbc:7: BA_: expected a quoted text with an end, found '\"'"},
                {"A 1", "B 1", "C 0"}},
        NoteRow{"LongExcerptIsCutBetweenCharacters",
                "BO_ 1 A: xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\xC3\xA4yyy X\n",
                {"E t.dbc:1: BO_: expected an integer of at most 64 bits, found "
                 "'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...'"},
                {}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DbcNotes, NamesTheFileAndTheLineOfTheFirstByteThatIsNotUtf8) {
    const DbcFile file = parse("BO_ 1 A: 8 X\n SG_ S : 0|8@1+ (1,0) [0|0] \"\xB0\x43\" X\n");
    EXPECT_EQ(signalNamed(file, "S").unit, "\xC2\xB0\x43");
    EXPECT_EQ(noteLines(file), Names{"G t.dbc:2: text is not UTF-8; the file is taken as Windows-1252"});
}

TEST(DbcNotes, ByteOrderMarkIsNoText) {
    const DbcFile file = parse("\xEF\xBB\xBF"
                               "BO_ 1 A: 8 X\n");
    EXPECT_EQ(noteLines(file), Names());
    EXPECT_EQ(file.messages.size(), 1U);
}

TEST(DbcNotes, ManyUnclosedTextsTakeNoQuadraticTime) {
    std::string text;
    for (int i = 0; i < 200000; ++i)
        text += "BU_ \\\"\n";
    EXPECT_EQ(parse(text).notes.size(), 200000U);
}

TEST(DbcNotes, UnreadableFileThrowsItsReason) {
    try {
        readDbc("/no such folder/a.dbc");
        FAIL() << "no exception";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
        EXPECT_STREQ(error.what(), "/no such folder/a.dbc: No such file or directory");
    }
    EXPECT_THROW(readDbc("/"), std::system_error);
}

} // namespace
} // namespace rksignal
