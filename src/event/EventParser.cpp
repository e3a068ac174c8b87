// Scanning a text held in memory.

#include "event/EventParser.h"

#include "event/NameSearch.h"

#include <istream>
#include <streambuf>

std::string indexPrefix;

namespace {

/// Reads a text where it lies; a string stream would copy it.
class TextBuffer : public std::streambuf {
  public:
    explicit TextBuffer(const std::string& text) {
        char* const begin = const_cast<char*>(text.data()); // the interface's type; nothing writes
        setg(begin, begin, begin + text.size());
    }
};

} // namespace

eventFlexer::eventFlexer(std::istream* in, std::ostream* out) : eventFlexLexer(in, out) {}

EventParser::EventParser(const std::string& text) : EventParser(text, EventSearch::Points) {}

EventParser::EventParser(const std::string& text, EventSearch search) {
    if (search == EventSearch::Points) {
        searchNames(text, scanner);
    } else {
        TextBuffer buffer(text);
        std::istream stream(&buffer);
        scanner.switch_streams(&stream, nullptr);
        scanner.yylex();
    }
    std::istream nothing(nullptr); // the scanner outlives the text
    scanner.switch_streams(&nothing, nullptr);
}

EventParser::~EventParser() = default;
