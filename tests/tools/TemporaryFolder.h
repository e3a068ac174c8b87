/// \file
/// A folder for the files of one test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace rksignal {

/// Made for the test and removed with everything in it.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "rksignal-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make a folder " + name);
        }
        folder = name;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(folder); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string path(const std::string& name) const { return (folder / name).string(); }

    /// Writes a file. \return its path
    std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(folder / name, std::ios::binary) << text;
        return path(name);
    }

    std::string read(const std::string& name) const {
        std::ifstream file(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// `text` without the path of the folder.
    std::string withoutPath(std::string text) const {
        const std::string prefix = folder.string() + "/";
        for (std::size_t at = text.find(prefix); at != text.npos; at = text.find(prefix, at)) {
            text.erase(at, prefix.size());
        }
        return text;
    }

  private:
    std::filesystem::path folder;
};

} // namespace rksignal
