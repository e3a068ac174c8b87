/// \file
/// Runs a program and keeps what it writes.
#pragma once

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <sys/wait.h>

struct CommandResult {
    std::string output; ///< what the shell command wrote to its standard output
    int status;         ///< its exit status
};

/// Runs a shell command to its end. \throws std::runtime_error if it cannot be run or is killed.
inline CommandResult runCommand(const std::string& command) {
    FILE* const stream = popen(command.c_str(), "r");
    if (stream == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string output;
    std::array<char, 65536> piece;
    for (std::size_t n; (n = std::fread(piece.data(), 1, piece.size(), stream)) > 0;) {
        output.append(piece.data(), n);
    }
    const int status = pclose(stream);
    if (!WIFEXITED(status)) {
        throw std::runtime_error("killed: " + command);
    }
    return {std::move(output), WEXITSTATUS(status)};
}

/// The values of the demo's drive as rows, those of one bus or of all for `.*`. `form` is the option
/// of make_drive that gives the trace.
inline std::string decodedDrive(const std::string& form, const std::string& bus) {
    return runCommand(MAKE_DRIVE " 2>/dev/null --seconds 310 --start 0 " + form +
                      " | " RKSIGNAL_PROGRAM " decode -q --signals " DRIVE_FOLDER
                      "/logger.json --dbc 0=" DRIVE_FOLDER "/drive.dbc --dbc 1=" DRIVE_FOLDER
                      "/body.dbc - | sed 1d | grep '," +
                      bus + ",'")
        .output;
}
