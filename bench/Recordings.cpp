#include "Recordings.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>

std::optional<std::string> readRecording(const Recording& recording) {
    const char* const folder = std::getenv("RKSIGNAL_RECORDINGS");
    std::ifstream file;
    if (folder != nullptr) {
        file.open(std::string(folder) + "/" + recording.file, std::ios::binary);
    }
    if (folder == nullptr || !file) {
        std::cerr << "skipped: " << recording.file
                  << " (set RKSIGNAL_RECORDINGS to the folder that holds it)\n";
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}
