// Faults that are planted into the demo's drive, and that an audit finds; there are none before.

#include "tools/ProgramRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace {

using rksignal::TemporaryFolder;

const std::string command =
    "rksignal audit --dbc 0=" PROJECT_FOLDER "/examples/drive/drive.dbc --dbc 1=" PROJECT_FOLDER
    "/examples/drive/body.dbc --skip constant --skip never-seen --skip undefined -q ";

struct Line {
    std::string head; ///< `(1700000000.010478) can0 0C9#`
    std::string data; ///< hexadecimal
    std::string time() const { return head.substr(1, head.find(')') - 1); }
    int byte(std::size_t index) const { return std::stoi(data.substr(2 * index, 2), nullptr, 16); }
};

/// The drive, of which the frames of an identifier can be changed.
class Drive {
  public:
    Drive() {
        std::istringstream log(TemporaryFolder().run(MAKE_DRIVE " --output -").output);
        for (std::string line; std::getline(log, line);) {
            const std::size_t hash = line.find('#') + 1;
            lines.push_back({line.substr(0, hash), line.substr(hash)});
        }
    }

    /// Frames `first` to `last` with this identifier, counted from 0.
    std::vector<Line*> frames(const std::string& id, std::size_t first, std::size_t last) {
        std::vector<Line*> found;
        std::size_t index = 0;
        for (Line& line : lines) {
            if (line.head.find(' ' + id + '#') != std::string::npos && ++index > first && index <= last + 1) {
                found.push_back(&line);
            }
        }
        return found;
    }

    /// The errors and warnings.
    std::string audit(const std::string& options = "") const {
        std::string text;
        for (const Line& line : lines) {
            text += line.head.empty() ? "" : line.head + line.data + '\n';
        }
        TemporaryFolder folder;
        folder.write("drive.log", text);
        const auto result = folder.run(command + options + " drive.log");
        const std::string all = '\n' + result.output;
        return "status " + std::to_string(result.status) + all.substr(0, all.find("\nnote ")) + '\n';
    }

    std::vector<Line> lines;
};

std::string hex(int byte) {
    char text[3];
    std::snprintf(text, sizeof text, "%02X", static_cast<unsigned>(byte) & 0xFFU);
    return text;
}

TEST(AuditDrive, FindsPlantedFaultsOnly) {
    Drive drive;
    EXPECT_EQ(drive.audit(), "status 0\n");
    std::string expected = "status 1\n";

    // a wrong checksum
    Line& wrong = *drive.frames("0C9", 5000, 5000).front();
    const std::string right = hex(wrong.byte(7));
    wrong.data.replace(14, 2, "00");
    expected +=
        "error checksum: Engine.Checksum, can 0 0C9: 1 of 24000 are wrong by xor, which the others keep\n  " +
        wrong.time() + " is 0x00, the frame gives 0x" + right + '\n';

    // a counter that is stuck for 10 frames; it is in the low half of byte 2
    const auto stuck = drive.frames("0D1", 1000, 1009);
    for (Line* const line : stuck) {
        line->data.replace(5, 1, 1, stuck.front()->data[5]);
    }
    expected += "error counter-stuck: Brake.Counter, can 0 0D1: stays the same for up to 10 messages\n  " +
                stuck.front()->time() + " is " + std::to_string(stuck.front()->byte(2) & 0xF) + " 10 times\n";

    // three lost messages
    const auto lost = drive.frames("1F5", 2000, 2003);
    const std::string beforeGap = drive.frames("1F5", 1999, 1999).front()->time();
    const double gap = 1000 * (std::stod(lost[3]->time().substr(7)) - std::stod(beforeGap.substr(7)));
    char gapText[32];
    std::snprintf(gapText, sizeof gapText, "%.6g ms", gap);
    for (std::size_t i = 0; i < 3; ++i) {
        lost[i]->head.clear();
    }
    expected += "warning lost-messages: Gear, can 0 1F5: cycle 20 ms (as defined), longest gap " +
                std::string(gapText) + "\n  " + beforeGap + " then nothing for " + gapText +
                ", about 3 lost\n";

    // a frame that is too short
    Line& cut = *drive.frames("3E8", 100, 100).front();
    cut.data.resize(12);
    expected += "warning wrong-length: Battery, can 0 3E8: 1 of 2400 frames are not as long as defined\n  " +
                cut.time() + " has 6 bytes, not 8\n";

    // the bytes of a speed in the wrong order, where that gives one above 300 km/h
    const auto speeds = drive.frames("0F1", 3000, 4000);
    Line& swapped =
        **std::find_if(speeds.begin(), speeds.end(), [](const Line* line) { return line->byte(0) >= 0x80; });
    const int low = swapped.byte(0);
    const int high = swapped.byte(1);
    swapped.data.replace(0, 4, hex(high) + hex(low));
    char speed[32];
    std::snprintf(speed, sizeof speed, "%.5g km/h", (256 * low + high) * 0.01);
    expected += "warning out-of-range: Vehicle.Speed, can 0 0F1: 1 value not from 0 to 300\n  " +
                swapped.time() + " is " + speed + ", above 300\n";

    EXPECT_EQ(drive.audit(), expected);
    EXPECT_EQ(drive.audit("--fail-on never").substr(0, 9), "status 0\n");
    EXPECT_EQ(drive.audit("--skip checksum --skip counter-stuck --fail-on error").substr(0, 9), "status 0\n");
}

TEST(AuditDrive, RefusesWhatItDoesNotKnow) {
    const std::pair<const char*, const char*> rows[] = {
        {"--skip cheksum", "--skip cheksum: there is no such rule; close are checksum\n"},
        {"--checksum Engine.Checksum", "--checksum Engine.Checksum: not of the form GLOB=RULE\n"},
        {"--checksum Engine.Checksum=crc",
         "--checksum Engine.Checksum=crc: the rule is none of xor, sum, crc8-j1850, "
         "crc8-h2f, e2e1:ID[:MODE], e2e2:LIST, e2e5:ID\n"},
        {"--checksum 'Engin.*=xor'", "--checksum Engin.* matches no signal"}};
    for (const auto& [options, message] : rows) {
        const auto result =
            TemporaryFolder().run("echo '(1.0) can0 123#' > drive.log; " + command + options + " drive.log");
        EXPECT_EQ(result.messages.substr(0, 10 + std::string(message).size()),
                  std::string("rksignal: ") + message);
        EXPECT_EQ(result.status, 2) << options;
    }
}

} // namespace
