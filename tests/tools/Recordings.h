/// \file
/// The recorded data that some tests compare with. It lies in the folder that the environment variable
/// RKSIGNAL_RECORDINGS names.
#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace rksignal {

/// The path of a recorded file, or an empty path if it is not there.
inline std::filesystem::path recording(const std::string& name) {
    const char* const folder = std::getenv("RKSIGNAL_RECORDINGS");
    const std::filesystem::path path = folder != nullptr ? std::filesystem::path(folder) / name : "";
    return std::filesystem::exists(path) ? path : std::filesystem::path();
}

inline nlohmann::json readJson(const std::filesystem::path& path) {
    std::ifstream file(path);
    return nlohmann::json::parse(file);
}

} // namespace rksignal

/// Skips the test if a recorded file is not there.
#define REQUIRE_RECORDING(name)                                                                              \
    if (rksignal::recording(name).empty())                                                                   \
    GTEST_SKIP() << "no " << (name) << " in the folder that RKSIGNAL_RECORDINGS names"
