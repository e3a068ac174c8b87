#include "definition/sym/SymLexer.h"

#include <algorithm>
#include <utility>

namespace rksignal {
namespace {

constexpr std::string_view symBlanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = std::min(text.find_first_not_of(symBlanks), text.size());
    return text.substr(first, text.find_last_not_of(symBlanks) + 1 - first); // npos + 1 is 0
}

/// The first offset from `at` on, outside quotes, at which `isEnd` holds; the length if there is none.
template <class IsEnd>
std::size_t findUnquoted(std::string_view text, IsEnd&& isEnd) {
    bool isQuoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (isQuoted && text[at] == '\\') {
            ++at;
        } else if (text[at] == '"') {
            isQuoted = !isQuoted;
        } else if (!isQuoted && isEnd(at)) {
            return at;
        }
    }
    return text.size();
}

std::size_t findUnquoted(std::string_view text, char wanted) {
    return findUnquoted(text, [&](std::size_t at) { return text[at] == wanted; });
}

std::string withoutQuotes(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        at += text[at] == '\\' && text.substr(at + 1, 1) == "\"" ? 1 : 0;
        if (text[at] != '"' || (at > 0 && text[at - 1] == '\\')) {
            plain += text[at];
        }
    }
    return plain;
}

class SymLines {
  public:
    SymLines(std::string_view text, DefinitionNotes& notes) : text(text), notes(notes) {}

    std::vector<SymStatement> read() {
        while (next()) {
            if (!content.empty()) {
                readStatement();
            }
        }
        return std::move(statements);
    }

  private:
    /// Splits the next line into content and comment.
    bool next() {
        if (text.empty()) {
            return false;
        }
        const std::string_view whole = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(whole.size() + 1, text.size()));
        ++line;
        const std::size_t end =
            findUnquoted(whole, [&](std::size_t at) { return whole.substr(at, 2) == "//"; });
        content = trimmed(whole.substr(0, end));
        comment = trimmed(whole.substr(std::min(end + 2, whole.size())));
        return true;
    }

    void readStatement() {
        SymStatement statement;
        statement.line = line;
        if (content.front() == '{' || content.front() == '[') {
            const std::size_t end = content.find(content.front() == '{' ? '}' : ']');
            if (end == content.npos) {
                return notes.error(line, "a bracket is not closed");
            }
            statement.kind = content.front() == '{' ? SymKind::Section : SymKind::Symbol;
            statement.key = withoutQuotes(trimmed(content.substr(1, end - 1)));
        } else if (!readEntry(statement)) {
            return;
        }
        statement.comment = comment;
        statements.push_back(std::move(statement));
    }

    /// `Key=rest`; older files have `enum Name(...)`.
    bool readEntry(SymStatement& statement) {
        const std::size_t end = content.find_first_of("= \t");
        if (end == content.npos) {
            notes.error(line, "expected {SECTION}, [Symbol] or Key=value");
            return false;
        }
        statement.key = content.substr(0, end);
        statement.rest = trimmed(content.substr(end));
        if (statement.rest.starts_with('=')) {
            statement.rest = trimmed(std::string_view(statement.rest).substr(1));
        }
        if (statement.key == "enum") {
            statement.key = "Enum";
        }
        return statement.key != "Enum" || readEnumEnd(statement);
    }

    /// An enumeration ends with its bracket, lines behind the first.
    bool readEnumEnd(SymStatement& statement) {
        std::size_t checked = 0; // up to here there is none, and all quotes are closed
        while (true) {
            const std::string_view added = std::string_view(statement.rest).substr(checked);
            if (findUnquoted(added, ')') != added.size()) {
                return true;
            }
            checked = statement.rest.size();
            const std::string_view behind = trimmed(text.substr(0, text.find('\n')));
            if (text.empty() || behind.starts_with('{') || behind.starts_with('[') || !next()) {
                notes.error(statement.line, "the enumeration is not closed");
                return false;
            }
            statement.rest.append(1, ' ').append(content);
        }
    }

    std::string_view text;
    DefinitionNotes& notes;
    unsigned line = 0;
    std::string_view content, comment; ///< of the line
    std::vector<SymStatement> statements;
};

} // namespace

std::vector<SymStatement> readSymStatements(std::string_view text, DefinitionNotes& notes) {
    return SymLines(text, notes).read();
}

std::vector<std::string> symWords(std::string_view rest) {
    std::vector<std::string> words;
    bool isJoined = false; // to the word before, by a comma
    while (!(rest = trimmed(rest)).empty()) {
        const std::size_t end =
            findUnquoted(rest, [&](std::size_t at) { return symBlanks.find(rest[at]) != symBlanks.npos; });
        std::string word = withoutQuotes(rest.substr(0, end));
        rest.remove_prefix(end);
        isJoined = !words.empty() && (isJoined || word.starts_with(','));
        if (isJoined) {
            words.back() += word;
        } else {
            words.push_back(word);
        }
        isJoined = word.ends_with(',');
    }
    return words;
}

} // namespace rksignal
