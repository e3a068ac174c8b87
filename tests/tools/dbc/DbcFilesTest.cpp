/// \file
/// Every DBC file of the recordings, against a count of its lines. The files are found below the folder that
/// the environment variable RKSIGNAL_RECORDINGS names.
#include "tools/dbc/DbcText.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <regex>

namespace rksignal {
namespace {

struct Count {
    std::size_t messages = 0;
    std::size_t signals = 0;
};

/// The lines that begin with a message or signal keyword and a word behind it.
Count countLines(const std::filesystem::path& path) {
    Count count;
    std::ifstream file(path, std::ios::binary);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string keyword, next;
        words >> keyword >> next;
        count.messages += keyword == "BO_" && !next.empty() && line.find(':') != std::string::npos;
        count.signals += keyword == "SG_" && line.find('@') != std::string::npos;
    }
    return count;
}

/// What the notes say is missing.
Count countDropped(const DbcFile& file) {
    Count count;
    std::smatch match;
    for (const DbcNote& note : file.notes) {
        if (note.severity == DbcNote::Severity::Guess)
            continue;
        const bool message =
            std::regex_search(note.message, std::regex("^message .* dropped|^BO_: expected"));
        count.messages += message;
        count.signals += std::regex_search(
            note.message, std::regex("^signal .* dropped: |the signal is dropped$|^SG_: expected"));
        if (message && std::regex_search(note.message, match, std::regex("its (?:([0-9]+) signals|signal)")))
            count.signals += match[1].matched ? std::stoul(match[1]) : 1;
    }
    return count;
}

std::vector<std::filesystem::path> recordedFiles() {
    std::vector<std::filesystem::path> paths;
    const char* const folder = std::getenv("RKSIGNAL_RECORDINGS");
    if (folder == nullptr)
        return paths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.path().extension() == ".dbc")
            paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    return paths;
}

TEST(DbcFiles, EveryLineIsAMessageASignalOrANote) {
    const std::vector<std::filesystem::path> paths = recordedFiles();
    if (paths.empty())
        GTEST_SKIP() << "RKSIGNAL_RECORDINGS is not set, or its folder holds no .dbc file";
    for (const std::filesystem::path& path : paths) {
        SCOPED_TRACE(path.string());
        const DbcFile file = readDbc(path);
        const Count lines = countLines(path);
        const Count dropped = countDropped(file);
        std::size_t signals = 0;
        for (const DbcMessage& message : file.messages)
            signals += message.signals.size();
        EXPECT_EQ(file.messages.size() + dropped.messages, lines.messages);
        EXPECT_EQ(signals + dropped.signals, lines.signals);
        for (const DbcNote& note : file.notes)
            if (note.severity == DbcNote::Severity::Error)
                std::cout << note << '\n';
    }
}

} // namespace
} // namespace rksignal
