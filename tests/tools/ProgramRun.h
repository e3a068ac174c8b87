/// \file
/// Runs the program inside a test and collects what it writes.
#pragma once

#include "Program.h"
#include "tools/TemporaryFolder.h"

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace rksignal {

struct ProgramResult {
    int status;
    std::string output;
    std::string messages; ///< without the path of the test's folder
};

/// Runs the program on files of `folder`.
inline ProgramResult runIn(const TemporaryFolder& folder, const std::vector<std::string>& arguments,
                           bool interactive = false) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(folder.path(".output").c_str(), "w"), std::fclose);
    std::ostringstream messages;
    const int status = runProgram(arguments, Console{fileno(file.get()), messages, interactive});
    return {status, folder.read(".output"), folder.withoutPath(messages.str())};
}

/// Runs `decode` with `options` on one definition file and one trace.
inline ProgramResult decodeText(const std::string& dbc, const std::string& trace,
                                const std::vector<std::string>& options = {}) {
    const TemporaryFolder folder;
    std::vector<std::string> arguments = {"decode", "--dbc", folder.write("test.dbc", dbc),
                                          folder.write("test.log", trace)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return runIn(folder, arguments);
}

} // namespace rksignal
