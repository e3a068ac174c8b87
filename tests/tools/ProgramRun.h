/// \file
/// Runs the built program on files that exist for one test only.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/wait.h>

namespace rksignal {

inline std::string contentOf(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf(); // in blocks, for outputs are large
    return content.str();
}

/// The first line of the rows of values.
inline const std::string valueHeader = "time,channel,bus,instance,value,unit,raw,text\n";

struct ProgramResult {
    int status;           ///< with which it ended
    std::string output;   ///< its standard output
    std::string messages; ///< its standard error
};

/// A folder that is removed with everything in it.
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

    std::string path(const std::string& name) const { return folder / name; }
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(folder / name, std::ios::binary) << text;
    }
    std::string read(const std::string& name) const { return contentOf(folder / name); }

    /// Runs a shell command in the folder; `rksignal` is the program.
    ProgramResult run(const std::string& command) const {
        const std::string script = "cd '" + folder.string() +
                                   "'; rksignal() { " RKSIGNAL_PROGRAM " \"$@\"; }\n{ " + command +
                                   "\n} > .output 2> .messages";
        const int status = std::system(script.c_str()); // NOLINT: tests have one thread
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(".output"), read(".messages")};
    }

  private:
    std::filesystem::path folder;
};

/// Calls `use` with each of the JSON lines in `output`, its message and its signal.
template <class Use>
void forEachRow(const std::string& output, Use&& use) {
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const auto row = nlohmann::json::parse(line);
        const std::string instance = row["instance"];
        const std::size_t dot = instance.find('.');
        use(row, instance.substr(0, dot), instance.substr(dot + 1));
    }
}

} // namespace rksignal
