/// \file
/// Reads LDF text into its statements.
#pragma once

#include "definition/DefinitionNotes.h"
#include "definition/ldf/LdfLexer.h"
#include "definition/ldf/LdfStatements.h"

#include <string_view>

namespace rksignal {

/// Serves one text. An entry that is not understood is said once and left out: up to its `;`, or with the
/// block that it has.
class LdfParser {
  public:
    /// Both must outlive the parser, and the text its result.
    LdfParser(std::string_view text, DefinitionNotes& notes) : lexer(text, notes), notes(notes) {}

    LdfStatements read();

  private:
    using ReadEntry = void (LdfParser::*)();
    struct Section {
        std::string_view name;
        ReadEntry readEntry; ///< null: it says nothing about frames
    };
    static const Section sections[];

    void readSection();
    /// Reads entries up to the closing bracket.
    void readEntries(ReadEntry readEntry);
    void readNode();
    void readSignal();
    void readInitial(LdfSignal& signal);
    void readGroup();
    void readFrame();
    void readEventFrame();
    void readEncoding();
    void readEncodingValue(LdfEncoding& encoding);
    void readPhysicalRange(LdfEncoding& encoding);
    void readRepresentation();
    void readSchedule();
    void readCommand(LdfSchedule& schedule);
    std::vector<LdfPlace> readPlaces();

    std::string_view word();
    std::uint64_t integer();
    double number();
    /// Words behind commas, up to `;`.
    std::vector<std::string_view> words();
    void expect(char sign);
    void fail(const char* expected);
    void skipEntry();
    void skipBlock();

    LdfLexer lexer;
    DefinitionNotes& notes;
    LdfStatements statements;
    bool ok = true; ///< false: the rest of the entry is passed over
};

} // namespace rksignal
