#include "live/RecordFiles.h"

#include "live/LiveSource.h"
#include "text/ParseNumber.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

constexpr std::uint64_t retryInterval = 1'000'000'000;
constexpr std::size_t pieceBytes = std::size_t{1} << 16;
constexpr std::string_view recordEnding = ".rktrace";
constexpr std::string_view timePattern = "00000000T000000Z";

/// `20261122T093000Z`
std::string timeOfName() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, 32> text;
    return {text.data(), std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%SZ", &parts)};
}

/// By which files of one series are sorted: the time in the name, and which one of that second it is.
using NamePlace = std::pair<std::string, unsigned>;

std::optional<NamePlace> placeOf(std::string_view name, std::string_view stem) {
    if (!name.starts_with(stem) || !name.ends_with(recordEnding) ||
        name.size() < stem.size() + timePattern.size() + recordEnding.size()) {
        return std::nullopt;
    }
    const std::string_view time = name.substr(stem.size(), timePattern.size());
    for (std::size_t i = 0; i < time.size(); ++i) {
        const bool isDigit = time[i] >= '0' && time[i] <= '9';
        if (timePattern[i] == '0' ? !isDigit : time[i] != timePattern[i]) {
            return std::nullopt;
        }
    }
    name.remove_suffix(recordEnding.size());
    name.remove_prefix(stem.size() + timePattern.size());
    if (name.empty()) {
        return NamePlace(time, 1);
    }
    const auto number = name.front() == '-' ? parseNumber<unsigned>(name.substr(1)) : std::nullopt;
    return number ? std::optional(NamePlace(time, *number)) : std::nullopt;
}

} // namespace

RecordFiles::RecordFiles(RotationSettings given, std::function<void(const std::string&)> sayer)
    : settings(std::move(given)), say(std::move(sayer)) {
    const std::filesystem::path path(settings.path);
    folder = path.parent_path().native();
    stem = path.stem().native() + "-";
    writer.emplace(stream);
    if (const int error = begin(); error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot write " + currentName);
    }
}

RecordFiles::~RecordFiles() {
    finish();
}

void RecordFiles::finish() {
    retryAt = std::min<std::uint64_t>(retryAt, 1); // at once
    flush();
    lostRecords += pendingSizes.size();
    pendingSizes.clear();
    retryAt = 0;
    end();
}

void RecordFiles::keep(std::span<const std::uint8_t> record, std::uint64_t timestamp) {
    constexpr std::size_t headBytes = 12;
    const std::size_t bytes = record.size() + headBytes;
    if (settings.bytes != 0 && size + pending.size() + bytes > settings.bytes &&
        pendingSizes.size() + size != 0) {
        flush();
        if (pending.empty()) {
            end();
        }
    }
    if (pending.size() + bytes > mostPending) {
        ++lostRecords;
        return;
    }
    stamped.assign(record.begin(), record.end());
    for (std::size_t i = 0; i < sizeof timestamp; ++i) {
        stamped[recordAt::timestamp + i] = static_cast<std::uint8_t>(timestamp >> (56 - 8 * i));
    }
    writer->write(stamped);
    pendingSizes.push_back(pending.size() - sizedBytes);
    sizedBytes = pending.size();
    ++keptRecords;
    if (pending.size() >= pieceBytes) {
        flush();
    }
}

void RecordFiles::flush() {
    const std::uint64_t now = monotonicTime();
    if (now < retryAt) {
        return;
    }
    const int error = pendingSizes.empty() ? 0 : descriptor < 0 ? begin() : writePending();
    if (error != 0) {
        fail(error);
        return;
    }
    if (std::exchange(retryAt, 0) != 0) {
        say("recording goes on in " + currentName +
            "; messages that were not recorded: " + std::to_string(lostRecords - lostBefore));
    }
    if (settings.duration != 0 && descriptor >= 0 && now - begunAt >= settings.duration) {
        end();
    }
}

void RecordFiles::fail(int error) {
    if (retryAt == 0) {
        lostBefore = lostRecords;
        say("cannot write " + currentName + ": " + std::generic_category().message(error) +
            "; recording goes on as soon as that is possible");
    }
    retryAt = monotonicTime() + retryInterval;
}

/// Begins a file, with what is pending. \return an error number, or 0
int RecordFiles::begin() {
    if (const int error = open(); error != 0) {
        return error;
    }
    size = 0;
    begunAt = monotonicTime();
    ++begunFiles;
    removeOld();
    return writePending();
}

int RecordFiles::open() {
    const std::string time = timeOfName();
    for (unsigned number = 1;; ++number) {
        const std::string name =
            stem + time + (number == 1 ? "" : "-" + std::to_string(number)) + std::string(recordEnding);
        currentName = (std::filesystem::path(folder) / name).native();
        descriptor = ::open(currentName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0666);
        if (descriptor >= 0 || errno != EEXIST) {
            return descriptor >= 0 ? 0 : errno;
        }
    }
}

/// What was written of a record that did not fit stays, and its rest comes when there is room.
int RecordFiles::writePending() {
    std::size_t written = 0;
    int error = 0;
    while (written < pending.size() && error == 0) {
        const ssize_t count = ::write(descriptor, pending.data() + written, pending.size() - written);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            error = errno;
        }
    }
    size += written;
    pending.erase(0, written);
    sizedBytes -= std::min(sizedBytes, written);
    while (!pendingSizes.empty() && pendingSizes.front() <= written) {
        written -= pendingSizes.front();
        pendingSizes.pop_front();
    }
    if (!pendingSizes.empty()) {
        pendingSizes.front() -= written;
    }
    return error;
}

/// What comes next begins a file. REQUIRES: nothing is pending
void RecordFiles::end() {
    if (descriptor >= 0) {
        close(std::exchange(descriptor, -1));
        writer.emplace(stream);
        size = 0;
    }
}

void RecordFiles::removeOld() {
    if (settings.filesToKeep == 0) {
        return;
    }
    std::vector<std::pair<NamePlace, std::filesystem::path>> series;
    std::error_code error;
    for (std::filesystem::directory_iterator file(folder.empty() ? "." : folder, error), last;
         !error && file != last; file.increment(error)) {
        if (const auto place = placeOf(file->path().filename().native(), stem)) {
            series.emplace_back(*place, file->path());
        }
    }
    std::sort(series.begin(), series.end());
    for (std::size_t i = 0; i + settings.filesToKeep < series.size(); ++i) {
        std::filesystem::remove(series[i].second, error);
        if (error) {
            say("cannot remove " + series[i].second.native() + ": " + error.message());
        }
    }
}

} // namespace rksignal
