/// \file
/// Runs a program and keeps what it writes, or a digest of it.
#pragma once

#include <array>
#include <cstdint>
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

/// FNV-1a, 64 bits.
inline std::uint64_t digest(const std::string& bytes) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char byte : bytes) {
        hash = (hash ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3;
    }
    return hash;
}
